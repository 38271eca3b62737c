#include "Orvel/platform/assembly/ProgramDesktop.h"

#ifdef ORVEL_WITH_LINUX_DESKTOP
#include "Orvel/platform/linux/LinuxDesktop.h"
#endif

namespace orvel {

ProgramDesktop::ProgramDesktop(const ProgramToolkit& toolkit, const Places& places)
    : files(toolkit.loop),
      systemProcesses(toolkit.loop, toolkit.descriptors, places.toolEnvironment),
      zipArchives(toolkit.loop),
      assembled(assemble(toolkit, places)) {}

ProgramDesktop::~ProgramDesktop() = default;

Desktop ProgramDesktop::assemble(const ProgramToolkit& toolkit, const Places& places) {
    return places.toolFolder ? onSample(toolkit, places) : onSystem(toolkit);
}

Desktop ProgramDesktop::onSystem(const ProgramToolkit& toolkit) {
    const auto none = unavailable.ports(toolkit.loop, files, systemProcesses, zipArchives);
    Desktop ports{.loop = toolkit.loop,
                  .sideQueue = none.sideQueue,
                  .files = files,
                  .processes = systemProcesses,
                  .settings = toolkit.settings,
                  .pasteboard = toolkit.pasteboard,
                  .panels = toolkit.panels,
                  .applications = toolkit.applications,
                  .accessibility = none.accessibility,
                  .keyboardTap = none.keyboardTap,
                  .eventPosting = none.eventPosting,
                  .inputSources = none.inputSources,
                  .windows = none.windows,
                  .localFiles = localFiles,
                  .zipArchives = zipArchives,
                  .session = session};
#ifdef ORVEL_WITH_LINUX_DESKTOP
    session.kind = environmentSession();
    if (session.kind != SessionKind::x11) return ports;
    linuxDesktop = LinuxDesktop::open({.loop = toolkit.loop,
                                       .descriptors = toolkit.descriptors,
                                       .files = files,
                                       .processes = systemProcesses,
                                       .own = toolkit.applications,
                                       .autostart = toolkit.autostart});
    if (!linuxDesktop) {
        session.kind = SessionKind::noDisplay;
        return ports;
    }
    sideQueue.emplace();
    session = linuxDesktop->session();
    return {.loop = toolkit.loop,
            .sideQueue = *sideQueue,
            .files = files,
            .processes = systemProcesses,
            .settings = toolkit.settings,
            .pasteboard = toolkit.isLasting ? linuxDesktop->pasteboard() : toolkit.pasteboard,
            .panels = toolkit.panels,
            .applications = linuxDesktop->applications(),
            .accessibility = linuxDesktop->accessibility(),
            .keyboardTap = linuxDesktop->keyboardTap(),
            .eventPosting = linuxDesktop->eventPosting(),
            .inputSources = linuxDesktop->inputSources(),
            .windows = linuxDesktop->windows(),
            .localFiles = localFiles,
            .zipArchives = zipArchives,
            .session = session};
#else
#ifdef __linux__
    session.kind = SessionKind::unsupported;
#endif
    return ports;
#endif
}

Desktop ProgramDesktop::onSample(const ProgramToolkit& toolkit, const Places& places) {
    auto& processes = sampleProcesses.emplace(systemProcesses, *places.toolFolder, places.folders.codex);
    auto& screen = sampleClaude.emplace(toolkit.loop, places.folders).screen();
    auto& applications = sampleApplications.emplace(toolkit.applications, screen.applications);
    auto& accessibility = sampleAccessibility.emplace(toolkit.loop, screen.accessibility);
    return {.loop = toolkit.loop,
            .sideQueue = screen.sideQueue,
            .files = files,
            .processes = processes,
            .settings = toolkit.settings,
            .pasteboard = toolkit.pasteboard,
            .panels = toolkit.panels,
            .applications = applications,
            .accessibility = accessibility,
            .keyboardTap = screen.keyboard,
            .eventPosting = screen.keyboard,
            .inputSources = screen.inputSources,
            .windows = screen.windows,
            .localFiles = localFiles,
            .zipArchives = zipArchives,
            .session = session};
}

} // namespace orvel
