// Writes the relay state. A state of many payloads is written as a whole at every change, on the thread that
// also serves the keyboard, so nothing stands between the records and the text.
#include "OrvelCore/relay/RelayStateJson.h"

#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateFields.h"
#include "OrvelCore/text/JsonString.h"
#include "OrvelCore/text/Unicode.h"

#include <array>
#include <charconv>
#include <cmath>
#include <set>

namespace orvel {

namespace {

class Writer {
  public:
    explicit Writer(std::size_t expectedSize) { json.reserve(expectedSize); }

    std::string take() { return std::move(json); }

    void write(std::string_view text);
    void write(const std::string& text) { write(std::string_view(text)); }
    void write(bool truth) { json += truth ? "true" : "false"; }
    void write(std::int64_t number);
    void write(double number);

    template <typename Enumeration>
    requires std::is_enum_v<Enumeration>
    void write(Enumeration value) { write(rawValue(value)); }

    template <typename Value>
    void write(const Shared<Value>& shared) {
        write(*shared);
    }
    template <typename Value>
    void write(const std::vector<Value>& values) {
        writeList(values);
    }
    void write(const std::set<std::string>& values) { writeList(values); }
    template <typename Record>
    void write(const RecordList<Record>& records) {
        writeList(records);
    }
    template <typename Value>
    void write(const std::map<std::string, Value>& entries) {
        writeMap(entries);
    }
    template <typename Value>
    void write(const RecordMap<Value>& entries) {
        writeMap(entries);
    }

    template <TabledRecord Record>
    void write(const Record& record) {
        json += '{';
        std::apply([&](const auto&... fields) { (writeMember(fields.key, record.*fields.member), ...); },
                   fieldsOf<Record>);
        json += '}';
    }

  private:
    template <typename Value>
    void writeMember(std::string_view key, const Value& value) {
        separate();
        write(key);
        json += ':';
        write(value);
    }

    template <typename Value>
    void writeMember(std::string_view key, const std::optional<Value>& value) {
        if (value) writeMember(key, *value);
    }

    template <typename List>
    void writeList(const List& values) {
        json += '[';
        for (const auto& value : values) {
            separate();
            write(value);
        }
        json += ']';
    }

    template <typename Map>
    void writeMap(const Map& entries) {
        json += '{';
        for (const auto& [key, value] : entries) writeMember(key, value);
        json += '}';
    }

    void separate() {
        if (json.back() != '{' && json.back() != '[') json += ',';
    }

    std::string json;
};

void Writer::write(std::string_view text) {
    if (!isValidUTF8(text)) throw RelayStateError::notStorable("a text is not valid UTF-8");
    if (json.size() + text.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
    appendJsonString(json, text);
}

void Writer::write(std::int64_t number) {
    json += std::to_string(number);
}

// The shortest text that reads back to the same double. Great numbers get an exponent, since a long row of
// digits would read as an integer beyond 64 bits.
void Writer::write(double number) {
    if (!std::isfinite(number)) throw RelayStateError::notStorable("a date is not a finite number");
    std::array<char, 32> text;
    const auto result = std::abs(number) < 1e15
                            ? std::to_chars(text.begin(), text.end(), number)
                            : std::to_chars(text.begin(), text.end(), number, std::chars_format::scientific);
    json.append(text.data(), result.ptr);
}

// About the size of the document, so that its text need not move while it grows: payloads are nearly all of
// it.
std::size_t expectedSize(const RelayState& state) {
    std::size_t size = 4096;
    for (const auto& transfer : state.transfers) size += 1024 + transfer.payload->size() * 17 / 16;
    return size;
}

} // namespace

std::string encodeRelayState(const RelayState& state) {
    Writer writer(expectedSize(state));
    writer.write(state);
    auto json = writer.take();
    if (json.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
    return json;
}

} // namespace orvel
