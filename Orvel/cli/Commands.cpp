#include "Orvel/cli/Commands.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/ConversationArgument.h"
#include "Orvel/cli/ConversationOutput.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/MessageRange.h"
#include "Orvel/model/RelativeTime.h"
#include "Orvel/model/SidebarContents.h"
#include "Orvel/platform/posix/SystemClock.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/Handoff.h"
#include "OrvelCore/conversations/RecentConversationsStore.h"
#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/files/FilePath.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel::Commands {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t titleColumns = 48;
constexpr std::size_t folderColumns = 24;

TextTable::Cell agentCell(Agent agent) {
    return {std::string(label(agent)), styleOf(agent)};
}

TextTable::Cell timeCell(Date date) {
    const auto now = SystemClock::now();
    return {relativeTime(date, now, localUTCOffset(now)), TextStyle::faint};
}

Json jsonOf(const HandoffRequest& request) {
    const auto orNull = [](const std::optional<std::string>& text) { return text ? Json(*text) : Json(); };
    return {{"source", rawValue(request.source)},
            {"file", orNull(request.file)},
            {"sessionID", orNull(request.sessionID)},
            {"instruction", request.instruction}};
}

template <typename Value>
std::string linesOf(const std::vector<Value>& values) {
    auto array = Json::array();
    for (const auto& value : values) array.push_back(jsonOf(value));
    return jsonLine(array);
}

} // namespace

std::string list(const Arguments& arguments, const Places& places, const Stylist& stylist) {
    auto roots = places.folders.defaultRoots();
    if (arguments.agent)
        std::erase_if(roots, [&](const auto& root) { return root.agent != *arguments.agent; });
    const auto references = ConversationCatalog::discover(roots, places.folders.claudeDesktop);
    if (arguments.json) return linesOf(references);
    TextTable table;
    const SidebarContents contents({}, {}, references, {}, readNames(references));
    for (const auto& row : contents.rows())
        table.add({agentCell(row.agent),
                   timeCell(row.date),
                   {row.title, TextStyle::strong, titleColumns},
                   {row.folder, TextStyle::plain, folderColumns},
                   {row.reference->sessionID, TextStyle::faint}});
    return table.text(stylist);
}

void show(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    const auto named = readConversation(arguments.subject, arguments.agent, places);
    if (arguments.json) return writeAsJson(*named.conversation, output);
    writeAsText(named, output, stylist);
}

std::string preview(const Arguments& arguments, const Places& places) {
    const auto conversation = readConversation(arguments.subject, arguments.agent, places).conversation;
    const auto start = rangeStart(arguments, *conversation).value_or(0);
    const auto messages = std::span(conversation->messages).subspan(start);
    return RelayFormatter::render(conversation->source, messages, arguments.note.value_or(""));
}

std::string url(const Arguments& arguments, const Stylist& stylist) {
    const auto request = HandoffRequest::parse(arguments.subject);
    if (!request) throw CommandFailure("invalidURL", "Couldn't read the Orvel URL.");
    if (arguments.json) return jsonLine(jsonOf(*request));
    std::string lines;
    const auto add = [&](std::string_view name, const std::optional<std::string>& value) {
        lines += fmt::format("{:<12} {}\n", name, value ? *value : stylist(TextStyle::faint, "none"));
    };
    const auto line = [](const std::optional<std::string>& text) {
        return text ? std::optional(visibleLine(*text)) : std::nullopt;
    };
    add("Source", std::string(label(request->source)));
    add("File", line(request->file));
    add("Session", line(request->sessionID));
    add("Instruction",
        request->instruction.empty() ? std::nullopt : std::optional(visibleText(request->instruction)));
    return lines;
}

std::string recent(const Arguments& arguments, const Places& places, const Stylist& stylist) {
    // Nothing is saved here.
    const RecentConversationsStore store(joinedPath(places.dataFolder, "recent-conversations.json"));
    if (const auto& error = store.loadErrorDescription()) throw CommandFailure("unreadableRecents", *error);
    if (arguments.json) return linesOf(store.entries());
    TextTable table;
    for (const auto& entry : store.entries())
        table.add({agentCell(entry.source),
                   timeCell(entry.lastUsed),
                   {entry.title, TextStyle::strong, titleColumns},
                   {entry.path + (entry.isAvailable() ? "" : "  (not available)")}});
    return table.text(stylist);
}

} // namespace orvel::Commands
