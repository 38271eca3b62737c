#pragma once
// The ports of a program in a terminal that touches nothing of the desktop.

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/desktop/Pasteboard.h"

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

} // namespace orvel
