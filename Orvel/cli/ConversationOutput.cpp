#include "Orvel/cli/ConversationOutput.h"

#include "OrvelCore/conversations/MachineMadeText.h"
#include "OrvelCore/text/JsonString.h"
#include "OrvelCore/text/Unicode.h"

#include <fmt/format.h>

namespace orvel {

namespace {

// Gathers what is written, since every writing to the output costs a call of the system.
class Gathered {
  public:
    explicit Gathered(Output& output) : output(output) {}

    std::string text;

    // Between any two messages.
    void writeIfLarge() {
        if (text.size() >= large) write();
    }

    void write() {
        output.write(text);
        text.clear();
    }

  private:
    static constexpr std::size_t large = 65'536;

    Output& output;
};

void appendMember(std::string& json, std::string_view name, std::string_view value) {
    if (json.back() != '{') json += ',';
    json += '"';
    json += name;
    json += "\":";
    appendJsonString(json, value);
}

void appendMember(std::string& json, std::string_view name, bool value) {
    json += ",\"";
    json += name;
    json += value ? "\":true" : "\":false";
}

std::string factsOf(const Conversation& conversation) {
    const auto count = conversation.messages.size();
    auto text =
        fmt::format("{} · {} {}", label(conversation.source), count, count == 1 ? "message" : "messages");
    if (conversation.isBusy) text += " · still at work";
    if (conversation.hasAmbiguousBranches) text += " · ambiguous branches";
    return text;
}

// In place of what an agent's program wrote under the user's name.
std::string folded(std::string_view text, Agent agent) {
    return fmt::format("{} bytes by {}'s program, not by you; --json prints them.", text.size(),
                       label(agent));
}

} // namespace

void writeAsJson(const Conversation& conversation, Output& output) {
    Gathered gathered(output);
    auto& json = gathered.text;
    json = '{';
    appendMember(json, "id", displayable(conversation.id));
    appendMember(json, "source", rawValue(conversation.source));
    appendMember(json, "title", displayable(conversation.title));
    appendMember(json, "isBusy", conversation.isBusy);
    appendMember(json, "hasAmbiguousBranches", conversation.hasAmbiguousBranches);
    json += ",\"messages\":[";
    bool isFirst = true;
    for (const auto& message : conversation.messages) {
        json += isFirst ? "{" : ",{";
        isFirst = false;
        appendMember(json, "id", message.id);
        appendMember(json, "role", message.role);
        appendMember(json, "text", message.text);
        json += '}';
        gathered.writeIfLarge();
    }
    json += "]}\n";
    gathered.write();
}

void writeAsText(const NamedConversation& named, Output& output, const Stylist& stylist) {
    const auto& conversation = *named.conversation;
    Gathered gathered(output);
    auto& text = gathered.text;
    text = stylist(TextStyle::strong, visibleLine(named.title)) + "\n";
    text += fmt::format("{}\n", factsOf(conversation));
    text += fmt::format("Session {}\n", visibleLine(conversation.id));
    text += fmt::format("File    {}\n", visibleLine(named.path));
    const auto agentStyle = styleOf(conversation.source);
    std::size_t number = 0;
    for (const auto& message : conversation.messages) {
        const bool isAgent = message.role == "assistant";
        const auto kind = isAgent ? std::nullopt : machineMade(conversation.source, message.text);
        text += "\n";
        text += stylist(isAgent ? agentStyle : TextStyle::strong, isAgent ? label(conversation.source)
                                                                  : kind  ? wordsOf(*kind)
                                                                          : "You");
        text +=
            "  " + stylist(TextStyle::faint, fmt::format("{}  {}", ++number, visibleLine(message.id))) + "\n";
        text += kind ? stylist(TextStyle::faint, folded(message.text, conversation.source))
                     : visibleText(message.text);
        if (kind || !message.text.ends_with('\n')) text += "\n";
        gathered.writeIfLarge();
    }
    gathered.write();
}

} // namespace orvel
