#include "OrvelCore/addresses/ClaudeRoutes.h"

#include "OrvelCore/addresses/URLComponents.h"
#include "OrvelCore/text/UUID.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <vector>

#include <uriparser/Uri.h>

namespace orvel {

namespace {

constexpr std::string_view originScheme = "https", originHost = "claude.ai", originPort = "443";

bool hasScheme(std::string_view text) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto belongs = [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    };
    const auto colon = text.find(':');
    return colon != text.npos && colon > 0 && isLetter(text.front()) &&
           std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), belongs);
}

// Whether the URL has Claude's web origin and names no user.
bool isOfClaude(const URLComponents& url) {
    return url.scheme == originScheme && url.host == originHost && !url.hasUserInfo &&
           (url.port.empty() || url.port == originPort);
}

// The path without percent-encoding; nothing if it is no UTF-8.
std::optional<std::string> decoded(std::string path) {
    path.push_back('\0');
    const char* end = uriUnescapeInPlaceExA(path.data(), URI_FALSE, URI_BR_DONT_TOUCH);
    path.resize(static_cast<std::size_t>(end - path.data()));
    return isValidUTF8(path) ? std::optional(path) : std::nullopt;
}

// The parts between slashes, empty ones too.
std::vector<std::string_view> partsOf(std::string_view path) {
    std::vector<std::string_view> parts;
    for (std::size_t from = 0; from <= path.size();) {
        const auto end = std::min(path.find('/', from), path.size());
        parts.push_back(path.substr(from, end - from));
        from = end + 1;
    }
    return parts;
}

DiagnosticText kindOfPart(std::string_view part) {
    static constexpr std::array<FixedWords, 4> pages{"", "new", "chat", "epitaxy"};
    if (isUUID(part)) return FixedWords("{UUID}");
    if (part.starts_with("local_") && isUUID(part.substr(6))) return FixedWords("local_{UUID}");
    return DiagnosticText::oneOf(part, pages, "{other}");
}

DiagnosticText pathSummary(std::string_view path) {
    // A little more than the longest known page has, so that the summary stays one line.
    static constexpr std::size_t maximumParts = 8;
    if (path.empty()) return FixedWords("Empty path");
    if (path == "/") return FixedWords("Root /");
    const auto parts = partsOf(path);
    DiagnosticText summary;
    for (std::size_t i = 0; i < std::min(parts.size(), maximumParts); ++i) {
        if (i > 0) summary += FixedWords("/");
        summary += kindOfPart(parts[i]);
    }
    if (parts.size() > maximumParts) summary += FixedWords("/{more}");
    return summary;
}

} // namespace

bool isURL(std::string_view text) {
    return hasScheme(text) || (!text.empty() && urlComponents(text).has_value());
}

std::optional<std::string> claudeWebPath(std::string_view url) {
    auto components = urlComponents(url);
    if (!components || components->scheme != originScheme || components->host != originHost)
        return std::nullopt;
    return std::move(components->path);
}

ClaudeCodeRoute::ClaudeCodeRoute(std::string_view url) {
    static constexpr std::string_view page = "/epitaxy", conversations = "/epitaxy/", prefix = "local_";
    const auto components = urlComponents(url);
    if (!components || !isOfClaude(*components)) return;
    const std::string_view path = components->path;
    if (path == page) kind = Kind::newConversation;
    if (!path.starts_with(conversations)) return;
    const auto id = path.substr(conversations.size());
    if (!id.starts_with(prefix) || !isUUID(id.substr(prefix.size()))) return;
    kind = Kind::conversation;
    desktopSessionID = id;
}

ClaudeChatRoute claudeChatRoute(std::string_view url) {
    using enum ClaudeChatRoute;
    const auto components = urlComponents(url);
    if (!components || !isOfClaude(*components)) return unsupported;
    const auto path = decoded(components->path);
    if (!path) return unsupported;
    if (path->empty() || *path == "/" || *path == "/new") return newChat;
    const auto parts = partsOf(*path);
    if (parts.size() == 3 && parts[0].empty() && parts[1] == "chat" && isUUID(parts[2])) return conversation;
    return unsupported;
}

DiagnosticText urlStructure(std::string_view url) {
    const auto components = urlComponents(url);
    if (!components) return FixedWords("URL structure: Unparseable");
    const auto& [scheme, host, port, path, hasUserInfo, hasQuery, hasFragment] = *components;
    const auto schemeWords = scheme == originScheme ? FixedWords("https")
                             : scheme.empty()       ? FixedWords("absent")
                                                    : FixedWords("other");
    const auto hostWords =
        host == originHost ? FixedWords("claude.ai") : FixedWords("claude.ai mismatch or absent");
    return DiagnosticText::of("URL structure: scheme={}, host={}, user info present={}, port present={}, "
                              "path={}, trailing slash={}, consecutive slashes={}, query present={}, "
                              "fragment present={}",
                              schemeWords, hostWords, hasUserInfo, !port.empty(), pathSummary(path),
                              path.size() > 1 && path.ends_with('/'), path.find("//") != path.npos, hasQuery,
                              hasFragment);
}

} // namespace orvel
