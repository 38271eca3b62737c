#pragma once
// Settings that nobody keeps: for programs that leave no trace, and for tests.

#include "Orvel/desktop/Settings.h"

#include <functional>
#include <map>

namespace orvel {

/// The values live as long as the object.
struct MemorySettings : Settings {
    std::optional<std::string> string(std::string_view key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    void setString(std::string_view key, std::string_view value) override {
        values.insert_or_assign(std::string(key), value);
    }

    std::map<std::string, std::string, std::less<>> values;
};

} // namespace orvel
