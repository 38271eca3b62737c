#pragma once
// One line of a JSON Lines file as an object, and its members by type. Only source files include this header,
// since simdjson is heavy.
//
// What JSON leaves open is simdjson's choice: of duplicate keys the first counts; a lone surrogate, a number
// beyond a double or a 64-bit integer, and more than 1,024 levels of nesting make a line no JSON.

#include <optional>
#include <string_view>

#include <simdjson.h>

namespace orvel {

class JsonRecordParser {
  public:
    /// The object that `line` holds, or nothing if the line is no JSON or another kind of value. It and
    /// everything read from it live until the next call. `readableBehind` says how many bytes behind the line
    /// may be read; with fewer than simdjson wants the line is copied.
    std::optional<simdjson::dom::object> parse(std::string_view line, std::size_t readableBehind) {
        simdjson::dom::object object;
        const bool copy = readableBehind < simdjson::SIMDJSON_PADDING;
        if (parser.parse(line.data(), line.size(), copy).get(object) != simdjson::SUCCESS)
            return std::nullopt;
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
