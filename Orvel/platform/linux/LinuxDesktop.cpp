#include "Orvel/platform/linux/LinuxDesktop.h"

#include "Orvel/platform/linux/AccessibilityBus.h"
#include "Orvel/platform/linux/AccessibilitySwitch.h"
#include "Orvel/platform/linux/AtSpiAccessibility.h"
#include "Orvel/platform/linux/AtSpiXKeys.h"
#include "Orvel/platform/linux/AutostartFile.h"
#include "Orvel/platform/linux/IBusDaemon.h"
#include "Orvel/platform/linux/IBusInputSources.h"
#include "Orvel/platform/linux/XApplications.h"
#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XEventPosting.h"
#include "Orvel/platform/linux/XKeyboardLayout.h"
#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/linux/XPasteboard.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "OrvelCore/files/FilePath.h"

#include <cstdlib>
#include <future>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace orvel {

namespace {

std::string variable(const char* name) {
    const auto* value = std::getenv(name); // Nothing in this program changes its environment.
    return value ? value : "";
}

// The library waits for a server that takes the connection and says nothing, so somebody else does.
std::unique_ptr<XConnection> openInTime(std::chrono::nanoseconds limit) {
    auto made = std::make_shared<std::promise<std::unique_ptr<XConnection>>>();
    auto connection = made->get_future();
    try {
        std::thread([made] { made->set_value(XConnection::open()); }).detach();
    } catch (const std::system_error&) {
        return nullptr;
    }
    return connection.wait_for(limit) == std::future_status::ready ? connection.get() : nullptr;
}

// This program's own window is brought to the front by whoever made it.
class ApplicationsAndOwn : public XApplications {
  public:
    ApplicationsAndOwn(XConnection& connection, MainLoop& loop, Processes& processes, Applications& own)
        : XApplications(connection, loop, processes), own(own) {}

    void activateSelf() override { own.activateSelf(); }

  private:
    Applications& own;
};

// Listens to the input method from the first question on, which nobody asks before the person has agreed.
class InputMethod : public CompositionSource {
  public:
    const IBusDaemon* daemon() {
        const std::lock_guard lock(mutex);
        if (!ibus && !hasFailed) try {
                ibus.emplace();
            } catch (const std::system_error&) {
                hasFailed = true;
            }
        return ibus ? &*ibus : nullptr;
    }
    PendingComposition current(BusDeadline deadline) override {
        return daemon() ? ibus->current(deadline) : PendingComposition();
    }

  private:
    std::mutex mutex;
    std::optional<IBusDaemon> ibus;
    bool hasFailed = false;
};

class InputMethodSources : public InputSources {
  public:
    explicit InputMethodSources(InputMethod& method) : method(method) {}

    std::optional<InputSource> current() override {
        const auto* daemon = method.daemon();
        return daemon ? IBusInputSources(*daemon, layout).current() : std::nullopt;
    }
    std::optional<std::string> currentLayoutID() override {
        const auto* daemon = method.daemon();
        return daemon ? IBusInputSources(*daemon, layout).currentLayoutID() : std::nullopt;
    }

  private:
    InputMethod& method;
    XKeyboardLayout layout;
};

// Read on other threads, perhaps still as the desktop goes, so it stays until the program ends. Only who
// belongs to the desktop's thread writes or searches.
struct BusAndAccessibility {
    BusAndAccessibility(AtSpiKeys& keys, MainLoop& loop)
        : accessibility(
              bus,
              {.keys = &keys, .loop = &loop, .compositions = &inputMethod, .hasWindows = xWindowOwners()}) {}

    AccessibilityBus bus;
    InputMethod inputMethod;
    AtSpiAccessibility accessibility;
};

BusAndAccessibility& makeAccessibility(AtSpiKeys& keys, MainLoop& loop) {
    static std::vector<std::unique_ptr<BusAndAccessibility>> kept;
    return *kept.emplace_back(std::make_unique<BusAndAccessibility>(keys, loop));
}

std::string autostartPath() {
    auto folder = variable("XDG_CONFIG_HOME");
    if (!folder.starts_with('/')) folder = joinedPath(variable("HOME"), ".config");
    return joinedPath(folder, "autostart/orvel.desktop");
}

} // namespace

SessionKind environmentSession() {
    if (variable("XDG_SESSION_TYPE") == "wayland" || !variable("WAYLAND_DISPLAY").empty())
        return SessionKind::wayland;
    return variable("DISPLAY").empty() ? SessionKind::noDisplay : SessionKind::x11;
}

struct LinuxDesktop::Ports {
    Ports(const LinuxDesktopNeeds& needs, std::unique_ptr<XConnection> opened)
        : connection(std::move(opened)),
          shared(makeAccessibility(keys, needs.loop)),
          applications(*connection, needs.loop, needs.processes, needs.own),
          keyboardTap(needs.loop, ownInput),
          keptAccessibility(needs.loop, needs.processes),
          sessionAccessibility(needs.loop) {
        if (!needs.autostart.empty())
            autostart.emplace(needs.loop, needs.files, autostartPath(), needs.autostart);
        session = {SessionKind::x11, &sessionAccessibility, &keptAccessibility,
                   autostart ? &*autostart : nullptr};
        connection->dispatchOn(needs.descriptors);
    }

    std::shared_ptr<XOwnInput> ownInput = std::make_shared<XOwnInput>();
    std::unique_ptr<XConnection> connection;
    XPasteboard pasteboard{*connection, {}};
    AtSpiXKeys keys{*connection, pasteboard};
    BusAndAccessibility& shared;
    ApplicationsAndOwn applications;
    XKeyboardTap keyboardTap;
    XEventPosting eventPosting{*connection, ownInput};
    XWindowList windows;
    InputMethodSources inputSources{shared.inputMethod};
    KeptAccessibilitySwitch keptAccessibility;
    SessionAccessibilitySwitch sessionAccessibility;
    std::optional<AutostartFile> autostart;
    DesktopSession session;
};

std::unique_ptr<LinuxDesktop> LinuxDesktop::open(const LinuxDesktopNeeds& needs) {
    auto connection = openInTime(openLimit);
    if (!connection) return nullptr;
    return std::unique_ptr<LinuxDesktop>(
        new LinuxDesktop(std::make_unique<Ports>(needs, std::move(connection))));
}

LinuxDesktop::LinuxDesktop(std::unique_ptr<Ports> ports) : ports(std::move(ports)) {}

LinuxDesktop::~LinuxDesktop() = default;

Pasteboard& LinuxDesktop::pasteboard() {
    return ports->pasteboard;
}

Applications& LinuxDesktop::applications() {
    return ports->applications;
}

Accessibility& LinuxDesktop::accessibility() {
    return ports->shared.accessibility;
}

KeyboardTap& LinuxDesktop::keyboardTap() {
    return ports->keyboardTap;
}

EventPosting& LinuxDesktop::eventPosting() {
    return ports->eventPosting;
}

InputSources& LinuxDesktop::inputSources() {
    return ports->inputSources;
}

WindowList& LinuxDesktop::windows() {
    return ports->windows;
}

const DesktopSession& LinuxDesktop::session() const {
    return ports->session;
}

} // namespace orvel
