// What the facts of a machine come to, and the command over machines that lack things.

#include "Orvel/cli/DoctorFindings.h"
#include "cli/CommandLineRun.h"

#include <chrono>
#include <filesystem>

#include <nlohmann/json.hpp>

using namespace orvel;
using testing::HasSubstr;
using testing::Not;

namespace {

// Where everything is as it should be.
DoctorFacts healthyFacts() {
    DoctorFacts facts{.session = SessionKind::x11,
                      .accessibility = {DesktopSwitch::State::on, "1"},
                      .isTapThere = true,
                      .keyboard = DoctorFacts::Keyboard::held,
                      .isASCII = true,
                      .clipboardItems = 1};
    for (const auto agent : allAgents)
        facts.agents.push_back({.agent = agent,
                                .isInstalled = true,
                                .isRunning = true,
                                .version = "1.2",
                                .tree = AgentFacts::Tree::exposed,
                                .tool = "/bin/" + std::string(rawValue(agent))});
    return facts;
}

class Doctor : public CommandLine {
    ScopedVariable display{"DISPLAY", std::nullopt}, wayland{"WAYLAND_DISPLAY", std::nullopt},
        session{"XDG_SESSION_TYPE", std::nullopt};
};

} // namespace

TEST(DoctorFindings, TellHowEachFactStandsAndWhatToDo) {
    using Tree = AgentFacts::Tree;
    using Facts = DoctorFacts;
    const struct {
        const char *subject, *state, *says, *advises;
        std::function<void(Facts&)> change;
    } cases[] = {
        {"Session", "limited", "Wayland", "Xorg", [](Facts& f) { f.session = SessionKind::wayland; }},
        {"Session", "missing", "No X server", "terminal",
         [](Facts& f) { f.session = SessionKind::noDisplay; }},
        {"Session", "missing", "libraries", "build", [](Facts& f) { f.session = SessionKind::unsupported; }},
        {"Accessibility", "not tried", "without", "Session",
         [](Facts& f) { f.session = SessionKind::wayland; }},
        {"Codex's application", "not tried", "can't be seen", "Session",
         [](Facts& f) { f.session = SessionKind::wayland; }},
        {"Accessibility", "missing", "is off", "restart",
         [](Facts& f) { f.accessibility.state = DesktopSwitch::State::off; }},
        {"Accessibility", "missing", "doesn't tell", "at-spi2-core", [](Facts& f) { f.accessibility = {}; }},
        {"Claude's application", "limited", "before", "Quit Claude",
         [](Facts& f) { f.agents[1].tree = Tree::absent; }},
        {"Claude's application", "limited", "uncertain", "proved",
         [](Facts& f) { f.agents[1].version.reset(); }},
        {"Claude's application", "limited", "in time", "again",
         [](Facts& f) { f.agents[1].tree = Tree::silent; }},
        {"Claude's application", "not tried", "version 1.2", "Start it",
         [](Facts& f) { f.agents[1].isRunning = false; }},
        {"Codex's application", "missing", "no application", "install",
         [](Facts& f) { f.agents[0].isRunning = f.agents[0].isInstalled = false; }},
        {"Codex's application", "not tried", "version 1.2", "accessibility",
         [](Facts& f) { f.agents[0].tree = Tree::notAsked; }},
        {"Keyboard", "missing", "can't be held", "XInput", [](Facts& f) { f.isTapThere = false; }},
        {"Keyboard", "limited", "another program", "Orvel itself",
         [](Facts& f) { f.keyboard = Facts::Keyboard::refused; }},
        {"Keyboard", "not tried", "not tried", "--try-keyboard",
         [](Facts& f) { f.keyboard = Facts::Keyboard::notTried; }},
        {"Input method", "limited", "None", "", [](Facts& f) { f.isASCII.reset(); }},
        {"Input method", "limited", "Another", "direct", [](Facts& f) { f.isASCII = false; }},
        {"Input method", "works", "first Return", "",
         [](Facts& f) { f.isASCII = false, f.tellsComposition = true; }},
        {"Clipboard", "limited", "didn't answer", "again", [](Facts& f) { f.clipboardItems.reset(); }},
        {"Data folder", "missing", "no message can be saved", "--data",
         [](Facts& f) { f.folder = Facts::Folder::notWritable; }},
        {"Data folder", "missing", "in time", "disk", [](Facts& f) { f.folder = Facts::Folder::silent; }},
        {"Data folder", "works", "first save", "", [](Facts& f) { f.folder = Facts::Folder::notMadeYet; }},
        {"Command codex", "missing", "nothing can be sent", "PATH",
         [](Facts& f) { f.agents[0].tool.reset(); }},
        {"Command claude", "limited", "only needed", "PATH", [](Facts& f) { f.agents[1].tool.reset(); }},
        {"Codex's keybindings", "limited", "why", "keybindings FILE",
         [](Facts& f) { f.keybindings = "why"; }},
        {"Relay records", "limited", "why", "relay check", [](Facts& f) { f.records = "why"; }},
    };
    for (const auto& finding : findingsOf(healthyFacts()))
        EXPECT_EQ(nameOf(finding.state), "works") << finding.subject << ": " << finding.detail;
    for (const auto& [subject, state, says, advises, change] : cases) {
        auto facts = healthyFacts();
        change(facts);
        bool isTold = false;
        for (const auto& finding : findingsOf(facts)) {
            const bool isMeant = finding.subject == subject;
            isTold = isTold || isMeant;
            if (isMeant) {
                EXPECT_EQ(nameOf(finding.state), state) << subject << ": " << says;
                EXPECT_THAT(finding.detail, HasSubstr(says));
                EXPECT_THAT(finding.advice, HasSubstr(advises));
            }
        }
        EXPECT_TRUE(isTold) << subject;
    }
}

TEST_F(Doctor, LooksAtAMachineWithoutADesktopAndChangesNothing) {
    home.write(".codex/keybindings.json", "no keybindings");
    home.write(".local/share/Orvel/relay-state.json", "SECRET");
    const auto files = [&] {
        return std::distance(std::filesystem::recursive_directory_iterator(home.path()), {});
    };
    const auto before = files();
    const auto result = run({"doctor", "--json", "--try-keyboard"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, Not(HasSubstr("SECRET")));
    std::map<std::string, std::string> states;
    for (const auto& each : nlohmann::json::parse(result.out)) states[each["subject"]] = each["state"];
    EXPECT_EQ(states.at("Session"), "missing");
    EXPECT_EQ(states.at("Keyboard"), "missing");
    EXPECT_EQ(states.at("Codex's keybindings"), "limited");
    EXPECT_EQ(states.at("Relay records"), "limited");
    EXPECT_EQ(states.at("Data folder"), "works");
    EXPECT_EQ(files(), before);
    const auto text = run({"doctor"});
    EXPECT_THAT(text.out, HasSubstr("Data folder"));
    EXPECT_THAT(text.out, HasSubstr("works"));
}

TEST_F(Doctor, ADisplayThatIsNotThereIsNone) {
    const ScopedVariable display{"DISPLAY", ":4711"};
    EXPECT_THAT(run({"doctor"}).out, HasSubstr("No X server answers"));
    const ScopedVariable wayland{"WAYLAND_DISPLAY", "wayland-0"};
    EXPECT_THAT(run({"doctor"}).out, HasSubstr("A Wayland session"));
}
