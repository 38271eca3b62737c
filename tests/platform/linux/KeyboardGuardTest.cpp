// Whatever is suspended or dies, Orvel or its guard, and at whichever moment: the keyboard goes on, and
// nothing is left over.

#include "Orvel/platform/linux/KeyboardGuardLink.h"
#include "platform/linux/ForkedTap.h"

#include <set>

#include <sys/socket.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t returnKey = 36, keyX = 7;

class KeyboardGuardTest : public XDesktopTest {
  protected:
    /// Whether these keys have reached the other application, and nothing else.
    bool arrives(const std::string& keys) {
        return runUntil([&] { return other->seen.size() >= keys.size(); }) && other->seen == keys;
    }
    bool ends(pid_t process) {
        return runUntil([&] { return !runs(process); });
    }
};

TEST_F(KeyboardGuardTest, orvelMayBeSuspendedOrDieAtAnyMoment) {
    for (const int signal : {SIGSTOP, SIGKILL}) {
        for (const bool isAsking : {false, true}) {
            SCOPED_TRACE(std::to_string(signal) + (isAsking ? " while it is asked" : " before"));
            const ForkedTap orvel(server->display(), 1s);
            ASSERT_EQ(orvel.next(), 's');
            const auto guards = guardsOf(orvel.process);
            ASSERT_EQ(guards.size(), 1U);
            other->seen.clear();
            if (isAsking) {
                stroke(returnKey);
                ASSERT_EQ(orvel.next(), 'a');
            }
            kill(orvel.process, signal);
            if (!isAsking) stroke(returnKey);
            stroke(keyX);
            ASSERT_TRUE(arrives("36 -36 7 -7 ")) << other->seen;
            if (signal == SIGKILL || isAsking) {
                EXPECT_TRUE(ends(guards.front()));
                kill(orvel.process, SIGCONT);
                EXPECT_EQ(orvel.next(), signal == SIGKILL ? ' ' : 't');
            } else {
                stroke(returnKey);
                EXPECT_TRUE(arrives("36 -36 7 -7 36 -36 ")) << other->seen;
                kill(orvel.process, SIGCONT);
                EXPECT_EQ(orvel.next(), 'r');
                EXPECT_EQ(orvel.next(), 'r');
                stroke(returnKey);
                EXPECT_EQ(orvel.next(), 'a') << "it has caught up";
                EXPECT_TRUE(arrives("36 -36 7 -7 36 -36 36 -36 ")) << "its handler is slow";
            }
        }
    }
}

TEST_F(KeyboardGuardTest, aSuspendedGuardLetsGoWhenOrvelDies) {
    const ForkedTap orvel(server->display(), 1s);
    ASSERT_EQ(orvel.next(), 's');
    const auto guard = guardsOf(orvel.process).at(0);
    kill(guard, SIGSTOP);
    kill(orvel.process, SIGKILL);
    EXPECT_TRUE(ends(guard));
    stroke(returnKey);
    EXPECT_TRUE(arrives("36 -36 "));
}

TEST(GuardLinkTest, theLastWordIsHeardThoughTheOtherLeftSomethingUnread) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const GuardLink orvel{Descriptor(ends[0])};
    GuardLink guard{Descriptor(ends[1])};
    EXPECT_TRUE(orvel.send({.kind = GuardMessage::Kind::answer}));
    EXPECT_TRUE(guard.send({.kind = GuardMessage::Kind::disabled}));
    guard.close();
    GuardMessage last;
    EXPECT_EQ(orvel.receive(last), GuardLink::Receipt::received);
    EXPECT_EQ(last.kind, GuardMessage::Kind::disabled);
    EXPECT_EQ(orvel.receive(last), GuardLink::Receipt::closed);
    EXPECT_FALSE(orvel.send({}));
}

class StoppedGuardTest : public KeyboardGuardTest {
  protected:
    void SetUp() override {
        XDesktopTest::SetUp();
        if (!other) return;
        tap = std::make_unique<XKeyboardTap>(loop, std::make_shared<XOwnInput>(), server->display());
        start();
    }
    void start() {
        ASSERT_EQ(tap->start([this](const TapEvent& event) {
            if (event.type >= TapEventType::tapDisabledByTimeout) disabled.push_back(event.type);
            if (event.type != TapEventType::keyDown || event.keyCode != returnKey || event.isRepeat)
                return TapAnswer::pass;
            ++asked;
            if (whenAsked) whenAsked();
            return TapAnswer::swallow;
        }),
                  TapStart::started);
        ASSERT_EQ(guardsOf(getpid()).size(), 1U);
    }
    pid_t guard() { return guardsOf(getpid()).at(0); }

