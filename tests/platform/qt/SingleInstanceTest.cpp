#include "Orvel/platform/qt/SingleInstance.h"

#include "TemporaryFolder.h"
#include "screens/QtFixture.h"

#include <atomic>
#include <thread>

using namespace orvel;
using SingleInstanceTest = QtFixture;

TEST_F(SingleInstanceTest, ASecondStartHandsItsRequestToTheFirst) {
    const TemporaryFolder folder;
    SingleInstance first(folder.path());
    EXPECT_FALSE(first.handOver({}));
    std::vector<SingleInstance::Request> received;
    ASSERT_TRUE(first.listen([&](const auto& request) { received.push_back(request); }));

    const SingleInstance::Request request{"orvel://handoff?source=codex", "/a file\nwith odd \xFF name"};
    bool handedOver = false;
    std::atomic<bool> done{false};
    std::thread second([&] {
        handedOver = SingleInstance(folder.path()).handOver(request);
        done = true;
    });
    waitFor([&] { return done.load(); });
    second.join();
    EXPECT_TRUE(handedOver);
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received.front(), request);

    const TemporaryFolder elsewhere;
    EXPECT_FALSE(SingleInstance(elsewhere.path()).handOver(request));
}

TEST_F(SingleInstanceTest, ASocketThatACrashLeftBehindIsReplaced) {
    const TemporaryFolder folder;
    unsetenv("XDG_RUNTIME_DIR");
    folder.write("window.socket", "");
    SingleInstance instance(folder.path());
    EXPECT_FALSE(instance.handOver({}));
    EXPECT_TRUE(instance.listen([](const auto&) {}));
}
