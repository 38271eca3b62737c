#include "Orvel/cli/Doctor.h"

#include "Orvel/cli/DoctorFindings.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/KeybindingCheck.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalDesktop.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/InputSources.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/reading/AgentTool.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelayStateReport.h"
#include "OrvelCore/text/Failure.h"

#include <algorithm>
#include <chrono>
#include <string>

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Json = nlohmann::ordered_json;

constexpr auto patience = 2s;        // Of each step that waits.
constexpr auto versionPatience = 1s; // Of a version, which may have none to tell.
constexpr auto treePatience = 300ms; // Of an application.

// What the disk tells, on another thread: it may be a network's.
struct OnDisk {
    DoctorFacts::Folder folder = DoctorFacts::Folder::silent;
    std::optional<std::string> keybindings, records;
};

DoctorFacts::Folder folderAt(const std::string& path) {
    if (access(path.c_str(), F_OK) == 0)
        return access(path.c_str(), R_OK | W_OK | X_OK) == 0 ? DoctorFacts::Folder::usable
                                                             : DoctorFacts::Folder::notWritable;
    auto above = std::string(parentFolder(path));
    while (above.size() > 1 && access(above.c_str(), F_OK) != 0) above = std::string(parentFolder(above));
    return access(above.c_str(), W_OK | X_OK) == 0 ? DoctorFacts::Folder::notMadeYet
                                                   : DoctorFacts::Folder::notWritable;
}

OnDisk lookAtDisk(const Places& places) {
    OnDisk found{.folder = folderAt(places.dataFolder), .keybindings = {}, .records = {}};
    try {
        found.keybindings = obstacleToCopying(joinedPath(places.folders.codex, "keybindings.json"));
    } catch (const Failure&) {
        found.keybindings = "The file can't be read.";
    }
    try {
        const auto state = loadRelayState(joinedPath(places.dataFolder, "relay-state.json"));
        const auto broken = state ? RelayStateReport::of(*state).violations.size() : 0;
        if (broken > 0) found.records = "They break " + std::to_string(broken) + " of their rules.";
    } catch (const Failure&) {
        found.records = "They can't be read. Nothing was changed.";
    }
    return found;
}

class Examination {
  public:
    explicit Examination(const Places& places)
        : places(places), desktop(places, TerminalDesktop::Use::whole) {}

    DoctorFacts facts(bool triesKeyboard) {
        const auto& ports = desktop.ports();
        found.session = ports.session.kind;
        found.isTapThere = ports.keyboardTap.isAvailable();
        tasks.start(lookAtSwitch());
        tasks.start(lookAtFiles());
        desktop.runUntil([this] { return isSwitchRead && isDiskRead; }, patience);
        for (const auto agent : allAgents) found.agents.push_back(lookAt(agent));
        waitForVersions();
        if (const auto source = ports.inputSources.current()) {
            found.isASCII = source->isASCIICapable;
            found.tellsComposition = source->tellsComposition;
        }
        if (found.session == SessionKind::x11) found.clipboardItems = ports.pasteboard.itemCount();
        if (triesKeyboard && found.isTapThere) found.keyboard = tryKeyboard();
        return found;
    }

  private:
    Task<void> lookAtSwitch() {
        auto* accessibility = desktop.ports().session.accessibility;
        if (accessibility) found.accessibility = co_await accessibility->read();
        isSwitchRead = true;
    }

    Task<void> lookAtFiles() {
        const auto look = [places = places] { return lookAtDisk(places); };
        const auto onDisk = co_await desktop.ports().loop.background(look);
        found.folder = onDisk.folder;
        found.keybindings = onDisk.keybindings;
        found.records = onDisk.records;
        isDiskRead = true;
    }

