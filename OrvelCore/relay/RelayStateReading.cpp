// Reads the relay state.
#include "OrvelCore/relay/RelayStateJson.h"

#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateFields.h"

#include <algorithm>
#include <limits>
#include <set>

#include <simdjson.h>

namespace orvel {

namespace {

namespace dom = simdjson::dom;

// What is wrong with a value. The place grows from the inside out while this passes the enclosing records.
struct Misfit {
    std::string place;
    std::string_view reason;

    void liesIn(std::string_view outer) {
        if (!place.empty() && !place.starts_with('[')) place.insert(0, ".");
        place.insert(0, outer);
    }
};

template <typename Read>
void readAt(std::string_view key, Read read) try {
    read();
} catch (Misfit& misfit) {
    misfit.liesIn(key);
    throw;
}

template <typename Read>
void readAt(std::size_t index, Read read) try {
    read();
} catch (Misfit& misfit) {
    misfit.liesIn(std::to_string(index).insert(0, "[").append("]"));
    throw;
}

template <typename T>
T typed(const dom::element& json, std::string_view misfit) {
    T value;
    if (json.get(value) != simdjson::SUCCESS) throw Misfit{"", misfit};
    return value;
}

void read(const dom::element& json, std::string& text) {
    text = typed<std::string_view>(json, "is not a text");
}

void read(const dom::element& json, bool& truth) {
    truth = typed<bool>(json, "is neither true nor false");
}

void read(const dom::element& json, std::int64_t& number) {
    number = typed<std::int64_t>(json, "is not an integer");
}

void read(const dom::element& json, double& number) {
    number = typed<double>(json, "is not a number");
}

template <typename Enumeration, std::size_t count>
void readNamed(const dom::element& json, Enumeration& value, const std::array<Enumeration, count>& all) {
    const auto text = typed<std::string_view>(json, "is not a text");
    const auto named =
        std::find_if(all.begin(), all.end(), [&](Enumeration one) { return rawValue(one) == text; });
    if (named == all.end()) throw Misfit{"", "has an unknown value"};
    value = *named;
}

void read(const dom::element& json, Agent& agent) {
    readNamed(json, agent, allAgents);
}

void read(const dom::element& json, RelayDeliveryMode& mode) {
    readNamed(json, mode, allDeliveryModes);
}

void read(const dom::element& json, RelayTransfer::Status& status) {
    readNamed(json, status, allTransferStatuses);
}

void read(const dom::element& json, RelayLinkEnd& end) {
    readNamed(json, end, allLinkEnds);
}

template <TabledRecord Record>
void read(const dom::element& json, Record& record);
template <typename Value>
void read(const dom::element& json, std::optional<Value>& value);
template <typename Value>
void read(const dom::element& json, Shared<Value>& shared);
template <typename Value>
void read(const dom::element& json, std::map<std::string, Value>& entries);
template <typename Value>
void read(const dom::element& json, RecordMap<Value>& entries);
template <typename Record>
void read(const dom::element& json, RecordList<Record>& records);

template <typename Value>
void read(const dom::element& json, std::vector<Value>& values) {
    const auto array = typed<dom::array>(json, "is not a list");
    for (const auto& item : array) {
        values.emplace_back();
        readAt(values.size() - 1, [&] { read(item, values.back()); });
    }
}

void read(const dom::element& json, std::set<std::string>& values) {
    std::vector<std::string> list;
    read(json, list);
    values.insert(list.begin(), list.end());
}

template <typename Value>
void read(const dom::element& json, std::optional<Value>& value) {
    if (!json.is_null()) read(json, value.emplace());
}

template <typename Value>
void read(const dom::element& json, Shared<Value>& shared) {
    Value value;
    read(json, value);
    shared = std::move(value);
}

template <typename Record>
void read(const dom::element& json, RecordList<Record>& records) {
    std::vector<Record> list;
    read(json, list);
    records = RecordList<Record>(std::move(list));
}

template <typename Value>
void read(const dom::element& json, std::map<std::string, Value>& entries) {
    const auto object = typed<dom::object>(json, "is not an object");
    for (const auto& [key, element] : object) {
        const auto [entry, isNew] = entries.try_emplace(std::string(key));
        readAt(key, [isNew = isNew, &place = entry->second, &item = element] {
            if (!isNew) throw Misfit{"", "stands twice"};
            read(item, place);
        });
    }
}

template <typename Value>
void read(const dom::element& json, RecordMap<Value>& entries) {
    std::map<std::string, Value> map;
    read(json, map);
    entries = RecordMap<Value>(std::move(map));
}

// The members of an object in the order of their keys, none of which stands twice.
class Members {
  public:
    explicit Members(const dom::object& object) {
        for (const auto& member : object) members.push_back(member);
        const auto byKey = [](const auto& one, const auto& two) { return one.key < two.key; };
        std::stable_sort(members.begin(), members.end(), byKey);
        const auto twice =
            std::adjacent_find(members.begin(), members.end(),
                               [](const auto& one, const auto& two) { return one.key == two.key; });
        if (twice != members.end()) throw Misfit{std::string(twice->key), "stands twice"};
    }

    const dom::element* find(std::string_view key) const {
        const auto found =
            std::lower_bound(members.begin(), members.end(), key,
                             [](const auto& member, std::string_view sought) { return member.key < sought; });
        return found != members.end() && found->key == key ? &found->value : nullptr;
    }

  private:
    std::vector<dom::key_value_pair> members;
};

template <typename Value>
constexpr bool isOptional = false;
template <typename Value>
constexpr bool isOptional<std::optional<Value>> = true;

template <typename Record, typename Value>
void readField(const Members& members, const RecordField<Record, Value>& field, Record& record) {
    const auto* json = members.find(field.key);
    if (json && field.mayBeMissing && json->is_null()) json = nullptr;
    if (!json && (field.mayBeMissing || isOptional<Value>)) return;
    readAt(field.key, [&] {
        if (!json) throw Misfit{"", "is missing"};
        read(*json, record.*field.member);
    });
}

template <TabledRecord Record>
void read(const dom::element& json, Record& record) {
    const Members members(typed<dom::object>(json, "is not an object"));
    std::apply([&](const auto&... fields) { (readField(members, fields, record), ...); }, fieldsOf<Record>);
}

} // namespace

RelayState decodeRelayState(std::string_view json, std::size_t readableBehind) try {
    if (json.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
    const bool mustCopy = readableBehind < simdjson::SIMDJSON_PADDING;
    dom::parser parser;
    dom::element document;
    if (const auto error = parser.parse(json.data(), json.size(), mustCopy).get(document))
        throw RelayStateError::notJSON(simdjson::error_message(error));
    RelayState state;
    read(document, state);
    return state;
} catch (const Misfit& misfit) {
    throw RelayStateError::unexpectedContent(misfit.place.empty() ? "the document" : misfit.place,
                                             misfit.reason);
}

} // namespace orvel
