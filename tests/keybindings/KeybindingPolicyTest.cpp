// What both policies and the strict test of the default Return make of a keybindings.json.

#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/keybindings/CodexKeybindingFile.h"
#include "OrvelCore/keybindings/CodexKeybindingPolicy.h"

#include <optional>
#include <string>
#include <vector>

using namespace orvel;

namespace {

using Data = std::optional<std::string_view>;

std::string sendKeys(Data data, bool pathConfirmed = true, bool readFailed = false) {
    const auto assessment = CodexKeybindingPolicy::assess(data, pathConfirmed, readFailed);
    return std::string(nameOf(assessment.disposition)) + (assessment.hasCustomSubmit ? " submit" : "");
}

// The disposition and the modifiers of the shortcut beyond the two that it must have.
std::string copying(Data data, bool pathConfirmed = true, bool readFailed = false) {
    const auto [disposition, shortcut] = CodexCopyShortcutPolicy::assess(data, pathConfirmed, readFailed);
    std::string text(nameOf(disposition));
    if (!shortcut) return text;
    EXPECT_EQ(shortcut->keyCode, 37);
    EXPECT_TRUE(shortcut->command && shortcut->option);
    return text + " L" + (shortcut->control ? " control" : "") + (shortcut->shift ? " shift" : "");
}

std::string bound(const std::string& command, const std::string& key) {
    return R"({"command":")" + command + R"(","key":")" + key + R"("})";
}

std::string copyBound(const std::string& key) {
    return bound("copyDeeplink", key);
}

const std::string copyUnbound = R"({"command":"copyDeeplink"})";
const std::string copyNull = R"({"command":"copyDeeplink","key":null})";
const std::string submit = bound("composer.submit", "Cmd+Return");
const std::string plan = bound("composer.togglePlanMode", "Shift+Tab");

struct Case {
    std::string data, sendKeys, copying;
    bool allowsDefaultReturn = false;
};

void check(const std::vector<Case>& cases) {
    for (const auto& [data, expectedSendKeys, expectedCopying, allows] : cases) {
        EXPECT_EQ(sendKeys(data), expectedSendKeys) << data.substr(0, 200);
        EXPECT_EQ(copying(data), expectedCopying) << data.substr(0, 200);
        EXPECT_EQ(GoogleIMEWindowPolicy::allowsDefaultReturnKeybindings(data, true), allows)
            << data.substr(0, 200);
    }
}

} // namespace

TEST(Keybindings, AreJudgedOnlyAtAConfirmedPathThatCouldBeRead) {
    const std::string broken = "{", blank = " \n", large(CodexKeybindingFile::maximumBytes + 1, 'x');
    for (const Data& data : {Data(), Data(broken), Data(blank), Data(large)}) {
        for (const bool readFailed : {false, true}) {
            EXPECT_EQ(sendKeys(data, false, readFailed), "unconfirmed");
            EXPECT_EQ(copying(data, false, readFailed), "unconfirmed");
        }
        EXPECT_EQ(sendKeys(data, true, true), "unreadable");
        EXPECT_EQ(copying(data, true, true), "unreadable");
        EXPECT_FALSE(GoogleIMEWindowPolicy::allowsDefaultReturnKeybindings(data, false));
    }
}

TEST(Keybindings, AreAcceptedOnlyInTheKnownForm) {
    const auto withMember = [](const std::string& member) {
        return R"([{"command":"x","key":"Cmd+J",)" + member + "}]";
    };
    const std::string standard = "standard", copied = "standard L", invalid = "invalidJSON",
                      unknown = "unknownSyntax";
    check({
        {"", standard, copied, true},
        {" \t\r\n\u3000", standard, copied, true},
        {"[]", standard, copied, true},
        {"[", invalid, invalid},
        {"[]]", invalid, invalid},
        {"{}", invalid, invalid},
        {"[1]", invalid, invalid},
        {"\xEF\xBB\xBF[]", invalid, invalid},
        {"// none\n[]", invalid, invalid},
        {"[{\"command\":\"\xFF\"}]", invalid, invalid},
        // No JSON comes before no known entry, wherever it stands.
        {R"([{"other":1},7])", invalid, invalid},
        {"[{}]", unknown, unknown},
        {R"([{"key":"Cmd+J"}])", unknown, unknown},
        {R"([{"command":7}])", unknown, unknown},
        {R"([{"command":"x","key":7}])", unknown, unknown},
        {R"([{"command":"x","key":["Cmd+J"]}])", unknown, unknown},
        {R"([{"command":"x","key":null}])", unknown, unknown},
        {withMember(R"("when":"y")"), unknown, unknown},
        {withMember(R"("Command":"y")"), unknown, unknown},
        {withMember(R"("command":"x")"), unknown, unknown},
        {withMember(R"("version":1,"version":1)"), unknown, unknown},
        {withMember(R"("version":true)"), unknown, unknown},
        {withMember(R"("version":"1")"), unknown, unknown},
        {withMember(R"("version":2)"), unknown, unknown},
        {withMember(R"("version":1.5)"), unknown, unknown},
        {withMember(R"("version":1)"), standard, copied},
        {withMember(R"("version":1.0)"), standard, copied},
    });
}

