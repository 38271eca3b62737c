#include "Orvel/cli/DoctorFindings.h"

#include <utility>

namespace orvel {

namespace {

using State = Finding::State;
using Switch = DesktopSwitch::State;

Finding sessionFinding(const DoctorFacts& facts) {
    switch (facts.session) {
    case SessionKind::x11: return {"Session", State::works, "An X11 session, whose server answers.", ""};
    case SessionKind::wayland:
        return {
            "Session", State::limited,
            "A Wayland session: no program sees another one's keys or types into its windows, so /orvel in "
            "an editor and the way into Claude's window don't work. Reading, sending into Codex, and "
            "copying a message do.",
            "Choose a session “on Xorg” at login, where the desktop offers one."};
    case SessionKind::noDisplay:
        return {"Session", State::missing,
                "No X server answers (DISPLAY). The command line works; the window, /orvel in an editor and "
                "the way into Claude's window don't.",
                "Run this in a terminal of the desktop."};
    case SessionKind::unsupported:
        return {
            "Session", State::missing,
            "This build lacks the libraries for the desktop: /orvel in an editor and the way into Claude's "
            "window don't work.",
            "Install what “scripts/install-dependencies build” names, and build Orvel again."};
    case SessionKind::guarded: break;
    }
    return {"Session", State::limited, "Orvel has no way to this system's desktop yet. All else works.", ""};
}

Finding accessibilityFinding(const DoctorFacts& facts) {
    const std::string subject = "Accessibility";
    if (facts.session != SessionKind::x11)
        return {subject, State::notTried, "It was not looked at without an X server.", "See Session."};
    switch (facts.accessibility.state) {
    case Switch::on: return {subject, State::works, "It is on: programs expose their windows.", ""};
    case Switch::off:
        return {subject, State::missing,
                "It is off: programs that start now don't expose their windows, and Orvel can't read an "
                "editor.",
                "Turn it on in Orvel's settings, under Command; then restart Codex and Claude."};
    case Switch::missing:
    case Switch::unknown: break;
    }
    return {subject, State::missing, "The session's bus doesn't tell whether it is on.",
            "Look whether the packages dbus and at-spi2-core are installed, and whether "
            "DBUS_SESSION_BUS_ADDRESS leads to the session's bus."};
}

Finding agentFinding(const AgentFacts& agent, SessionKind session) {
    const std::string name(label(agent.agent));
    const auto subject = name + "'s application";
    if (session != SessionKind::x11)
        return {subject, State::notTried, "Which applications run can't be seen in this session.",
                "See Session."};
    if (!agent.isRunning)
        return agent.isInstalled
                   ? Finding{subject, State::notTried,
                             "It is installed" + (agent.version ? ", version " + *agent.version : "") +
                                 ", and doesn't run, so its window was not looked at.",
                             "Start it and run this again."}
                   : Finding{subject, State::missing,
                             "It doesn't run, and no application is registered for its URLs.",
                             "Nothing, if you don't use it; otherwise install it."};
    auto detail = agent.version
                      ? "It runs, version " + *agent.version + "."
                      : std::string("It runs; its version is told neither by its files, nor its package, nor "
                                    "its desktop entry, so whether Orvel was tried with it is uncertain.");
    switch (agent.tree) {
    case AgentFacts::Tree::exposed:
        return {subject, agent.version ? State::works : State::limited,
                detail + " It is on the accessibility bus.",
                agent.version ? "" : "Nothing: what Orvel writes into is proved each time."};
    case AgentFacts::Tree::absent:
        return {subject, State::limited,
                detail + " It is not on the accessibility bus: it has been running since before that was on, "
                         "or supports none.",
                "Quit " + name + " and open it again, once accessibility is on."};
    case AgentFacts::Tree::silent:
        return {subject, State::limited, detail + " It didn't answer in time.",
                "Try again; if it stays so, restart " + name + "."};
    case AgentFacts::Tree::notAsked: break;
    }
    return {subject, State::notTried, detail + " Whether its window can be read was not tried.",
            "Turn accessibility on first."};
}

Finding keyboardFinding(const DoctorFacts& facts) {
    const std::string subject = "Keyboard";
    if (!facts.isTapThere)
        return {subject, State::missing, "Return can't be held here, so /orvel in an editor doesn't work.",
                facts.session == SessionKind::x11
                    ? "The X server needs the extension XInput, 2.1 or newer, and the program "
                      "orvel-keyboard-guard must lie where Orvel was installed."
                    : "See Session."};
    switch (facts.keyboard) {
    case DoctorFacts::Keyboard::held: return {subject, State::works, "Return was held and let go again.", ""};
    case DoctorFacts::Keyboard::refused:
        return {subject, State::limited, "Return could not be held: another program holds it.",
                "If that is Orvel itself, all is well; otherwise quit the other program."};
    case DoctorFacts::Keyboard::notTried: break;
    }
    return {subject, State::notTried, "Whether Return can be held was not tried.",
            "“orvel-cli doctor --try-keyboard” holds it for a moment."};
}

Finding inputFinding(const DoctorFacts& facts) {
    const std::string subject = "Input method";
    if (!facts.isASCII)
        return {subject, State::limited,
                "None could be asked. Where an editor doesn't tell that nothing is being composed, /orvel is "
                "kept and stopped.",
                ""};
    if (facts.tellsComposition)
        return {subject, State::works,
                "One that tells what is being composed: the first Return confirms, the next one is a "
                "command's.",
                ""};
    if (*facts.isASCII) return {subject, State::works, "A keyboard layout for ASCII is selected.", ""};
    return {subject, State::limited,
            "Another one than a layout for ASCII is selected. Where an editor doesn't tell that nothing is "
            "being composed, /orvel is kept and stopped.",
            "Switch to direct input for the command, if that happens."};
}

Finding clipboardFinding(const DoctorFacts& facts) {
    if (facts.session != SessionKind::x11)
        return {"Clipboard", State::notTried, "It was not looked at without an X server.", ""};
    if (facts.clipboardItems)
        return {"Clipboard", State::works,
                *facts.clipboardItems > 0 ? "It answers, and holds something." : "It answers, and is empty.",
                ""};
    return {"Clipboard", State::limited, "The program that owns it didn't answer.",
            "Copy something elsewhere, and try again."};
}

Finding folderFinding(const DoctorFacts& facts) {
    const std::string subject = "Data folder";
    switch (facts.folder) {
    case DoctorFacts::Folder::usable: return {subject, State::works, "It is there and can be written.", ""};
    case DoctorFacts::Folder::notMadeYet:
        return {subject, State::works, "It isn't there yet; the first save makes it.", ""};
    case DoctorFacts::Folder::notWritable:
        return {subject, State::missing, "It can't be written, so no message can be saved or sent.",
                "Give yourself the right to write there, or name another folder with --data."};
    case DoctorFacts::Folder::silent: break;
    }
    return {subject, State::missing, "Its disk didn't answer in time.",
            "Look whether the disk is there, or name another folder with --data."};
}

Finding toolFinding(const AgentFacts& agent) {
    const auto subject = "Command " + std::string(rawValue(agent.agent));
    if (agent.tool) return {subject, State::works, "Found at " + *agent.tool + ".", ""};
    const bool isCodex = agent.agent == Agent::codex;
    return {subject, isCodex ? State::missing : State::limited,
            isCodex ? "It was not found, so nothing can be sent into Codex."
                    : "It was not found. It is only needed for conversations that Claude's application "
                      "doesn't know.",
            "Install it, or add its folder to PATH."};
}

} // namespace

std::string_view nameOf(Finding::State state) {
    switch (state) {
    case State::works: return "works";
    case State::limited: return "limited";
    case State::missing: return "missing";
    case State::notTried: break;
    }
    return "not tried";
}

std::vector<Finding> findingsOf(const DoctorFacts& facts) {
    std::vector<Finding> findings{sessionFinding(facts), accessibilityFinding(facts)};
    for (const auto& agent : facts.agents) findings.push_back(agentFinding(agent, facts.session));
    findings.push_back(keyboardFinding(facts));
    findings.push_back(inputFinding(facts));
    findings.push_back(clipboardFinding(facts));
    for (const auto& agent : facts.agents) findings.push_back(toolFinding(agent));
    findings.push_back(
        facts.keybindings ? Finding{"Codex's keybindings", State::limited, *facts.keybindings,
                                    "“orvel-cli keybindings FILE” tells more."}
                          : Finding{"Codex's keybindings", State::works,
                                    "A conversation's address can be copied, as far as the file in its usual "
                                    "place tells.",
                                    ""});
    findings.push_back(folderFinding(facts));
    findings.push_back(facts.records ? Finding{"Relay records", State::limited, *facts.records,
                                               "“orvel-cli relay check FILE” tells more."}
                                     : Finding{"Relay records", State::works, "They keep their rules.", ""});
    return findings;
}

} // namespace orvel
