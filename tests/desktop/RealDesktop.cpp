#include "desktop/RealDesktop.h"

#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"

#include <filesystem>

namespace orvel {

namespace {

std::string toolFolder(const TestSession& session) {
    const std::filesystem::path tools = session.path("tools");
    std::filesystem::create_directories(tools);
    std::filesystem::create_symlink(SAMPLE_CODEX, tools / "codex");
    return tools.string();
}

} // namespace

std::optional<ApplicationBundle> VersionedApplications::bundleOf(ProcessID process) {
    auto bundle = XApplications::bundleOf(process);
    if (bundle && bundle->bundleID == OrvelCommandPolicy::bundleID(Agent::codex))
        bundle->shortVersion = std::string(CodexCopyShortcutPolicy::supportedAppVersions.back());
    return bundle;
}

RealDesktop::RealDesktop(TestSession& session)
    : session(session),
      connection(XConnection::open(session.display())),
      tap(world.loop, own, session.display()),
      posting(*connection, own),
      pasteboard(*connection, session.display()),
      applications(*connection, world.loop, world.processes),
      windows(session.display()),
      bus(session.busAddress()),
      keys(*connection, pasteboard),
      accessibility(bus,
                    {.keys = &keys, .loop = &world.loop, .hasWindows = xWindowOwners(session.display())}),
      processes(world.processes, toolFolder(session), session.path("home/.codex")),
      files(world.loop) {
    connection->dispatchOn(world.loop);
}

Desktop RealDesktop::ports() {
    return {.loop = world.loop,
            .sideQueue = sideQueue,
            .files = files,
            .processes = processes,
            .settings = others.settings,
            .pasteboard = pasteboard,
            .panels = others.panels,
            .applications = applications,
            .accessibility = accessibility,
            .keyboardTap = tap,
            .eventPosting = posting,
            .inputSources = inputSources,
            .windows = windows,
            .localFiles = localFiles,
            .zipArchives = zipArchives,
            .session = kind};
}

} // namespace orvel
