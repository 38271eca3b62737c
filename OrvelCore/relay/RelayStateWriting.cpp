// Writes the relay state. The first document of a program's life is made of all payloads, so nothing stands
// between the records and the text.
#include "OrvelCore/relay/RelayStateJson.h"

#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateFields.h"
#include "OrvelCore/text/JsonString.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>

namespace orvel {

namespace {

// About the size of the text, so that it need not move while it grows: payloads are nearly all of it.
std::size_t expectedSize(const RelayState& state, std::size_t passedOver) {
    std::size_t size = 4096;
    for (auto i = passedOver; i < state.transfers.size(); ++i)
        size += 1024 + state.transfers[i].payload->size() * 17 / 16;
    return size;
}

class Writer {
  public:
    /// Writes the document of `state` without the first `passedOver` transfers, which end at `ends`, and
    /// without what stands before them. Adds the ends of the others.
    Writer(const RelayState& state, std::size_t passedOver, std::vector<std::size_t>& ends);

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

    // What is passed over holds what stands before the transfers.
    template <typename Value>
    void writeTopMember(std::string_view key, const Value& value) {
        if (passedOver == 0) writeMember(key, value);
    }

    void writeTopMember(std::string_view key, const RecordList<RelayTransfer>& records) {
        if (passedOver == 0) {
            separate();
            write(key);
            json += ":[";
        }
        for (auto i = std::exchange(passedOver, 0); i < records.size(); ++i) {
            if (i > 0) json += ',';
            write(records[i]);
            ends->push_back(origin + json.size());
        }
        json += ']';
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
    std::size_t origin = 0; ///< Where `json` begins in the document.
    std::size_t passedOver = 0;
    std::vector<std::size_t>* ends;
};

Writer::Writer(const RelayState& state, std::size_t passedOver, std::vector<std::size_t>& ends)
    : origin(ends.empty() ? 0 : ends.back()), passedOver(passedOver), ends(&ends) {
    json.reserve(expectedSize(state, passedOver));
    if (passedOver == 0) json += '{';
    std::apply([&](const auto&... fields) { (writeTopMember(fields.key, state.*fields.member), ...); },
               fieldsOf<RelayState>);
    json += '}';
    if (origin + json.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
}

void Writer::write(std::string_view text) {
    if (!isValidUTF8(text)) throw RelayStateError::notStorable("a text is not valid UTF-8");
    if (origin + json.size() + text.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
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

} // namespace

std::string encodeRelayState(const RelayState& state) {
    return RelayStateDocument(state).encode().text;
}

std::size_t RelayStateDocument::sharedRecords(const RelayStateDocument& older) const {
    return state.pairs == older.state.pairs ? state.transfers.sharedHead(older.state.transfers) : 0;
}

RelayStateDocument::Tail RelayStateDocument::encode(const RelayStateDocument* older) {
    ends.clear();
    if (older) {
        const auto shared = std::min(sharedRecords(*older), older->ends.size());
        ends.assign(older->ends.begin(), older->ends.begin() + static_cast<std::ptrdiff_t>(shared));
    }
    const auto from = ends.empty() ? 0 : ends.back();
    return {from, Writer(state, ends.size(), ends).take()};
}

} // namespace orvel
