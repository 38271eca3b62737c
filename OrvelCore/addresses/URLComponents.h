#pragma once
// The components of a URL that decide which page it shows.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// In bytes. A longer URL has no components, so that no page can delay a key by its URL.
inline constexpr std::size_t maximumURLSize = 16'384;

/// Scheme and host in lower case; the path still percent-encoded.
struct URLComponents {
    std::string scheme, host, port, path;
    bool hasUserInfo = false, hasQuery = false, hasFragment = false;
};

/// Nothing for a text that is no well-formed URL.
std::optional<URLComponents> urlComponents(std::string_view url);

} // namespace orvel
