#pragma once
// The ports of a program in a terminal, which touches nothing of the desktop, and the loop that it runs on.

#include "Orvel/apps/Places.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/MemorySettings.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/sample/SampleProcesses.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "Orvel/platform/unavailable/UnavailablePasteboard.h"

#include <functional>
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

struct TerminalDesktop {
    explicit TerminalDesktop(const Places& places);

    Desktop ports() { return {loop, pasteboard, panels, applications, settings, files, processes()}; }

    /// In a sample only its own tools exist.
    Processes& processes();

    /// Runs the loop until `met`, which is asked again and again, and gives whether it came to that within
    /// the time. Throws Interrupted.
    bool runUntil(const std::function<bool()>& met, MainLoop::Duration limit);

    PollLoop loop;
    MemoryPasteboard pasteboard;
    NoPanels panels;
    UnavailableApplications applications;
    MemorySettings settings;
    PosixFileStore files{loop};

  private:
    PosixProcesses systemProcesses;
    std::optional<SampleProcesses> sampleProcesses;
};

} // namespace orvel
