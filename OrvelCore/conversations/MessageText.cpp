#include "OrvelCore/conversations/MessageText.h"

#include "OrvelCore/text/JsonRecord.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace orvel {

namespace {

using simdjson::dom::array;
using simdjson::dom::object;

bool isOneOf(std::string_view value, std::initializer_list<std::string_view> values) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

// The line that stands for an attachment. Its words are part of the relayed text and are never translated.
std::string attachmentText(const object& item) {
    const auto reference = [&]() -> std::optional<std::string_view> {
        const auto remote = [](std::optional<std::string_view> url) {
            return url && !url->starts_with("data:") ? url : std::nullopt;
        };
        if (const auto source = objectMember(item, "source")) {
            if (const auto path = stringMember(*source, "path")) return path;
            if (const auto url = remote(stringMember(*source, "url"))) return url;
        }
        return remote(stringMember(item, "image_url"));
    }();
    if (!reference) return std::string(attachmentWithoutReference);
    return "[添付参照: " + std::string(*reference) + "]";
}

std::optional<std::string> itemText(const object& item) {
    const auto type = stringMember(item, "type").value_or("");
    if (isOneOf(type, {"text", "input_text", "output_text"})) {
        const auto text = stringMember(item, "text");
        return text ? std::optional<std::string>(*text) : std::nullopt;
    }
    if (isOneOf(type, {"image", "input_image", "document"})) return attachmentText(item);
    return std::nullopt;
}

std::optional<std::vector<object>> objectsOf(const simdjson::simdjson_result<simdjson::dom::element>& value) {
    array list;
    if (value.get(list) != simdjson::SUCCESS) return std::nullopt;
    std::vector<object> objects;
    for (const auto element : list) {
        object item;
        if (element.get(item) != simdjson::SUCCESS) return std::nullopt;
        objects.push_back(item);
    }
    return objects;
}

std::string flattened(const std::vector<object>& items) {
    std::string text;
    bool isFirst = true;
    for (const auto& item : items) {
        const auto piece = itemText(item);
        if (!piece) continue;
        if (!isFirst) text += '\n';
        text += *piece;
        isFirst = false;
    }
    return text;
}

// The kinds of the content's items as Codex notes them; nothing if they are missing, empty or of another
// shape.
std::optional<std::vector<std::string_view>> contentKinds(const object& payload) {
    const auto metadata = objectMember(payload, "internal_chat_message_metadata_passthrough");
    if (!metadata) return std::nullopt;
    const auto list = member<array>(*metadata, "content_item_kinds");
    if (!list) return std::nullopt;
    std::vector<std::string_view> kinds;
    for (const auto element : *list) {
        std::string_view kind;
        if (element.get(kind) != simdjson::SUCCESS) return std::nullopt;
        kinds.push_back(kind);
    }
    if (kinds.empty()) return std::nullopt;
    return kinds;
}

bool isScaffolding(std::string_view kind) {
    return isOneOf(kind, {"agents_md.instructions", "environments.environment_context",
                          "skills.selected_skill_instructions"});
}

} // namespace

std::string contentText(const simdjson::simdjson_result<simdjson::dom::element>& content) {
    std::string_view text;
    if (content.get(text) == simdjson::SUCCESS) return std::string(text);
    const auto items = objectsOf(content);
    return items ? flattened(*items) : std::string();
}

std::string codexUserText(const object& payload) {
    const auto content = payload["content"];
    const auto kinds = contentKinds(payload);
    if (!kinds) return contentText(content);
    if (std::all_of(kinds->begin(), kinds->end(), isScaffolding)) return {};
    const auto items = objectsOf(content);
    // Where items and kinds do not match, everything stays: better than dropping the wrong item.
    if (!items || items->size() != kinds->size()) return contentText(content);
    std::vector<object> kept;
    for (std::size_t i = 0; i < items->size(); ++i)
        if (!isScaffolding((*kinds)[i])) kept.push_back((*items)[i]);
    return flattened(kept);
}

} // namespace orvel
