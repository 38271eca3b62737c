// What the protocol's roles, states, names and errors become, and how an editor's objects become one text.

#include "Orvel/platform/linux/AtSpiVocabulary.h"
#include "Orvel/platform/linux/AtSpiText.h"
#include "Orvel/platform/linux/BusMessage.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

std::uint64_t bits(std::initializer_list<unsigned> states) {
    std::uint64_t all = 0;
    for (const auto state : states) all |= std::uint64_t{1} << state;
    return all;
}

TEST(AtSpiVocabularyTest, rolesFollowFromRoleStatesAndAttributes) {
    using namespace AtSpiState;
    struct Case {
        AtSpiFacts facts;
        std::string_view role;
        std::optional<std::string_view> subrole = std::nullopt;
    };
    const Case cases[] = {
        {{.role = 75}, "AXApplication"},
        {{.role = 23}, "AXWindow", "AXStandardWindow"},
        {{.role = 95}, "AXWebArea"},
        {{.role = 79, .states = bits({multiLine})}, "AXTextArea"},
        {{.role = 79}, "AXTextField"},
        {{.role = 79, .attributes = {{"text-input-type", "search"}}}, "AXSearchField"},
        {{.role = 85}, "AXGroup"},
        {{.role = 39}, "AXGroup"},
        {{.role = 39, .attributes = {{"xml-roles", "form radiogroup"}}}, "AXRadioGroup"},
        {{.role = 39, .attributes = {{"xml-roles", "radiogroups"}}}, "AXGroup"},
        {{.role = 43}, "AXButton"},
        {{.role = 43, .states = bits({hasPopup}), .attributes = {{"haspopup", "menu"}}}, "AXPopUpButton"},
        {{.role = 43, .states = bits({hasPopup}), .attributes = {{"haspopup", "dialog"}}}, "AXButton"},
        {{.role = 62}, "AXCheckBox"},
        {{.role = 11, .attributes = {{"tag", "select"}}}, "AXPopUpButton"},
        {{.role = 11}, "AXComboBox"},
        {{.role = 116}, "AXStaticText"},
        {{.role = 16}, "AXGroup", "AXDialog"},
        {{.role = 2, .attributes = {{"xml-roles", "alertdialog"}}}, "AXGroup", "AXDialog"},
        {{.role = 2}, "AXGroup"},
        {{.role = 9'999}, "AXUnknown"},
    };
    for (const auto& [facts, role, subrole] : cases) {
        EXPECT_EQ(axRole(facts), role) << facts.role;
        EXPECT_EQ(axSubrole(facts), subrole) << facts.role;
    }
}

TEST(AtSpiVocabularyTest, theOneNameGoesWhereItCameFrom) {
    struct Case {
        std::string from;
        std::uint32_t role;
        std::optional<std::string> title, description;
    };
    const Case cases[] = {
        {"contents", 43, "Send", std::nullopt},        {"", 23, "Send", std::nullopt},
        {"attribute", 43, std::nullopt, "Send"},       {"attribute", 23, "Send", std::nullopt},
        {"related-element", 79, std::nullopt, "Send"}, {"placeholder", 79, std::nullopt, std::nullopt},
        {"contents", 116, std::nullopt, std::nullopt},
    };
    for (const auto& [from, role, title, description] : cases) {
        AtSpiFacts facts{.role = role, .name = "Send", .description = "Sends it"};
        if (!from.empty()) facts.attributes["name-from"] = from;
        EXPECT_EQ(axLabel(facts, "AXTitle"), title) << from;
        EXPECT_EQ(axLabel(facts, "AXDescription"), description) << from;
        EXPECT_EQ(axLabel(facts, "AXHelp"), "Sends it");
    }
    EXPECT_EQ(axLabel({.role = 43}, "AXTitle"), std::nullopt);
}

TEST(AtSpiVocabularyTest, classesEditabilityAndActions) {
    using Classes = std::optional<std::vector<std::string>>;
    EXPECT_EQ(axClasses({.attributes = {{"class", " a  b\tc "}}}), Classes({"a", "b", "c"}));
    EXPECT_EQ(axClasses({.attributes = {{"tag", "div"}}}), Classes(std::in_place));
    EXPECT_EQ(axClasses({}), std::nullopt);
    using namespace AtSpiState;
    EXPECT_TRUE(isEditable({.states = bits({editable, enabled})}));
    EXPECT_FALSE(isEditable({.states = bits({editable})}));
    EXPECT_FALSE(isEditable({.states = bits({editable, enabled, readOnly})}));
    EXPECT_EQ(axAction("doDefault"), "AXPress");
    EXPECT_EQ(axAction("expand"), "expand");
}

TEST(AtSpiVocabularyTest, errorsBecomeStatuses) {
    const auto status = [](const char* name, bool isMandatory = false) {
        return statusOfError(std::string("org.freedesktop.DBus.Error.") + name, isMandatory);
    };
    EXPECT_EQ(status("NoReply"), AXStatus::cannotComplete);
    EXPECT_EQ(status("ServiceUnknown"), AXStatus::invalidElement);
    EXPECT_EQ(status("UnknownObject"), AXStatus::invalidElement);
    EXPECT_EQ(status("UnknownMethod"), AXStatus::attributeUnsupported);
    EXPECT_EQ(status("UnknownMethod", true), AXStatus::invalidElement);
    EXPECT_EQ(status("Disconnected"), AXStatus::apiDisabled);
    EXPECT_EQ(status("Failed"), AXStatus::failure);
    EXPECT_EQ(statusOfError("UnknownMethod", true), AXStatus::failure);
}

AtSpiTextNode run(std::string text) {
    return {.text = std::move(text), .isRun = true};
}
AtSpiTextNode block(std::vector<AtSpiTextNode> children) {
    return {.isBlock = true, .children = std::move(children)};
}
AtSpiTextNode inlineOf(std::vector<AtSpiTextNode> children) {
    return {.children = std::move(children)};
}
AtSpiTextNode placeholder() {
    return {.isPlaceholder = true, .children = {run("Ask")}};
}

TEST(AtSpiTextTest, blocksBecomeLines) {
    struct Case {
        AtSpiTextNode editor;
        std::string text;
    };
    const Case cases[] = {
        {{.text = "a\nb\n"}, "a\nb\n"},
        {{.text = "\uFFFC"}, "\uFFFC"}, // A character that somebody typed.
        {inlineOf({block({run("one")}), block({run("two")})}), "one\ntwo"},
        {inlineOf({block({run("\n")})}), ""},
        {inlineOf({block({run("a")}), block({run("\n")}), block({run("\n")}), block({run("b")})}),
         "a\n\n\nb"},
        {inlineOf({block({run("a"), run("\n"), run("b")})}), "a\nb"},
        {inlineOf({block({run("a\n"), run("\n")})}), "a\n"},
        {inlineOf({block({placeholder(), run("\n")})}), ""},
        {inlineOf({run("see "), inlineOf({run("this")}), run(" link")}), "see this link"},
        {inlineOf({run("before"), block({run("in")}), run("behind")}), "before\nin\nbehind"},
        {inlineOf({block({block({run("item")}), block({run("next")})}), block({run("end")})}),
         "item\nnext\nend"},
        {inlineOf({block({block({run("item\n"), run("\n")})})}), "item\n"},
    };
    for (const auto& [editor, text] : cases) EXPECT_EQ(plainText(editor), text);
    EXPECT_EQ(plainText(cases[7].editor, true), "Ask");
}

TEST(AtSpiTextTest, nestedCaretsAndSelectionsBecomeOneRangeInUTF16) {
    const auto paragraph = [](std::string text, std::optional<std::int64_t> caret,
                              std::optional<std::pair<std::int64_t, std::int64_t>> selection = std::nullopt) {
        return AtSpiTextNode{
            .text = std::move(text), .isBlock = true, .caret = caret, .selection = selection};
    };
    const auto editor = [](std::vector<AtSpiTextNode> children, std::optional<std::int64_t> caret,
                           std::optional<std::pair<std::int64_t, std::int64_t>> selection = std::nullopt) {
        return AtSpiTextNode{.caret = caret, .selection = selection, .children = std::move(children)};
    };
    using Range = std::optional<AtSpiTextRange>;
    EXPECT_EQ(selectedRange(editor({paragraph("first", 3), paragraph("second", {})}, 0)), Range({3, 0}));
    EXPECT_EQ(selectedRange(editor({paragraph("first", {}), paragraph("second", 2)}, 1)), Range({8, 0}));
    EXPECT_EQ(selectedRange(editor({paragraph("😀語x", 2)}, 0)), Range({3, 0}));
    EXPECT_EQ(selectedRange(editor({paragraph("first", 5, {{1, 5}})}, 0, {{0, 1}})), Range({1, 4}));
    EXPECT_EQ(selectedRange(editor({paragraph("first", {}, {{2, 5}}), paragraph("mid", {}, {{0, 3}}),
                                    paragraph("last", 1, {{0, 1}})},
                                   2, {{0, 3}})),
              Range({2, 9}));
    EXPECT_EQ(selectedRange(editor({paragraph("first", {}), paragraph("last", {})}, 2, {{0, 2}})),
              Range({0, 10}));
    EXPECT_EQ(selectedRange({.text = "a\nb", .caret = 2}), Range({2, 0}));
    EXPECT_EQ(selectedRange({.text = "ab", .caret = 99}), Range({2, 0}));
    EXPECT_EQ(selectedRange({.text = "ab"}), std::nullopt);
}

} // namespace
} // namespace orvel
