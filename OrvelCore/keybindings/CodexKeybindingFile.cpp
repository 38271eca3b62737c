#include "OrvelCore/keybindings/CodexKeybindingFile.h"

#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/text/Unicode.h"

#include <simdjson.h>

namespace orvel {

namespace {

namespace dom = simdjson::dom;
using enum CodexKeybindingFault;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// The entries lie in the parser.
std::optional<std::vector<dom::object>> objectsIn(std::string_view data, dom::parser& parser) {
    // simdjson skips the mark; whether Codex does is unknown.
    if (data.starts_with(byteOrderMark)) return std::nullopt;
    dom::array array;
    if (parser.parse(data.data(), data.size()).get(array) != simdjson::SUCCESS) return std::nullopt;
    std::vector<dom::object> objects;
    for (const auto element : array)
        if (element.get(objects.emplace_back()) != simdjson::SUCCESS) return std::nullopt;
    return objects;
}

bool isOne(const dom::element& value) {
    double number = 0;
    return value.get(number) == simdjson::SUCCESS && number == 1;
}

// Nothing if the entry has other members or types, or a member twice: programs differ in which one counts.
std::optional<CodexKeybinding> entryIn(const dom::object& object) {
    std::optional<std::string_view> command, key;
    bool hasKey = false, hasVersion = false;
    for (const auto& [name, value] : object) {
        if (name == "command" && !command) {
            std::string_view text;
            if (value.get(text) != simdjson::SUCCESS) return std::nullopt;
            command = text;
        } else if (name == "key" && !hasKey) {
            hasKey = true;
            std::string_view text;
            if (value.get(text) == simdjson::SUCCESS)
                key = text;
            else if (!value.is_null())
                return std::nullopt;
        } else if (name == "version" && !hasVersion && isOne(value)) {
            hasVersion = true;
        } else {
            return std::nullopt;
        }
    }
    if (!command) return std::nullopt;
    // What unbinding any other command means is unknown.
    const bool isNull = hasKey && !key;
    if (isNull && *command != CodexCopyShortcutPolicy::commandName) return std::nullopt;
    return CodexKeybinding{std::string(*command), key ? std::optional(std::string(*key)) : std::nullopt};
}

} // namespace

CodexKeybindingFile::Result CodexKeybindingFile::read(std::optional<std::string_view> data,
                                                      bool pathConfirmed, bool readFailed) {
    Entries entries;
    if (!pathConfirmed) return unconfirmed;
    if (readFailed) return unreadable;
    if (!data) return entries;
    if (data->size() > maximumBytes) return oversized;
    if (trimmed(*data).empty()) return entries;

    dom::parser parser;
    const auto objects = objectsIn(*data, parser);
    if (!objects) return invalidJSON;
    for (const auto& object : *objects) {
        auto entry = entryIn(object);
        if (!entry) return unknownSyntax;
        entries.push_back(std::move(*entry));
    }
    return entries;
}

} // namespace orvel