    AgentFacts lookAt(Agent agent) {
        const auto& ports = desktop.ports();
        const std::string id(OrvelCommandPolicy::bundleID(agent));
        AgentFacts facts{.agent = agent, .tool = agentTool(agent, ports.processes, places.folders.home)};
        const auto location = ports.applications.location(id);
        facts.isInstalled = location.has_value();
        if (location)
            if (const auto bundle = ports.applications.bundleAt(*location))
                facts.version = bundle->shortVersion;
        const auto running = ports.applications.running(id);
        facts.isRunning = !running.empty();
        if (!facts.isRunning) return facts;
        facts.version.reset(); // What runs counts, which may be another one.
        ports.applications.bundleOf(running.front().process);
        if (found.accessibility.state != DesktopSwitch::State::on) return facts;
        // Its children alone: other reads have some programs build all of their tree.
        const auto element = ports.accessibility.application(running.front().process);
        ports.accessibility.setMessagingTimeout(element, treePatience);
        const auto status = ports.accessibility.attribute(element, "AXChildren").status;
        facts.tree = status == AXStatus::success          ? AgentFacts::Tree::exposed
                     : status == AXStatus::cannotComplete ? AgentFacts::Tree::silent
                                                          : AgentFacts::Tree::absent;
        return facts;
    }

    void waitForVersions() {
        auto& applications = desktop.ports().applications;
        const auto areKnown = [&] {
            bool isEachKnown = true;
            for (auto& agent : found.agents) {
                if (!agent.isRunning || agent.version) continue;
                const auto running =
                    applications.running(std::string(OrvelCommandPolicy::bundleID(agent.agent)));
                const auto bundle =
                    running.empty() ? std::nullopt : applications.bundleOf(running.front().process);
                if (bundle) agent.version = bundle->shortVersion;
                isEachKnown = isEachKnown && agent.version;
            }
            return isEachKnown;
        };
        desktop.runUntil(areKnown, versionPatience);
    }

    DoctorFacts::Keyboard tryKeyboard() {
        auto& tap = desktop.ports().keyboardTap;
        const auto started = tap.start([](const TapEvent&) { return TapAnswer::pass; });
        tap.stop();
        return started == TapStart::started ? DoctorFacts::Keyboard::held : DoctorFacts::Keyboard::refused;
    }

    const Places& places;
    DoctorFacts found{.folder = DoctorFacts::Folder::silent};
    bool isSwitchRead = false, isDiskRead = false;
    TerminalDesktop desktop;
    TaskScope tasks; // Last: ends before what its work uses.
};

std::string linesOf(const std::vector<Finding>& findings, const Stylist& stylist) {
    std::size_t widest = 0;
    for (const auto& finding : findings) widest = std::max(widest, finding.subject.size());
    std::string lines;
    for (const auto& finding : findings) {
        std::string state(nameOf(finding.state));
        state.resize(9, ' ');
        lines += finding.subject + std::string(widest - finding.subject.size() + 2, ' ') +
                 stylist(TextStyle::strong, state) + "  " + visibleLine(finding.detail) + "\n";
        if (!finding.advice.empty())
            lines +=
                std::string(widest + 13, ' ') + stylist(TextStyle::faint, visibleLine(finding.advice)) + "\n";
    }
    return lines;
}

std::string jsonOf(const std::vector<Finding>& findings) {
    auto array = Json::array();
    for (const auto& finding : findings)
        array.push_back({{"subject", finding.subject},
                         {"state", nameOf(finding.state)},
                         {"detail", finding.detail},
                         {"advice", finding.advice.empty() ? Json() : Json(finding.advice)}});
    return jsonLine(array);
}

} // namespace

bool examineDesktop(const Arguments& arguments, const Places& places, Output& output,
                    const Stylist& stylist) {
    const auto findings = findingsOf(Examination(places).facts(arguments.tryKeyboard));
    output.write(arguments.json ? jsonOf(findings) : linesOf(findings, stylist));
    return std::ranges::all_of(findings, [](const Finding& finding) {
        return finding.state == Finding::State::works || finding.state == Finding::State::notTried;
    });
}

} // namespace orvel
