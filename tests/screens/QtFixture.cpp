#include "screens/QtFixture.h"

#include <memory>

#include <QApplication>
#include <QDeadlineTimer>

namespace orvel {

namespace {

class QtEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QApplication>(count, arguments);
    }
    void TearDown() override { application.reset(); }

  private:
    int count = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
};

[[maybe_unused]] const auto* const registered = testing::AddGlobalTestEnvironment(new QtEnvironment);

} // namespace

void QtFixture::waitFor(const std::function<bool()>& condition) {
    const QDeadlineTimer deadline(30'000);
    while (!condition() && !deadline.hasExpired()) QApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_TRUE(condition());
    QApplication::processEvents();
}

} // namespace orvel
