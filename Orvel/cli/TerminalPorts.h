#pragma once
// The ports of a program in a terminal that touches nothing of the desktop.

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/desktop/Settings.h"

#include <map>
#include <optional>
#include <string>

namespace orvel {

/// A clipboard of this process alone.
struct MemoryPasteboard : Pasteboard {
    void clearContents() override { text.reset(); }
    bool setString(std::string_view newText) override {
        text = newText;
        return true;
    }

    std::optional<std::string> text;
};

/// Every question is cancelled.
struct NoPanels : Panels {
    std::optional<std::string> chooseFile(const OpenPanel&) override { return std::nullopt; }
};

struct NoApplications : Applications {
    void activateSelf() override {}
    bool revealFile(const std::string&) override { return false; }
};

/// Values that live as long as the process.
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
