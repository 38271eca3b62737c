#include "desktop/RealDesktop.h"

#include "Orvel/desktop/EventPosting.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/text/Unicode.h"

#include <filesystem>
#include <thread>

namespace orvel {

namespace {

constexpr SyntheticKey backspaceKey{51, 0}, pasteKey{9, SyntheticKey::command};

std::string paragraphs(const std::string& text) {
    std::string html = "<p data-pm-slice=\"1 1 []\">";
    for (const char letter : text) {
        switch (letter) {
        case '\n': html += "</p><p>"; break;
        case '&': html += "&amp;"; break;
        case '<': html += "&lt;"; break;
        default: html += letter;
        }
    }
    return html + "</p>";
}

std::string toolFolder(const DesktopSession& session) {
    const std::filesystem::path tools = session.path("tools");
    std::filesystem::create_directories(tools);
    std::filesystem::create_symlink(SAMPLE_CODEX, tools / "codex");
    return tools.string();
}

} // namespace

bool PastingKeys::isAllSelected(ProcessID process) {
    const auto app = accessibility.application(process);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(150);
    while (std::chrono::steady_clock::now() < end) {
        const auto focused = accessibility.attribute(app, "AXFocusedUIElement");
        if (const auto* editor = focused.as<AXElement>()) {
            const auto text = accessibility.attribute(*editor, "AXValue");
            const auto range = accessibility.attribute(*editor, "AXSelectedTextRange");
            if (text.as<std::string>() && range.as<AXRange>() && range.as<AXRange>()->location == 0 &&
                range.as<AXRange>()->length ==
                    static_cast<std::int64_t>(utf16Length(*text.as<std::string>())))
                return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

bool PastingKeys::press(SyntheticKey key) {
    const auto front = applications.frontmost();
    if (!front || !isAllSelected(front->process)) return false;
    auto events = posting.key(key, front->process);
    if (events) events->post();
    return events != nullptr;
}

bool PastingKeys::erase() {
    return press(backspaceKey);
}

bool PastingKeys::paste(const std::string& text) {
    saved.clear();
    for (const auto& type : pasteboard.typesOf(0))
        if (auto data = pasteboard.data(0, type)) saved[type] = *std::move(data);
    pasteboard.clearContents();
    return pasteboard.writeItems(
               {{{std::string(PasteboardType::string), text}, {"text/html", paragraphs(text)}}}) &&
           press(pasteKey);
}

void PastingKeys::restoreClipboard() {
    pasteboard.clearContents();
    if (!saved.empty()) static_cast<void>(pasteboard.writeItems({saved}));
}

std::optional<ApplicationBundle> VersionedApplications::bundleOf(ProcessID process) {
    auto bundle = XApplications::bundleOf(process);
    if (bundle && bundle->bundleID == OrvelCommandPolicy::bundleID(Agent::codex))
        bundle->shortVersion = std::string(CodexCopyShortcutPolicy::supportedAppVersions.back());
    return bundle;
}

RealDesktop::RealDesktop(DesktopSession& session)
    : session(session),
      connection(XConnection::open(session.display())),
      tap(world.loop, own, session.display()),
      posting(*connection, own),
      pasteboard(*connection, session.display()),
      applications(*connection, world.loop, world.processes),
      windows(session.display()),
      bus(session.busAddress()),
      keys(posting, pasteboard, applications, bus),
      accessibility(bus, &keys),
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
            .localFiles = localFiles};
}

} // namespace orvel
