#include "OrvelCore/commands/OrvelCommand.h"

using namespace orvel;

TEST(OrvelCommand, IsTheWordAndOneSeparatorAndWhatFollows) {
    using enum ReturnInputClassification;
    const std::string atLimit = "/orvel " + std::string(OrvelCommand::maximumBytes - 7, 'x');
    // The limit lies inside the last character.
    const std::string acrossLimit = "/orvel " + std::string(OrvelCommand::maximumBytes - 9, 'x') + "\u3042";
    const struct {
        std::string text;
        std::optional<std::string> instruction;
        ReturnInputClassification classification = command;
    } cases[] = {
        {"/orvel", ""},
        {"/orvel ", ""},
        {"/orvel\r\n", ""},
        {"/orvel\r\nx", "x"},
        {"/orvel\n\nx", "\nx"},
        {"/orvel\tx", "x"},
        {"/orvel  x \n", " x \n"},
        {"/orvel\u3000あ", "あ"},
        {"/orvel\u00A0x", "x"},
        {"/orvel \u0301x", "x"}, // A blank with marks is one character.
        {"/orvel\u3000\u0301\u200D\u0903\U000E0061x", "x"},
        {"/orvel \u0301", ""},
        {"/orvel \u0301\r\n", "\r\n"},
        {"/orvel\n\u0301x", "\u0301x"}, // A line break takes no mark.
        {"/orvel\t\u0301x", "\u0301x"},
        {"/orvel \xCC", "\xCC"},
        {atLimit, std::string(OrvelCommand::maximumBytes - 7, 'x')},

        {atLimit + "x", {}, tooLong},
        {acrossLimit, {}, tooLong},
        {std::string(OrvelCommand::maximumBytes + 1, ' '), {}, tooLong},
        {std::string(OrvelCommand::maximumBytes, ' '), {}, other},
        {"", {}, empty},
        {"/orvel/", {}, invalidBoundary},
        {"/orvel\u200Bx", {}, invalidBoundary}, // A zero width space is no White_Space.
        {"/orvel\xFF", {}, invalidBoundary},
        {"/orvel\u0301", {}, other}, // The last letter is another one.
        {"/orvel\u200D x", {}, other},
        {" /orvel", {}, leadingWhitespace},
        {"\u3000/orvelx", {}, leadingWhitespace},
        {" /orvel\u0301", {}, other},
        {"/Orvel", {}, other},
        {" ", {}, other},
        {"\uFEFF/orvel", {}, other},
        {"／orvel", {}, other},
    };
    for (const auto& test : cases) {
        const auto command = OrvelCommand::parse(test.text);
        const auto shown = test.text.substr(0, 20);
        EXPECT_EQ(command ? std::optional(command->instruction) : std::nullopt, test.instruction) << shown;
        EXPECT_EQ(classifyInput(test.text), test.classification) << shown;
    }
}
