#pragma once
// One line of a JSON Lines file as an object, and its members by type. Only source files include this header,
// since simdjson is heavy.
//
// What JSON leaves open is simdjson's choice: of duplicate keys the first counts; a fraction or a power
// beyond a double and more than 1,024 levels of nesting make a line no JSON. JsonLimits.h says what is read
// all the same.

#include "OrvelCore/text/JsonLimits.h"

#include <optional>
#include <string_view>

#include <simdjson.h>

namespace orvel {

/// The value that `json` holds; it lives until the parser's next use. `readableBehind` says how many bytes
/// behind the text may be read; with fewer than simdjson wants the text is copied.
inline simdjson::simdjson_result<simdjson::dom::element>
parsedJson(simdjson::dom::parser& parser, std::string_view json, std::size_t readableBehind) {
    const bool copy = readableBehind < simdjson::SIMDJSON_PADDING;
    const auto value = parser.parse(json.data(), json.size(), copy);
    if (value.error() == simdjson::SUCCESS) return value;
    const auto within = withinJsonLimits(json);
    return within ? parser.parse(*within) : value;
}

class JsonRecordParser {
  public:
    /// The object that `line` holds, or nothing if the line is no JSON or another kind of value. It and
    /// everything read from it live until the next call. `readableBehind` as above.
    std::optional<simdjson::dom::object> parse(std::string_view line, std::size_t readableBehind) {
        simdjson::dom::object object;
        if (parsedJson(parser, line, readableBehind).get(object) != simdjson::SUCCESS) return std::nullopt;
        return object;
    }

  private:
    simdjson::dom::parser parser;
};

template <typename T>
std::optional<T> member(const simdjson::dom::object& object, std::string_view key) {
    T value;
    if (object[key].get(value) != simdjson::SUCCESS) return std::nullopt;
    return value;
}

inline std::optional<std::string_view> stringMember(const simdjson::dom::object& object,
                                                    std::string_view key) {
    return member<std::string_view>(object, key);
}

inline std::optional<simdjson::dom::object> objectMember(const simdjson::dom::object& object,
                                                         std::string_view key) {
    return member<simdjson::dom::object>(object, key);
}

/// Whether the member is the boolean true.
inline bool isTrue(const simdjson::dom::object& object, std::string_view key) {
    return member<bool>(object, key).value_or(false);
}

} // namespace orvel
