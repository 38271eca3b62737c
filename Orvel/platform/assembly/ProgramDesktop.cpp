#include "Orvel/platform/assembly/ProgramDesktop.h"

namespace orvel {

ProgramDesktop::ProgramDesktop(const ProgramToolkit& toolkit, const Places& places)
    : files(toolkit.loop),
      systemProcesses(toolkit.loop, toolkit.descriptors, places.toolEnvironment),
      assembled(assemble(toolkit, places)) {}

Desktop ProgramDesktop::assemble(const ProgramToolkit& toolkit, const Places& places) {
    const auto ports = unavailable.ports(toolkit.loop, files, systemProcesses);
    Processes* processes = &ports.processes;
    Applications* applications = &toolkit.applications;
    SimulatedScreen* screen = nullptr;
    if (places.toolFolder) {
        processes = &sampleProcesses.emplace(systemProcesses, *places.toolFolder, places.folders.codex);
        screen = &sampleClaude.emplace(toolkit.loop, places.folders).screen();
        applications = &sampleApplications.emplace(toolkit.applications, screen->applications);
        sampleAccessibility.emplace(toolkit.loop, screen->accessibility);
    }
    return {.loop = toolkit.loop,
            .sideQueue = screen ? screen->sideQueue : ports.sideQueue,
            .files = files,
            .processes = *processes,
            .settings = toolkit.settings,
            .pasteboard = toolkit.pasteboard,
            .panels = toolkit.panels,
            .applications = *applications,
            .accessibility = sampleAccessibility ? *sampleAccessibility : ports.accessibility,
            .keyboardTap = screen ? screen->keyboard : ports.keyboardTap,
            .eventPosting = screen ? screen->keyboard : ports.eventPosting,
            .inputSources = screen ? screen->inputSources : ports.inputSources,
            .windows = screen ? screen->windows : ports.windows,
            .localFiles = localFiles};
}

} // namespace orvel
