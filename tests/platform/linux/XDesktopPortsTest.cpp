// Posted events, applications and windows over a real X server, with a window manager where one is needed.

#include "Orvel/platform/linux/XApplications.h"
#include "Orvel/platform/linux/XEventPosting.h"
#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "platform/linux/XTestDesktop.h"

#include <filesystem>
#include <fstream>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class XEventPostingTest : public XDesktopTest {};

TEST_F(XEventPostingTest, postedEventsArriveUnseenByTheTap) {
    constexpr ProcessID process = 4711;
    constexpr std::int64_t returnKey = 36, keyL = 37;
    const auto own = std::make_shared<XOwnInput>();
    XEventPosting posting(*person, own);
    XKeyboardTap tap(loop, own, server->display());
    std::vector<TapEvent> seen;
    ASSERT_EQ(tap.start([&](const TapEvent& event) {
        seen.push_back(event);
        return TapAnswer::swallow;
    }),
              TapStart::started);
    other->claim(process, "claude");
    other->connection->synchronise();

    const auto toProcess = posting.key({keyL, SyntheticKey::command | SyntheticKey::option}, process);
    const auto toAnother = posting.key({keyL}, process + 1);
    const auto toWhomever = posting.key({returnKey, SyntheticKey::shift}, std::nullopt);
    const auto click = posting.click({20, 30});
    ASSERT_TRUE(toProcess && toAnother && toWhomever && click);
    EXPECT_EQ(posting.key({XKeys::unknownKeys}, process), nullptr);
    EXPECT_EQ(posting.click({-1, 4}), nullptr);
    other->connection->dispatch();
    EXPECT_EQ(other->seen, "") << "prepared is not posted";

    toAnother->post();
    toProcess->post();
    toProcess->post();
    ASSERT_TRUE(runUntil([&] { return other->seen == "37 -37 "; }));
    EXPECT_EQ(other->lastState, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1);
    toWhomever->post();
    click->post();
    ASSERT_TRUE(runUntil([&] { return !other->buttons.empty() && other->seen.ends_with("-36 -56 "); }));
    EXPECT_EQ(other->seen, "37 -37 56 36 -36 -56 ");
    EXPECT_EQ(other->buttons, std::vector<std::string>{"20,30"});

    other->seen.clear();
    stroke(returnKey); // The person's is another matter.
    EXPECT_TRUE(runUntil([&] { return seen.size() == 2; }));
    EXPECT_EQ(seen.front().keyCode, returnKey);
    EXPECT_EQ(seen.front().flags, 0U);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "");
}

/// With a window manager, and programs of the desktop that only note what they are asked for.
class XApplicationsTest : public XDesktopTest {
  protected:
    void SetUp() override {
        if (!isInstalled("openbox")) GTEST_SKIP() << "openbox is not installed.";
        XDesktopTest::SetUp();
        if (!other) return;
        char name[] = "/tmp/orvel-desktop-XXXXXX";
        folder = mkdtemp(name);
        setenv("HOME", folder.c_str(), 1);
        setenv("DISPLAY", server->display().c_str(), 1);
        for (const auto* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) unsetenv(variable);
        setenv("XDG_DATA_DIRS", (folder + "/share:/usr/share").c_str(), 1);
        manager = std::make_unique<TestProcess>(std::vector<std::string>{"openbox", "--sm-disable"});
        const auto atom = person->atom("_NET_SUPPORTING_WM_CHECK");
        ASSERT_TRUE(runUntil([&] { return person->property(person->root(), atom, 4).has_value(); }));
        applications = std::make_unique<XApplications>(*person, loop, processes);
    }
    void TearDown() override {
        if (!folder.empty()) std::filesystem::remove_all(folder);
    }
    void write(const std::string& path, const std::string& text) const {
        const std::filesystem::path file = folder + path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << text;
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }

    std::string folder;
    std::unique_ptr<TestProcess> manager;
    PosixProcesses processes{loop, loop};
    std::unique_ptr<XApplications> applications;
};

