#include "OrvelCore/conversations/MessageList.h"

#include "OrvelCore/text/Digest.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

bool MessageList::append(std::string_view role, std::string text, std::optional<std::string_view> nativeID,
                         std::size_t lineNumber) {
    if (trimmed(text).empty()) return false;
    auto id = nativeID ? std::string(*nativeID) : "line-" + std::to_string(lineNumber);
    id += ':';
    id += sha256Hex({role, "\n", text});
    if (taken.numberOf(id) < messages.size()) return false;
    messages.push_back({std::move(id), std::string(role), std::move(text)});
    return true;
}

} // namespace orvel
