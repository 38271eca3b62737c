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

// What an item says; nothing for one that gives no text. An attachment's words are kept in `attachment`.
std::optional<std::string_view> itemText(const object& item, std::string& attachment) {
    const auto type = stringMember(item, "type").value_or("");
    if (isOneOf(type, {"text", "input_text", "output_text"})) return stringMember(item, "text");
    if (!isOneOf(type, {"image", "input_image", "document"})) return std::nullopt;
    attachment = attachmentText(item);
    return attachment;
}

// The list in `value` if it holds nothing but objects.
std::optional<array> objectsIn(const simdjson::simdjson_result<simdjson::dom::element>& value) {
    array list;
    if (value.get(list) != simdjson::SUCCESS) return std::nullopt;
    for (const auto element : list)
        if (!element.is_object()) return std::nullopt;
    return list;
}

// The texts of the objects in the list for which `isKept`, which is asked with their index.
template <typename IsKept>
std::string flattened(const array& list, IsKept isKept) {
    std::string text, attachment;
    std::size_t index = 0;
    bool isFirst = true;
    for (const object item : list) {
        if (!isKept(index++)) continue;
        const auto piece = itemText(item, attachment);
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
    const auto items = objectsIn(content);
    return items ? flattened(*items, [](std::size_t) { return true; }) : std::string();
}

std::string codexUserText(const object& payload) {
    const auto content = payload["content"];
    const auto kinds = contentKinds(payload);
    if (!kinds) return contentText(content);
    if (std::all_of(kinds->begin(), kinds->end(), isScaffolding)) return {};
    const auto items = objectsIn(content);
    // Where items and kinds do not match, everything stays: better than dropping the wrong item.
    if (!items || items->size() != kinds->size()) return contentText(content);
    return flattened(*items, [&](std::size_t index) { return !isScaffolding((*kinds)[index]); });
}

} // namespace orvel
