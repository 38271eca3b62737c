#include "OrvelCore/conversations/MessageList.h"

#include "OrvelCore/text/Digest.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

bool MessageList::append(std::string_view role, std::string text, std::optional<std::string_view> nativeID,
                         std::size_t lineNumber, std::optional<std::string_view> writtenAt) {
    if (trimmed(text).empty()) return false;
    const auto digest = sha256Hex({role, "\n", text});
    std::string id;
    id.reserve((nativeID ? nativeID->size() : 32) + 1 + digest.size());
    id = nativeID ? *nativeID : "line-" + std::to_string(lineNumber);
    id += ':';
    id += digest;
    const auto isTaken = [&](TextNumberTable::Number number) { return messages[number].id == id; };
    if (taken.numberOf(id, messages.size(), isTaken) < messages.size()) return false;
    messages.push_back({std::move(id), std::string(role), std::move(text),
                        writtenAt ? dateFromText(*writtenAt) : std::nullopt});
    return true;
}

} // namespace orvel