TEST(Keybindings, AreReadUpToALimit) {
    const auto padded = [](std::size_t size) { return "[" + std::string(size - 2, ' ') + "]"; };
    constexpr auto most = CodexKeybindingFile::maximumBytes;
    check({
        {padded(most), "standard", "standard L", true},
        {padded(most + 1), "oversized", "oversized"},
        {std::string(most + 1, ' '), "oversized", "oversized"},
        {std::string(most, '['), "invalidJSON", "invalidJSON"},
    });
}

TEST(Keybindings, SayWhatTheSendKeysAndTheCopyShortcutAre) {
    const auto list = [](const std::vector<std::string>& entries) {
        std::string text;
        for (const auto& entry : entries) text += (text.empty() ? "" : ",") + entry;
        return "[" + text + "]";
    };
    check({
        // Send keys.
        {list({submit}), "customNonConflicting submit", "standard L"},
        {list({R"({"command":"composer.submit"})"}), "customNonConflicting submit", "standard L"},
        {list({bound("composer.submit", "Shift+Enter")}), "conflicting submit", "standard L"},
        {list({bound("x", "shift+return")}), "conflicting", "standard L"},
        {list({copyBound("Shift+Return")}), "conflicting", "unsupportedShortcut"},
        {list({bound("x", "Shift+Cmd+Return")}), "standard", "standard L"},
        {list({bound("x", "Return")}), "standard", "standard L"},
        {list({bound("Composer.Submit", "Cmd+J")}), "standard", "standard L"},
        {list({bound("x", "Shift+Return"), bound("y", "Hyper+J")}), "unknownSyntax", "unknownSyntax"},

        // The shortcut of its own.
        {list({copyBound("Cmd+Alt+L")}), "standard", "standard L", true},
        {list({copyBound("CommandOrControl+Option+Shift+L")}), "standard", "custom L shift", true},
        {list({copyBound("Ctrl+Shift+Cmd+Alt+L")}), "standard", "custom L control shift", true},
        {list({copyBound("Cmd+L")}), "standard", "unsupportedShortcut"},
        {list({copyBound("Alt+L")}), "standard", "unsupportedShortcut"},
        {list({copyBound("Cmd+Alt+K")}), "standard", "unsupportedShortcut"},
        {list({copyBound("Cmd+Alt+Hyper+L")}), "unknownSyntax", "unknownSyntax"},

        // Several entries for it.
        {list({copyBound("Cmd+Alt+L"), copyBound("option+super+l")}), "standard", "standard L", true},
        {list({copyBound("Cmd+Alt+L"), copyBound("Cmd+Alt+Shift+L")}), "standard", "ambiguous"},
        {list({copyBound("Cmd+Alt+L"), copyBound("nothing")}), "unknownSyntax", "ambiguous"},
        {list({copyUnbound}), "standard", "disabled"},
        {list({copyNull}), "standard", "disabled"},
        {list({copyBound("Cmd+Alt+L"), copyNull}), "standard", "disabled"},
        {list({copyNull, bound("x", "Hyper+J")}), "unknownSyntax", "disabled"},

        // Others that take the stroke.
        {list({bound("x", "Alt+Cmd+L")}), "standard", "conflicting"},
        {list({bound("x", "Alt+Cmd+L"), copyBound("Cmd+Alt+L")}), "standard", "conflicting"},
        {list({copyBound("Cmd+Alt+Shift+L"), bound("x", "Shift+Cmd+Alt+L")}), "standard", "conflicting"},
        {list({bound("x", "Alt+Cmd+L"), copyBound("Cmd+Alt+Shift+L")}), "standard", "custom L shift"},
        {list({bound("x", "Alt+Cmd+L"), bound("y", "Hyper+J")}), "unknownSyntax", "unknownSyntax"},

        // What leaves the default Return alone for certain.
        {list({plan}), "standard", "standard L", true},
        {list({plan, copyBound("Cmd+Alt+L")}), "standard", "standard L", true},
        {list({plan, plan}), "standard", "standard L"},
        {list({bound("composer.togglePlanMode", "shift+tab")}), "standard", "standard L"},
        {list({R"({"command":"composer.togglePlanMode"})"}), "standard", "standard L"},
        {list({plan, bound("x", "Cmd+J")}), "standard", "standard L"},
    });
}
