#include "samples/SampleCodexCommand.h"

#include "OrvelCore/text/Unicode.h"

namespace orvel {

SampleCodexCommand SampleCodexCommand::parse(const std::vector<std::string>& arguments) {
    if (arguments == std::vector<std::string>{"app-server", "proxy"}) return {.kind = Kind::proxy};
    if (arguments.size() != 5 || arguments[0] != "queue") return {};
    SampleCodexCommand command{.kind = Kind::queue};
    for (std::size_t i = 1; i < arguments.size(); i += 2) {
        const auto& option = arguments[i];
        const auto& value = arguments[i + 1];
        auto& place = option == "--thread" ? command.threadID : command.message;
        const bool isKnown = option == "--thread" || option == "--message";
        // What begins with a hyphen looks like another option.
        if (!isKnown || !place.empty() || value.starts_with('-') || !isValidUTF8(value)) return {};
        place = value;
    }
    return command;
}

} // namespace orvel
