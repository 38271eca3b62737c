#include "Orvel/monitor/CodexKeybindingSettings.h"

#include "Orvel/platform/simulated/SimulatedDesktop.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto path = "/home/ada/.codex/keybindings.json";
constexpr auto unconfirmed =
    "Codex settings location is unconfirmed. Japanese Return verification remains disabled.";

class CodexKeybindingSettingsTest : public testing::Test {
  protected:
    CodexKeybindingSettings make() {
        return {changes,
                {desktop.loop, desktop.sideQueue, desktop.localFiles, desktop.settings, desktop.panels},
                "/home/ada/.codex"};
    }
    /// Settings whose confirmed file holds this.
    CodexKeybindingSettings with(const std::string& contents) {
        desktop.localFiles.contents[path] = contents;
        desktop.settings.setString("confirmedCodexKeybindingsPath", path);
        return make();
    }

    SimulatedDesktop desktop;
    ChangeSignal changes;
};

TEST_F(CodexKeybindingSettingsTest, OnlyAnAbsolutePathToTheFileIsConfirmed) {
    for (const std::string other :
         {"", "keybindings.json", "/a/../keybindings.json", "/a/keybindings.json/..", "/a/other.json",
          "/a/keybindings.json/", "/a/xkeybindings.json"}) {
        auto settings = make();
        settings.confirm(other);
        EXPECT_EQ(settings.path(), "") << other;
        EXPECT_EQ(settings.status(),
                  "Choose an absolute path to keybindings.json. The saved location was not changed.");
    }
    auto settings = make();
    EXPECT_EQ(settings.status(), unconfirmed);
    settings.confirm("/home/ada/./.codex//keybindings.json");
    EXPECT_EQ(settings.path(), path);
    EXPECT_EQ(settings.status(),
              "Settings location confirmed. Keybindings are read again each time they are used.");
    EXPECT_EQ(make().path(), path) << "kept";
    EXPECT_EQ(make().status(),
              "The confirmed settings location is kept. Keybindings are read again each time they are used.");

    desktop.settings.setString("confirmedCodexKeybindingsPath", "relative/keybindings.json");
    EXPECT_EQ(make().path(), "") << "what is stored is checked too";
}

TEST_F(CodexKeybindingSettingsTest, TheFileIsChosenInAPanelAndACancelledOneChangesNothing) {
    auto settings = make();
    settings.choose();
    EXPECT_EQ(settings.path(), "");
    EXPECT_EQ(settings.status(), unconfirmed);
    desktop.panels.answer = path;
    settings.choose();
    EXPECT_EQ(settings.path(), path);
    EXPECT_EQ(desktop.panels.shown.back().title, "Select the keybindings.json file Codex actually uses");
}

// Each look is a fresh one, since the person may change the file at any time.
TEST_F(CodexKeybindingSettingsTest, TheFileIsReadAfreshForEachUse) {
    using Copy = CodexCopyShortcutDisposition;
    auto settings = with("[]");
    EXPECT_EQ(settings.copyAssessmentForUse().disposition, Copy::standard);
    EXPECT_FALSE(settings.googleOriginalReturnFailureForUse());
    desktop.localFiles.contents[path] = R"([{"command":"copyDeeplink","key":"Cmd+Shift+Alt+L"}])";
    EXPECT_EQ(settings.copyAssessmentForUse().disposition, Copy::custom);
    desktop.localFiles.contents[path] = R"([{"command":"newline","key":"Shift+Return"}])";
    EXPECT_EQ(settings.assessmentForUse().disposition, CodexKeybindingDisposition::conflicting);
    EXPECT_EQ(
        settings.googleOriginalReturnFailureForUse()->view(),
        "Codex keybindings contain an unsupported override for Japanese Return or an unreadable format.");
    desktop.localFiles.contents[path] = std::string(65'536, ' ');
    EXPECT_EQ(settings.copyAssessmentForUse().disposition, Copy::standard);
    desktop.localFiles.contents[path] = std::string(65'537, ' ');
    EXPECT_EQ(settings.copyAssessmentForUse().disposition, Copy::oversized);
    desktop.localFiles.contents.clear();
    EXPECT_EQ(settings.copyAssessmentForUse().disposition, Copy::standard) << "no file, no overrides";

    settings.refreshDisplay();
    EXPECT_TRUE(settings.display().canCopy);
    EXPECT_EQ(settings.display().japaneseReturn,
              "Verified the default Return binding for confirming Japanese composition.");
}

TEST_F(CodexKeybindingSettingsTest, DoubtTurnsEverythingOff) {
    auto settings = with("[]");
    desktop.localFiles.isDistant = true;
    EXPECT_EQ(settings.copyAssessmentForUse().disposition, CodexCopyShortcutDisposition::unreadable);
    EXPECT_EQ(settings.googleOriginalReturnFailureForUse()->view(),
              "Couldn't read Codex keybindings within the time limit.");
    EXPECT_FALSE(settings.assessmentForUse().allowsLineBreakProbe());
    EXPECT_EQ(
        settings.status(),
        "The confirmed keybindings could not be read. Japanese Return verification is disabled. A local "
        "regular file must also be verified within the time limit.");
    settings.refreshDisplay();
    EXPECT_FALSE(settings.display().canCopy);

    desktop.settings.setString("confirmedCodexKeybindingsPath", "");
    auto none = make();
    EXPECT_EQ(none.copyAssessmentForUse().disposition, CodexCopyShortcutDisposition::unconfirmed);
    EXPECT_EQ(none.googleOriginalReturnFailureForUse()->view(),
              "The Codex keybindings location is not confirmed.");
}

TEST_F(CodexKeybindingSettingsTest, AReadThatHangsHoldsNoKeyForLongAndNobodyWaitsForItTwice) {
    auto settings = with("[]");
    desktop.sideQueue.busyFor = 10s;
    const auto started = desktop.loop.uptime();
    EXPECT_TRUE(settings.googleOriginalReturnFailureForUse());
    EXPECT_EQ(desktop.loop.uptime() - started, CodexKeybindingSettings::keyTimeout);
    EXPECT_TRUE(settings.googleOriginalReturnFailureForUse());
    EXPECT_EQ(desktop.loop.uptime() - started, CodexKeybindingSettings::keyTimeout) << "at once";
    desktop.sideQueue.busyFor = 0s;
    EXPECT_TRUE(settings.googleOriginalReturnFailureForUse()) << "the first read is still under way";
    desktop.loop.runFor(11s);
    EXPECT_FALSE(settings.googleOriginalReturnFailureForUse());
}

} // namespace
} // namespace orvel