TEST_F(XApplicationsTest, whoRunsAndWhoIsInFront) {
    // The editor of diagrams is not the browser of this name.
    const RunningApplication claude{"com.anthropic.claudefordesktop", 4711}, diagrams{std::nullopt, 4712};
    TestApplication first(server->display()), second(server->display()), candidates(server->display());
    first.claim(4711, "Claude");
    first.show();
    second.claim(4712, "dia");
    second.show();
    for (const auto& application : {claude, diagrams, claude}) {
        ASSERT_TRUE(runUntil([&] { return applications->application(application.process) == application; }));
        EXPECT_TRUE(applications->activate(application.process));
        EXPECT_TRUE(runUntil([&] { return applications->frontmost() == application; }));
    }
    EXPECT_FALSE(applications->activate(4713));
    EXPECT_EQ(applications->running("com.anthropic.claudefordesktop"), std::vector{claude});
    EXPECT_TRUE(applications->running("com.openai.codex").empty());
    EXPECT_EQ(applications->bundleOf(4711)->bundleID, claude.bundleID);
    EXPECT_EQ(applications->bundleOf(4712), std::nullopt);

    // The candidates of an input method come and go without the window manager.
    const auto read = XWindowList(server->display()).reader();
    const auto shown = [&](const std::string& name) {
        const auto owners = read(1000).value_or(std::vector<WindowList::OwnerName>());
        return std::count(owners.begin(), owners.end(), name) == 1;
    };
    EXPECT_TRUE(shown("Claude") && shown("dia"));
    const std::uint32_t itself = 1;
    xcb_change_window_attributes(candidates.get(), candidates.window, XCB_CW_OVERRIDE_REDIRECT, &itself);
    candidates.claim(4714, "Mozc_renderer");
    EXPECT_FALSE(shown("GoogleJapaneseInputRenderer"));
    candidates.show();
    EXPECT_TRUE(shown("GoogleJapaneseInputRenderer"));
    EXPECT_EQ(read(1)->front(), "GoogleJapaneseInputRenderer") << "the one on top";
    xcb_unmap_window(candidates.get(), candidates.window);
    candidates.connection->synchronise();
    EXPECT_FALSE(shown("GoogleJapaneseInputRenderer"));

    server->end();
    EXPECT_EQ(applications->frontmost(), std::nullopt);
    EXPECT_EQ(read(1000), std::nullopt);
}

TEST_F(XApplicationsTest, urlsGoToWhoIsRegistered) {
    const auto id = "com.anthropic.claudefordesktop";
    write("/bin/gio", "#!/bin/sh\nprintf '%s\\n' \"$@\" >>\"$HOME/asked\"\n");
    setenv("PATH", (folder + "/bin:/usr/bin:/bin").c_str(), 1);
    EXPECT_FALSE(applications->openURL("claude://x"));
    EXPECT_EQ(applications->location(id), std::nullopt);
    write("/.config/mimeapps.list", "[Added Associations]\nx-scheme-handler/claude=other.desktop;\n"
                                    "[Default Applications]\nx-scheme-handler/claude=gone.desktop;\n");
    write("/share/applications/other.desktop", "");
    EXPECT_FALSE(applications->openURL("claude://x")) << "it is not installed";
    write("/share/applications/mimeinfo.cache", "[MIME Cache]\nx-scheme-handler/claude=claude.desktop;\n");
    write("/share/applications/claude.desktop", "");
    EXPECT_EQ(applications->location(id), folder + "/share/applications/claude.desktop");
    EXPECT_FALSE(applications->openURL("codex://x"));
    EXPECT_TRUE(applications->openURL("claude://x?a=b c"));
    EXPECT_TRUE(runUntil([&] {
        std::ifstream asked(folder + "/asked");
        return std::string(std::istreambuf_iterator<char>(asked), {}) == "open\nclaude://x?a=b c\n";
    }));
}

} // namespace
} // namespace orvel
