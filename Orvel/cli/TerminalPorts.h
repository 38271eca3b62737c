#pragma once
// The ports of a program in a terminal that touches nothing of the desktop.

#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "Orvel/platform/unavailable/UnavailablePasteboard.h"

#include <optional>
#include <string>

namespace orvel {

/// A clipboard of this process alone.
struct MemoryPasteboard : UnavailablePasteboard {
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

using NoApplications = UnavailableApplications;

} // namespace orvel
