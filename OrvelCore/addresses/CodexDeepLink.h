#pragma once
// The link to a conversation that Codex copies: codex://threads/ and an id.

#include <optional>
#include <string>
#include <string_view>

namespace orvel::CodexDeepLink {

/// The id in lower case; nothing if the text is anything but the bare link.
std::optional<std::string> threadID(std::string_view text);

} // namespace orvel::CodexDeepLink
