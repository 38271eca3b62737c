// The typed command, and what is told of a text.

#include "Claim.h"

#include "OrvelCore/commands/CommandRemoval.h"
#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/text/Unicode.h"

#include <cstdint>

using namespace orvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto command = OrvelCommand::parse(text);
    const auto kind = classifyInput(text);
    claim(command.has_value() == (kind == ReturnInputClassification::command), "both readings agree");
    claim((kind == ReturnInputClassification::empty) == text.empty(), "only nothing is empty");
    claim((kind == ReturnInputClassification::leadingWhitespace) <= (trimmed(text).size() < text.size()),
          "leading blanks are there");
    if (command) {
        claim(text.starts_with(OrvelCommand::word), "a command begins with its word");
        claim(text.ends_with(command->instruction), "the instruction is verbatim");
        const auto separator = text.substr(
            OrvelCommand::word.size(), text.size() - OrvelCommand::word.size() - command->instruction.size());
        claim(separator.empty() == (text == OrvelCommand::word), "there is a separator");
        claim(separator == firstCharacters(text.substr(OrvelCommand::word.size()), 1),
              "it is one whole character");
    }
    const auto readback = removalReadback(text, OrvelCommand::word);
    claim((readback == CommandRemovalReadback::unchanged) == (text == OrvelCommand::word),
          "unchanged is equal");
    return 0;
}
