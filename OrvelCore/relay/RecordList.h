#pragma once
// The lists and maps of the relay state: values whose copies share everything until one of them changes. A
// change copies one record and a few hundred pointers, whatever the size of the list, and comparing a changed
// copy with its original looks only at what differs.

#include "OrvelCore/relay/Shared.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// Records, each with a text `id`, in the order in which they were appended. None is ever removed.
template <typename Record>
class RecordList {
  public:
    using value_type = Record;
    class const_iterator;

    RecordList() = default;
    explicit RecordList(std::vector<Record> records);

    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    const Record& operator[](std::size_t index) const { return *shared(index); }
    const Record& back() const { return (*this)[count - 1]; }
    const_iterator begin() const { return {this, 0}; }
    const_iterator end() const { return {this, count}; }

    /// The first record that `fits`, or null. It stays as it is when the list changes.
    template <typename Predicate>
    std::shared_ptr<const Record> findIf(Predicate fits) const;

    /// The record with this id, or null.
    std::shared_ptr<const Record> find(std::string_view id) const;

    /// How many records from the first one on are not merely equal in both lists but the very same.
    std::size_t sharedHead(const RecordList& other) const;

    /// The records that `fit`, in the same order.
    template <typename Predicate>
    RecordList where(Predicate fits) const;

    void append(Shared<Record> record);

    /// Gives `change` a copy of the record with this id, which then takes the record's place. Does nothing if
    /// there is none.
    template <typename Change>
    void change(std::string_view id, Change change);

    bool operator==(const RecordList&) const = default;

  private:
    static constexpr std::size_t chunkSize = 64; // All chunks but the last are full.
    using Chunk = std::vector<Shared<Record>>;

    std::size_t indexOf(std::string_view id) const; // `count` if there is none.

    const Shared<Record>& shared(std::size_t index) const {
        return (*(*chunks)[index / chunkSize])[index % chunkSize];
    }

    std::size_t count = 0;
    Shared<std::vector<Shared<Chunk>>> chunks;
};

/// Values under text keys. An entry may be replaced and is never removed.
template <typename Value>
class RecordMap {
  public:
    RecordMap() = default;
    explicit RecordMap(std::map<std::string, Value> entries) : entries(std::move(entries)) {}

    std::size_t size() const { return entries->size(); }
    bool contains(const std::string& key) const { return entries->contains(key); }
    auto begin() const { return entries->begin(); }
    auto end() const { return entries->end(); }

    /// The value under `key`, or null; good until the next change of this map.
    const Value* find(const std::string& key) const {
        const auto found = entries->find(key);
        return found == entries->end() ? nullptr : &found->second;
    }

    void set(const std::string& key, Value value) {
        auto changed = *entries;
        changed.insert_or_assign(key, std::move(value));
        entries = std::move(changed);
    }

    bool operator==(const RecordMap&) const = default;

  private:
    Shared<std::map<std::string, Value>> entries;
};

template <typename Record>
class RecordList<Record>::const_iterator {
  public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Record;
    using difference_type = std::ptrdiff_t;
    using pointer = const Record*;
    using reference = const Record&;

    const_iterator() = default;
    const_iterator(const RecordList* list, std::size_t index) : list(list), index(index) {}

    reference operator*() const { return (*list)[index]; }
    pointer operator->() const { return &(*list)[index]; }
    const_iterator& operator++() { return ++index, *this; }
    const_iterator operator++(int) { return {list, index++}; }
    bool operator==(const const_iterator&) const = default;

  private:
    const RecordList* list = nullptr;
    std::size_t index = 0;
};

template <typename Record>
RecordList<Record>::RecordList(std::vector<Record> records) {
    std::vector<Shared<Chunk>> filled;
    for (auto from = records.begin(); from != records.end();) {
        const auto room = static_cast<std::ptrdiff_t>(chunkSize);
        const auto to = records.end() - from > room ? from + room : records.end();
        filled.push_back(Chunk(std::move_iterator(from), std::move_iterator(to)));
        from = to;
    }
    count = records.size();
    chunks = std::move(filled);
}

template <typename Record>
template <typename Predicate>
std::shared_ptr<const Record> RecordList<Record>::findIf(Predicate fits) const {
    for (const auto& chunk : *chunks)
        for (const auto& record : *chunk)
            if (fits(*record)) return record.pointer();
    return nullptr;
}

template <typename Record>
std::shared_ptr<const Record> RecordList<Record>::find(std::string_view id) const {
    const auto index = indexOf(id);
    return index < count ? shared(index).pointer() : nullptr;
}

template <typename Record>
std::size_t RecordList<Record>::sharedHead(const RecordList& other) const {
    const auto end = std::min(count, other.count);
    std::size_t head = 0;
    while (head + chunkSize <= end &&
           (*chunks)[head / chunkSize].pointer() == (*other.chunks)[head / chunkSize].pointer())
        head += chunkSize;
    while (head < end && shared(head).pointer() == other.shared(head).pointer()) ++head;
    return head;
}

// What is looked for is mostly among the newest records.
template <typename Record>
std::size_t RecordList<Record>::indexOf(std::string_view id) const {
    for (auto index = count; index-- > 0;)
        if ((*this)[index].id == id) return index;
    return count;
}

template <typename Record>
template <typename Predicate>
RecordList<Record> RecordList<Record>::where(Predicate fits) const {
    RecordList found;
    for (std::size_t i = 0; i < count; ++i)
        if (fits((*this)[i])) found.append(shared(i));
    return found;
}

template <typename Record>
void RecordList<Record>::append(Shared<Record> record) {
    auto changed = *chunks;
    if (count % chunkSize == 0) changed.emplace_back();
    auto last = *changed.back();
    last.push_back(std::move(record));
    changed.back() = std::move(last);
    chunks = std::move(changed);
    ++count;
}

template <typename Record>
template <typename Change>
void RecordList<Record>::change(std::string_view id, Change change) {
    const auto index = indexOf(id);
    if (index == count) return;
    auto record = (*this)[index];
    change(record);
    auto chunk = *(*chunks)[index / chunkSize];
    chunk[index % chunkSize] = std::move(record);
    auto changed = *chunks;
    changed[index / chunkSize] = std::move(chunk);
    chunks = std::move(changed);
}

} // namespace orvel
