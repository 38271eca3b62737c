#include "OrvelCore/conversations/Handoff.h"

#include "OrvelCore/conversations/JsonDocument.h"
#include "OrvelCore/text/UUID.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <vector>

#include <nlohmann/json.hpp>
#include <uriparser/Uri.h>

namespace orvel {

namespace {

struct QueryItem {
    std::string name;
    std::optional<std::string> value;
};

struct HandoffURL {
    std::string scheme, host, query;
};

bool mayStandInURL(char c) {
    static constexpr std::string_view marks = "-._~:/?#[]@!$&'()*+,;=%";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           marks.find(c) != marks.npos;
}

std::string encoded(std::string_view url) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    const auto query = url.find('?');
    for (std::size_t i = 0; i < url.size(); ++i) {
        const auto byte = static_cast<unsigned char>(url[i]);
        const bool isBracketInQuery = (byte == '[' || byte == ']') && i > query;
        if (mayStandInURL(url[i]) && !isBracketInQuery) {
            text += url[i];
        } else {
            text += '%';
            text += digits[byte >> 4];
            text += digits[byte & 15];
        }
    }
    return text;
}

std::string textOf(const UriTextRangeA& range) {
    return range.first ? std::string(range.first, range.afterLast) : std::string();
}

std::optional<HandoffURL> split(std::string_view url) {
    if (!isValidUTF8(url)) return std::nullopt;
    const auto text = encoded(url);
    UriUriA uri;
    if (uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), nullptr) != URI_SUCCESS)
        return std::nullopt;
    const std::unique_ptr<UriUriA, decltype(&uriFreeUriMembersA)> members(&uri, &uriFreeUriMembersA);
    return HandoffURL{textOf(uri.scheme), textOf(uri.hostText), textOf(uri.query)};
}

// The text behind percent-encoding, or nothing if it is no UTF-8.
std::optional<std::string> decoded(std::string_view encodedText) {
    std::string text(encodedText);
    text.push_back('\0');
    const char* end = uriUnescapeInPlaceExA(text.data(), URI_FALSE, URI_BR_DONT_TOUCH);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return isValidUTF8(text) ? std::optional(text) : std::nullopt;
}

std::optional<std::vector<QueryItem>> queryItems(std::string_view query) {
    std::vector<QueryItem> items;
    for (std::size_t from = 0; from <= query.size();) {
        const auto end = std::min(query.find('&', from), query.size());
        const auto piece = query.substr(from, end - from);
        from = end + 1;
        const auto equals = piece.find('=');
        const auto name = decoded(piece.substr(0, equals));
        const auto value = equals == piece.npos ? std::nullopt : decoded(piece.substr(equals + 1));
        if (!name || (equals != piece.npos && !value)) return std::nullopt;
        items.push_back({*name, value});
    }
    return items;
}

} // namespace

std::optional<HandoffRequest> HandoffRequest::parse(std::string_view url) {
    const auto parts = split(url);
    if (!parts || parts->scheme != "orvel" || parts->host != "handoff") return std::nullopt;
    const auto items = queryItems(parts->query);
    if (!items) return std::nullopt;

    std::array<const QueryItem*, 4> known{};
    static constexpr std::array<std::string_view, 4> names{"source", "file", "instruction", "session_id"};
    for (const auto& item : *items) {
        const auto at = std::find(names.begin(), names.end(), item.name) - names.begin();
        if (at == static_cast<std::ptrdiff_t>(names.size())) continue;
        auto& place = known[static_cast<std::size_t>(at)];
        if (place) return std::nullopt; // A repeated parameter is never resolved by taking one of them.
        place = &item;
    }
    const auto [source, file, instruction, session] = known;
    const auto valueOf = [](const QueryItem* item) {
        return item ? item->value.value_or("") : std::string();
    };

    HandoffRequest request;
    const auto agent = agentNamed(valueOf(source));
    if (!agent) return std::nullopt;
    request.source = *agent;
    if (const auto path = valueOf(file); !path.empty()) {
        if (!path.starts_with('/')) return std::nullopt;
        request.file = path;
    }
    if (session) {
        if (!isUUID(valueOf(session)) || !request.file) return std::nullopt;
        request.sessionID = session->value;
    }
    request.instruction = valueOf(instruction);
    return request;
}

HandoffState HandoffState::decode(std::string_view json) try {
    const auto document = documentIn(json);
    return {document.at("checkpoints").get<std::map<std::string, std::string>>(),
            document.at("lastDestinations").get<std::map<std::string, std::string>>()};
} catch (const std::exception&) {
    throw std::runtime_error("The file doesn't hold transfer positions.");
}

std::string HandoffState::directionKey(Agent source, Agent destination) {
    return std::string(rawValue(source)) + ":" + std::string(rawValue(destination));
}

std::string HandoffState::key(Agent source, std::string_view conversationID, Agent destination,
                              std::string_view destinationConversation) {
    const auto texts = nlohmann::json::array({rawValue(source), displayable(conversationID),
                                              rawValue(destination), displayable(destinationConversation)});
    return texts.dump();
}

std::size_t HandoffFormatter::nextIndex(std::span<const Message> messages,
                                        const std::optional<std::string>& after) {
    const auto position = after ? positionOf(messages, *after) : std::nullopt;
    return position ? *position + 1 : 0;
}

} // namespace orvel
