#include "Orvel/platform/linux/XApplications.h"

#include "Orvel/platform/linux/XWindows.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ranges>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace orvel {

namespace {

bool isSame(const std::string& name, const std::string& other) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(name, other, {}, lower, lower);
}

} // namespace

std::vector<XApplicationName> knownXApplications() {
    return {{"com.anthropic.claudefordesktop", "claude", "claude"},
            {"com.openai.codex", "codex", "codex"},
            // "dia" alone is the class of an editor of diagrams.
            {"company.thebrowser.dia", "company.thebrowser.dia", {}}};
}

XApplications::XApplications(XConnection& connection, MainLoop& loop, Processes& processes,
                             std::vector<XApplicationName> names)
    : connection(connection),
      loop(loop),
      entries(processes),
      versions(loop, processes),
      names(std::move(names)) {}

std::optional<RunningApplication> XApplications::ownerOf(std::uint32_t window) {
    const auto process = processOf(connection, window);
    const auto windowClass = process ? classOf(connection, window) : std::nullopt;
    return windowClass ? std::optional(named(*process, *windowClass)) : std::nullopt;
}

RunningApplication XApplications::named(ProcessID process, const XWindowClass& windowClass) const {
    RunningApplication application{.process = process};
    for (const auto& name : names) {
        if (isSame(name.windowClass, windowClass.name) || isSame(name.windowClass, windowClass.instance))
            application.bundleID = name.bundleID;
    }
    return application;
}

std::vector<RunningApplication> XApplications::all() {
    std::vector<RunningApplication> found;
    const auto windows = rootWindows(connection, "_NET_CLIENT_LIST");
    const auto owners = ownersOf(connection, windows);
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto& [process, windowClass] = owners[i];
        auto owner =
            process && windowClass ? std::optional(named(*process, *windowClass)) : ownerOf(windows[i]);
        if (owner && std::find(found.begin(), found.end(), *owner) == found.end())
            found.push_back(std::move(*owner));
    }
    return found;
}

ProcessID XApplications::ownProcess() {
    return getpid();
}

void XApplications::activateSelf() {
    activate(ownProcess());
}

bool XApplications::revealFile(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash != path.npos && entries.open(slash == 0 ? "/" : path.substr(0, slash));
}

std::optional<RunningApplication> XApplications::frontmost() {
    const auto active = rootWindows(connection, "_NET_ACTIVE_WINDOW");
    return active.empty() || active.front() == XCB_WINDOW_NONE ? std::nullopt : ownerOf(active.front());
}

std::vector<RunningApplication> XApplications::running(const std::string& bundleID) {
    auto found = all();
    std::erase_if(found, [&](const auto& application) { return application.bundleID != bundleID; });
    return found;
}

std::optional<RunningApplication> XApplications::application(ProcessID process) {
    for (auto& application : all())
        if (application.process == process) return std::move(application);
    return std::nullopt;
}

std::optional<ApplicationBundle> XApplications::bundleOf(ProcessID process) {
    const auto running = application(process);
    if (!running || !running->bundleID) return std::nullopt;
    ApplicationBundle bundle{.bundleID = running->bundleID};
    std::error_code isHidden;
    const auto executable =
        std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", isHidden);
    if (isHidden) return bundle;
    bundle.shortVersion = versions.of(process, executable.string(), [this, id = *running->bundleID] {
        const auto desktopFile = location(id);
        return desktopFile ? DesktopEntries::versionIn(*desktopFile) : std::nullopt;
    });
    return bundle;
}

bool XApplications::activate(ProcessID process) {
    const auto windows = rootWindows(connection, "_NET_CLIENT_LIST_STACKING"); // From the bottom.
    for (const auto window : std::views::reverse(windows)) {
        if (processOf(connection, window) != process) continue;
        constexpr std::uint32_t asThePersonWants = 2;
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = connection.atom("_NET_ACTIVE_WINDOW");
        message.data.data32[0] = asThePersonWants;
        xcb_send_event(connection.get(), 0, connection.root(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(connection.get());
        return connection.isAlive();
    }
    return false;
}

std::optional<std::string> XApplications::location(const std::string& bundleID) {
    for (const auto& name : names)
        if (name.bundleID == bundleID) return entries.handlerOf(name.scheme);
    return std::nullopt;
}

std::optional<ApplicationBundle> XApplications::bundleAt(const std::string& path) {
    for (const auto& name : names)
        if (entries.handlerOf(name.scheme) == path)
            return ApplicationBundle{name.bundleID, DesktopEntries::versionIn(path)};
    return std::nullopt;
}

// The window manager tells that it runs once it has a window.
Task<bool> XApplications::openApplication(std::string location) {
    constexpr std::chrono::milliseconds interval{100};
    constexpr std::chrono::seconds limit{10};
    std::optional<std::string> bundleID;
    for (const auto& name : names)
        if (entries.handlerOf(name.scheme) == location) bundleID = name.bundleID;
    if (!bundleID) co_return false;
    auto found = running(*bundleID);
    if (found.empty() && !entries.launch(location)) co_return false;
    const auto end = loop.uptime() + limit;
    while (found.empty() && loop.uptime() < end) {
        co_await loop.sleep(interval);
        found = running(*bundleID);
    }
    co_return !found.empty() && activate(found.front().process);
}

bool XApplications::openURL(const std::string& url) {
    const auto colon = url.find(':');
    return colon != url.npos && entries.handlerOf(url.substr(0, colon)) && entries.open(url);
}

} // namespace orvel
