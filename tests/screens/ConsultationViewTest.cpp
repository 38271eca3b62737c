// The sheet that asks ChatGPT about a repository, driven by the names that it shows.

#include "Orvel/screens/ChatGPTConsultationView.h"
#include "model/ConsultationDesk.h"
#include "screens/WindowFixture.h"

#include <algorithm>

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTreeView>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class ConsultationViewTest : public QtFixture, public ConsultationDesk {
  protected:
    ConsultationViewTest() {
        folder.write("lark/README.md", std::string(3000, 'x'));
        folder.write("lark/src/parse.cpp", "int main() {}");
        folder.write("lark/deploy/signing.p12", "key");
        folder.write("lark/.env.local", "TOKEN=1");
        sheet.open();
        settle();
    }

    void settle() {
        ASSERT_TRUE(settles());
        QApplication::processEvents();
        QApplication::processEvents();
    }
    QPushButton* button(const QString& name) {
        for (auto* each : sheet.findChildren<QPushButton*>())
            if (each->text() == name) return each;
        ADD_FAILURE() << "no button " << name.toStdString();
        return nullptr;
    }
    void press(const QString& name) {
        button(name)->click();
        settle();
    }
    bool isEnabled(const QString& name) { return button(name)->isEnabled(); }
    bool shows(const QString& text) {
        const auto labels = sheet.findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [&](const auto* label) {
            return label->isVisible() && label->text().contains(text);
        });
    }
    QStringList paths(const QString& list) {
        QStringList found;
        for (auto* view : sheet.findChildren<QTreeView*>())
            for (int row = 0; view->accessibleName() == list && row < view->model()->rowCount(); ++row)
                found += view->model()->index(row, 0).data().toString() + ": " +
                         view->model()->index(row, 1).data().toString();
        return found;
    }
    QString steps() {
        for (auto* each : sheet.findChildren<QWidget*>())
            if (each->accessibleName().startsWith("Packed")) return each->accessibleName();
        return {};
    }
    void choose() {
        desktop.panels.answer = folder.path("lark");
        press("Choose folder…");
    }
    ChatGPTConsultationView sheet{model, changes};
};

TEST_F(ConsultationViewTest, ShowsWhatGoesInAndWhatIsLeftOutWithReasons) {
    WindowFixture::expectNames(sheet);
    EXPECT_TRUE(shows("Choose a folder first."));
    EXPECT_FALSE(isEnabled("Send"));
    choose();
    EXPECT_EQ(paths("Goes in"), (QStringList{"README.md: 2.9 kB", "src/parse.cpp: 13 bytes"}));
    EXPECT_EQ(paths("Left out").size(), 2);
    EXPECT_TRUE(paths("Left out")[0].startsWith(".env.local: ")) << paths("Left out")[0].toStdString();
    EXPECT_TRUE(shows("2 files"));
    EXPECT_TRUE(shows("of 100.0 MB"));
    sheet.findChild<QLineEdit*>()->setText("P12");
    EXPECT_EQ(paths("Goes in"), QStringList());
    EXPECT_EQ(paths("Left out").size(), 1);
    EXPECT_TRUE(shows("0 of 2 files"));
    EXPECT_TRUE(shows("1 of 2 files"));
    EXPECT_TRUE(shows("Enter a question first."));
    EXPECT_TRUE(isEnabled("Check connection"));
    EXPECT_FALSE(isEnabled("Check delivery again"));
}

TEST_F(ConsultationViewTest, SendsOnceByTheKeyboardAndTellsEachStep) {
    choose();
    auto* question = sheet.findChild<QPlainTextEdit*>("question");
    ASSERT_TRUE(question);
    QTest::keyClicks(question, "Why?");
    QApplication::processEvents();
    EXPECT_TRUE(isEnabled("Send"));
    EXPECT_EQ(steps(), "Packed: done, Attached: not yet, Question written: not yet, Sent: not yet, "
                       "Seen in the conversation: not yet");
    button("Send")->click();
    QApplication::processEvents();
    EXPECT_FALSE(isEnabled("Send"));
    EXPECT_FALSE(isEnabled("Check connection"));
    EXPECT_TRUE(question->isReadOnly());
    EXPECT_TRUE(shows("this delivery is still running"));
    desktop.loop.runUntil([this] { return model.stage() == ConsultationStage::attached; }, 60s);
    waitFor([&] { return steps().startsWith("Packed: done, Attached: done, Question written: not yet"); });
    settle();
    EXPECT_TRUE(steps().endsWith("Seen in the conversation: done"));
    EXPECT_TRUE(shows("Question and ZIP delivered."));
    EXPECT_TRUE(button("Open the conversation")->isVisible());
    EXPECT_EQ(presses(), 1);
}

TEST_F(ConsultationViewTest, SaysWhereItFailedAndOffersOnlyWhatIsLeft) {
    choose();
    model.question = "Why?";
    dia.habits.hidesMessages = true;
    settle();
    press("Send");
    EXPECT_TRUE(shows("Send was attempted once"));
    EXPECT_TRUE(steps().contains("Sent: done, Seen in the conversation: failed"));
    EXPECT_FALSE(isEnabled("Send"));
    EXPECT_TRUE(isEnabled("Check delivery again"));
    auto* report = sheet.findChild<QPlainTextEdit*>("report");
    ASSERT_TRUE(report && report->isVisible());
    EXPECT_TRUE(report->toPlainText().contains("send_pressed=true"));
    EXPECT_FALSE(report->toPlainText().contains("lark"));
    press("Check delivery again");
    EXPECT_TRUE(shows("have not been confirmed yet"));
    EXPECT_EQ(presses(), 1);
    choose();
    EXPECT_FALSE(report->isVisible()) << "another consultation";
    EXPECT_TRUE(isEnabled("Send"));
}

} // namespace
} // namespace orvel
