#pragma once
// Assembles the desktop of a program: what the program's own toolkit brings, what the system offers, and in a
// sample the sample's tools and its own Claude.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/desktop/ZipArchives.h"
#include "Orvel/platform/posix/Places.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/posix/PosixLocalFiles.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/posix/PosixSideQueue.h"
#include "Orvel/platform/sample/MainThreadAccessibility.h"
#include "Orvel/platform/sample/SampleApplications.h"
#include "Orvel/platform/sample/SampleClaude.h"
#include "Orvel/platform/sample/SampleProcesses.h"
#include "Orvel/platform/unavailable/UnavailableDesktop.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// What a toolkit brings; all of it outlives the desktop.
struct ProgramToolkit {
    MainLoop& loop;
    DescriptorWatcher& descriptors;
    Pasteboard& pasteboard;
    Panels& panels;
    Applications& applications;
    Settings& settings;
    /// Whether the program lives on with the session: then the clipboard is the desktop's, which wants an
    /// owner that stays, and otherwise the toolkit's.
    bool isLasting = false;
    /// The program and its arguments as a session starts it; none where that is not offered.
    std::vector<std::string> autostart;
};

/// Belongs to the loop's thread.
class ProgramDesktop {
  public:
    ProgramDesktop(const ProgramToolkit& toolkit, const Places& places);
    ProgramDesktop(const ProgramDesktop&) = delete;
    ProgramDesktop& operator=(const ProgramDesktop&) = delete;
    ~ProgramDesktop();

    const Desktop& ports() const { return assembled; }
    /// In a sample its Claude, otherwise null.
    SampleClaude* claudeOfSample() { return sampleClaude ? &*sampleClaude : nullptr; }

  private:
    struct ScreenPorts;

    Desktop assemble(const ProgramToolkit& toolkit, const Places& places);
    ScreenPorts ofSystem(const ProgramToolkit& toolkit);
    ScreenPorts ofToolkit(const ProgramToolkit& toolkit);
    ScreenPorts ofSample(const ProgramToolkit& toolkit, const Places& places);

    PosixFileStore files;
    PosixProcesses systemProcesses;
    PosixLocalFiles localFiles;
    std::unique_ptr<ZipArchives> zipArchives;
    UnavailableDesktop unavailable;
    std::shared_ptr<void> ownDesktop; ///< A LinuxDesktop or MacDesktop; null where there is neither.
    std::optional<PosixSideQueue> sideQueue;
    DesktopSession session;
    std::optional<SampleProcesses> sampleProcesses;
    std::optional<SampleClaude> sampleClaude;
    std::optional<SampleApplications> sampleApplications;
    std::optional<MainThreadAccessibility> sampleAccessibility;
    Desktop assembled;
};

} // namespace orvel
