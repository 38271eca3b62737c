#include "Orvel/cli/TypedCommandCheck.h"

#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/files/FileError.h"

#include <cerrno>
#include <string>

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

// Everything up to the end, or as much as shows that it is too long.
std::string standardInput() {
    std::string text(OrvelCommand::maximumBytes + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const auto got = ::read(STDIN_FILENO, text.data() + size, text.size() - size);
        if (got == 0) break;
        if (got > 0)
            size += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            throw FileError::fromErrno(errno, "read", "standard input");
    }
    text.resize(size);
    return text;
}

std::string_view meaningOf(ReturnInputClassification classification) {
    using enum ReturnInputClassification;
    switch (classification) {
    case command: return "The command. Return in the editor of a conversation hands it to Orvel.";
    case empty: return "No command: there is nothing.";
    case tooLong: return "No command: it has more than 100,000 bytes.";
    case invalidBoundary: return "No command: no blank and no line break separates /orvel from what follows.";
    case leadingWhitespace: return "No command: /orvel is not at the very beginning.";
    case unread:
    case unavailable:
    case other: break;
    }
    return "No command: it does not begin with /orvel, in small letters.";
}

std::string jsonOf(ReturnInputClassification classification, const std::optional<OrvelCommand>& command) {
    Json json{{"classification", description(classification).view()}};
    if (command) json["instruction"] = command->instruction;
    // The text need not be UTF-8, but JSON must.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string linesOf(ReturnInputClassification classification, const std::optional<OrvelCommand>& command,
                    const Stylist& stylist) {
    auto lines = "Text: " + stylist(TextStyle::strong, description(classification)) + "\n  " +
                 std::string(meaningOf(classification)) + "\n";
    if (!command) return lines;
    if (command->instruction.empty()) return lines + "Instructions: none\n";
    lines += "Instructions:\n" + visibleText(command->instruction);
    return lines.ends_with('\n') ? lines : lines + "\n";
}

} // namespace

void checkTypedCommand(const Arguments& arguments, Output& output, const Stylist& stylist) {
    const auto text = arguments.text ? *arguments.text : standardInput();
    const auto classification = classifyInput(text);
    const auto command = OrvelCommand::parse(text);
    output.write(arguments.json ? jsonOf(classification, command)
                                : linesOf(classification, command, stylist));
}

} // namespace orvel
