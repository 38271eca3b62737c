#include "samples/SampleCodexCommand.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

SampleCodexCommand SampleCodexCommand::parse(const std::vector<std::string>& arguments) {
    if (arguments == std::vector<std::string>{"app-server", "proxy"}) return {.kind = Kind::proxy};
    if (arguments.empty() || arguments[0] != "queue") return {};
    SampleCodexCommand command{.kind = Kind::queue};
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        auto option = arguments[i];
        const auto joint = option.find('=');
        const bool isJoined = joint != option.npos;
        if (!isJoined && i + 1 == arguments.size()) return {};
        const auto value = isJoined ? option.substr(joint + 1) : arguments[++i];
        option.resize(std::min(joint, option.size()));
        auto& place = option == "--thread" ? command.threadID : command.message;
        const bool isKnown = option == "--thread" || option == "--message";
        // What begins with a hyphen looks like another option, unless it is joined, and nothing like no
        // value.
        const bool isValue = !value.empty() && (isJoined || !value.starts_with('-')) && isValidUTF8(value);
        if (!isKnown || !place.empty() || !isValue) return {};
        place = value;
    }
    if (command.threadID.empty() || command.message.empty()) return {};
    return command;
}

} // namespace orvel
