#include "samples/SampleCodexCommand.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <optional>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

std::optional<std::string> execFolder(const std::vector<std::string>& arguments) {
    constexpr std::size_t place = 4;
    if (arguments.size() <= place) return std::nullopt;
    const auto& folder = arguments[place];
    const std::vector<std::string> expected{"exec", "--json", "--skip-git-repo-check", "-C", folder, "-"};
    return arguments == expected ? std::optional(folder) : std::nullopt;
}

} // namespace

SampleCodexCommand SampleCodexCommand::parse(const std::vector<std::string>& arguments) {
    if (arguments == std::vector<std::string>{"app-server", "proxy"}) return {.kind = Kind::proxy};
    if (const auto folder = execFolder(arguments)) return {.kind = Kind::exec, .folder = *folder};
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

std::string printedAtStart(std::string_view threadID) {
    return Json{{"type", "thread.started"}, {"thread_id", threadID}}.dump() + "\n" +
           Json{{"type", "turn.started"}}.dump() + "\n";
}

std::string printedAtEnd(const SampleCodexTurn& turn) {
    if (turn.status != SampleCodexTurn::Status::completed)
        return Json{{"type", "turn.failed"}, {"error", {{"message", turn.error}}}}.dump() + "\n";
    const Json reply{{"id", "item_0"}, {"type", "agent_message"}, {"text", turn.items.back().text}};
    return Json{{"type", "item.completed"}, {"item", reply}}.dump() + "\n" +
           Json{{"type", "turn.completed"}, {"usage", Json::object()}}.dump() + "\n";
}

} // namespace orvel
