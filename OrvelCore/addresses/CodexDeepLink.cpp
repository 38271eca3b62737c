#include "OrvelCore/addresses/CodexDeepLink.h"

#include "OrvelCore/text/UUID.h"

namespace orvel {

std::optional<std::string> CodexDeepLink::threadID(std::string_view text) {
    static constexpr std::string_view prefix = "codex://threads/";
    if (!text.starts_with(prefix)) return std::nullopt;
    const auto rest = text.substr(prefix.size());
    if (!isUUID(rest)) return std::nullopt;
    std::string id(rest);
    for (char& c : id)
        if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
    return id;
}

} // namespace orvel