    std::unique_ptr<XKeyboardTap> tap;
    std::function<void()> whenAsked;
    int asked = 0;
    std::vector<TapEventType> disabled;
};

TEST_F(StoppedGuardTest, itsGuardMayBeSuspendedOrDieAtAnyMoment) {
    for (const int signal : {SIGSTOP, SIGKILL}) {
        for (const bool isAsking : {false, true}) {
            SCOPED_TRACE(std::to_string(signal) + (isAsking ? " while it asks" : " before"));
            other->seen.clear();
            disabled.clear();
            const auto strike = [&, process = guard()] { kill(process, signal); };
            whenAsked = isAsking ? std::function<void()>(strike) : nullptr;
            if (!isAsking) strike();
            stroke(returnKey);
            ASSERT_TRUE(runUntil([&] { return !tap->isEnabled(); })) << "though nothing more is pressed";
            stroke(keyX);
            // The server drops the Return that a killed guard held.
            ASSERT_TRUE(runUntil([&] { return other->seen.ends_with("7 -7 "); }));
            ASSERT_TRUE(runUntil([&] { return !disabled.empty(); }));
            EXPECT_EQ(disabled, std::vector{TapEventType::tapDisabledByUserInput});
            EXPECT_TRUE(runUntil([] { return guardsOf(getpid()).empty(); })) << "nobody has reaped it";
            tap->stop();
            whenAsked = nullptr;
            start();
            const int before = asked;
            other->seen.clear();
            stroke(returnKey);
            EXPECT_TRUE(settle());
            EXPECT_EQ(asked, before + 1);
            EXPECT_EQ(other->seen, "");
        }
    }
}

TEST_F(StoppedGuardTest, aGuardThatMerelyWaitsIsLeftAlone) {
    for (int round = 0; round < 50; ++round) stroke(keyX);
    ASSERT_TRUE(settle());
    runUntil([] { return false; }, 400ms);
    EXPECT_TRUE(tap->isEnabled());
    kill(guard(), SIGSTOP);
    runUntil([] { return false; }, 400ms);
    EXPECT_TRUE(tap->isEnabled()) << "as long as no key is pressed";
    kill(guard(), SIGCONT);
    stroke(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(asked, 1);
}

std::set<std::string> descriptorsOf(const std::string& process) {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + process + "/fd"))
        found.insert(entry.path().filename().string());
    return found;
}

TEST_F(StoppedGuardTest, nothingIsLeftOverAndNothingIsInherited) {
    const auto ofGuard = descriptorsOf(std::to_string(guard()));
    EXPECT_EQ(ofGuard.size(), 4U) << "the link, two that lead nowhere, and the server";
    tap->stop();
    const auto before = descriptorsOf("self");
    start();
    for (const auto& descriptor : descriptorsOf("self")) {
        const int flags = before.contains(descriptor) ? -1 : fcntl(std::stoi(descriptor), F_GETFD);
        EXPECT_TRUE(flags < 0 || (flags & FD_CLOEXEC) != 0) << descriptor;
    }
    tap->stop();
    for (int round = 0; round < 5; ++round) {
        start();
        tap->stop();
        EXPECT_TRUE(guardsOf(getpid()).empty());
    }
    EXPECT_EQ(descriptorsOf("self"), before);
}

// What is there in place of the guard, and what becomes of the tap.
TEST_F(StoppedGuardTest, aProgramThatIsNoGuardIsRefused) {
    tap->stop();
    char name[] = "/tmp/orvel-guard-XXXXXX";
    const std::string folder = mkdtemp(name);
    const auto write = [&](const std::string& file, const std::string& text) {
        std::ofstream(folder + file) << text;
        std::filesystem::permissions(folder + file, std::filesystem::perms::owner_all);
        return folder + file;
    };
    const auto silent = write("/silent", "#!/bin/sh\nexec sleep 600\n");
    const auto noProgram = write("/none", "words");
    const std::optional<std::string> programs[] = {"/bin/true", "/bin/cat", silent, noProgram,
                                                   folder + "/gone"};
    for (const auto& program : programs) {
        XKeyboardTap other(loop, std::make_shared<XOwnInput>(), server->display(), program);
        EXPECT_EQ(other.start([](const TapEvent&) { return TapAnswer::pass; }), TapStart::refused)
            << *program;
        EXPECT_FALSE(other.isEnabled());
    }
    EXPECT_FALSE(
        XKeyboardTap(loop, std::make_shared<XOwnInput>(), server->display(), std::nullopt).isAvailable());
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace orvel
