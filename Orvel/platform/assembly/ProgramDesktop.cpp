#include "Orvel/platform/assembly/ProgramDesktop.h"

#ifdef ORVEL_WITH_LINUX_DESKTOP
#include "Orvel/platform/linux/LinuxDesktop.h"
#endif
#ifdef ORVEL_WITH_MAC_DESKTOP
#include "Orvel/platform/mac/MacDesktop.h"
#include "Orvel/platform/zip/DittoArchives.h"
#else
#include "Orvel/platform/zip/LibzipArchives.h"
#endif

namespace orvel {

namespace {

std::unique_ptr<ZipArchives> systemArchives(MainLoop& loop, [[maybe_unused]] Processes& processes) {
#ifdef ORVEL_WITH_MAC_DESKTOP
    return std::make_unique<DittoArchives>(loop, processes);
#else
    return std::make_unique<LibzipArchives>(loop);
#endif
}

} // namespace

// The ports to what a person sees and does.
struct ProgramDesktop::ScreenPorts {
    SideQueue& sideQueue;
    Pasteboard& pasteboard;
    Panels& panels;
    Applications& applications;
    Accessibility& accessibility;
    KeyboardTap& keyboardTap;
    EventPosting& eventPosting;
    InputSources& inputSources;
    WindowList& windows;
    Updater* updater = nullptr;
};

ProgramDesktop::ProgramDesktop(const ProgramToolkit& toolkit, const Places& places)
    : files(toolkit.loop),
      systemProcesses(toolkit.loop, toolkit.descriptors, places.toolEnvironment),
      zipArchives(systemArchives(toolkit.loop, systemProcesses)),
      assembled(assemble(toolkit, places)) {}

ProgramDesktop::~ProgramDesktop() = default;

Desktop ProgramDesktop::assemble(const ProgramToolkit& toolkit, const Places& places) {
    const auto screen = places.toolFolder ? ofSample(toolkit, places) : ofSystem(toolkit);
    return {.loop = toolkit.loop,
            .sideQueue = screen.sideQueue,
            .files = files,
            .processes = sampleProcesses ? static_cast<Processes&>(*sampleProcesses) : systemProcesses,
            .settings = toolkit.settings,
            .pasteboard = screen.pasteboard,
            .panels = screen.panels,
            .applications = screen.applications,
            .accessibility = screen.accessibility,
            .keyboardTap = screen.keyboardTap,
            .eventPosting = screen.eventPosting,
            .inputSources = screen.inputSources,
            .windows = screen.windows,
            .localFiles = localFiles,
            .zipArchives = *zipArchives,
            .session = session,
            .updater = screen.updater};
}

ProgramDesktop::ScreenPorts ProgramDesktop::ofSystem(const ProgramToolkit& toolkit) {
#if defined ORVEL_WITH_LINUX_DESKTOP
    session.kind = environmentSession();
    if (session.kind != SessionKind::x11) return ofToolkit(toolkit);
    const std::shared_ptr<LinuxDesktop> desktop = LinuxDesktop::open({.loop = toolkit.loop,
                                                                      .descriptors = toolkit.descriptors,
                                                                      .files = files,
                                                                      .processes = systemProcesses,
                                                                      .own = toolkit.applications,
                                                                      .autostart = toolkit.autostart});
    if (!desktop) {
        session.kind = SessionKind::noDisplay;
        return ofToolkit(toolkit);
    }
    ownDesktop = desktop;
    session = desktop->session();
    return {.sideQueue = sideQueue.emplace(),
            .pasteboard = toolkit.isLasting ? desktop->pasteboard() : toolkit.pasteboard,
            .panels = toolkit.panels,
            .applications = desktop->applications(),
            .accessibility = desktop->accessibility(),
            .keyboardTap = desktop->keyboardTap(),
            .eventPosting = desktop->eventPosting(),
            .inputSources = desktop->inputSources(),
            .windows = desktop->windows()};
#elif defined ORVEL_WITH_MAC_DESKTOP
    const auto desktop = std::make_shared<MacDesktop>(toolkit.loop, toolkit.applications);
    ownDesktop = desktop;
    return {.sideQueue = sideQueue.emplace(),
            .pasteboard = toolkit.isLasting ? desktop->pasteboard() : toolkit.pasteboard,
            .panels = toolkit.isLasting ? desktop->panels() : toolkit.panels,
            .applications = desktop->applications(),
            .accessibility = desktop->accessibility(),
            .keyboardTap = desktop->keyboardTap(),
            .eventPosting = desktop->eventPosting(),
            .inputSources = desktop->inputSources(),
            .windows = desktop->windows(),
            .updater = toolkit.isLasting ? desktop->updater() : nullptr};
#else
#ifdef __linux__
    session.kind = SessionKind::unsupported;
#endif
    return ofToolkit(toolkit);
#endif
}

ProgramDesktop::ScreenPorts ProgramDesktop::ofToolkit(const ProgramToolkit& toolkit) {
    return {.sideQueue = unavailable.sideQueue,
            .pasteboard = toolkit.pasteboard,
            .panels = toolkit.panels,
            .applications = toolkit.applications,
            .accessibility = unavailable.accessibility,
            .keyboardTap = unavailable.keyboardTap,
            .eventPosting = unavailable.eventPosting,
            .inputSources = unavailable.inputSources,
            .windows = unavailable.windows};
}

ProgramDesktop::ScreenPorts ProgramDesktop::ofSample(const ProgramToolkit& toolkit, const Places& places) {
    sampleProcesses.emplace(systemProcesses, *places.toolFolder, places.folders.codex);
    auto& screen = sampleClaude.emplace(toolkit.loop, places.folders).screen();
    return {.sideQueue = screen.sideQueue,
            .pasteboard = toolkit.pasteboard,
            .panels = toolkit.panels,
            .applications = sampleApplications.emplace(toolkit.applications, screen.applications),
            .accessibility = sampleAccessibility.emplace(toolkit.loop, screen.accessibility),
            .keyboardTap = screen.keyboard,
            .eventPosting = screen.keyboard,
            .inputSources = screen.inputSources,
            .windows = screen.windows};
}

} // namespace orvel
