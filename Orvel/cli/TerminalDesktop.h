#pragma once
// What a terminal brings of a desktop: a loop that runs until something has happened, and a clipboard of this
// process alone.

#include "Orvel/platform/assembly/ProgramDesktop.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/unavailable/UnavailableDesktop.h"

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

class TerminalDesktop {
  public:
    /// A program that ends soon can't own the desktop's clipboard, but read it.
    enum class Use { sending, whole };

    explicit TerminalDesktop(const Places& places, Use use = Use::sending)
        : assembled({.loop = loop,
                     .descriptors = loop,
                     .pasteboard = pasteboard,
                     .panels = nothing.panels,
                     .applications = nothing.applications,
                     .settings = nothing.settings,
                     .isLasting = use == Use::whole},
                    places) {}

    const Desktop& ports() const { return assembled.ports(); }
    SampleClaude* claudeOfSample() { return assembled.claudeOfSample(); }

    /// Runs the loop until `met`, which is asked again and again, and gives whether it came to that within
    /// the time. Throws Interrupted.
    bool runUntil(const std::function<bool()>& met, MainLoop::Duration limit);

  private:
    PollLoop loop;
    MemoryPasteboard pasteboard;
    UnavailableDesktop nothing;
    ProgramDesktop assembled;
};

} // namespace orvel
