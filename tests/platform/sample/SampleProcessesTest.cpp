#include "Orvel/platform/sample/SampleProcesses.h"

#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "Orvel/reading/AgentTool.h"

using namespace orvel;

namespace {

struct Idle : SimulatedProgram {
    using SimulatedProgram::SimulatedProgram;
};

} // namespace

TEST(SampleProcesses, KnowNoToolButTheSamplesOwn) {
    SimulatedLoop loop;
    SimulatedProcesses system(loop);
    const auto idle = [](SimulatedChildSide side, const ChildLaunch&) {
        return std::make_unique<Idle>(side);
    };
    system.environment = {{"PATH", "/usr/bin:/real"}, {"CODEX_HOME", "/home/robin/.codex"}, {"LANG", "C"}};
    for (const auto* place : {"/real/codex", "/home/robin/.local/bin/codex", "/usr/local/bin/codex",
                              "/opt/homebrew/bin/codex", "/sample/bin/deeper/codex", "/sample/codex"})
        system.programs[place] = idle;
    SampleProcesses processes(system, "/sample/bin", "/sample/.codex");

    EXPECT_EQ(agentTool(Agent::codex, system, "/home/robin"), "/real/codex");
    EXPECT_EQ(agentTool(Agent::codex, processes, "/home/robin"), std::nullopt);
    for (const auto& [place, program] : system.programs) {
        EXPECT_FALSE(processes.isExecutable(place)) << place;
        EXPECT_THROW((void)processes.start({.executable = place}), ProcessError) << place;
    }
    EXPECT_THROW((void)processes.start({.executable = "/sample/bin/../codex"}), ProcessError);
    EXPECT_TRUE(system.launches.empty());

    system.programs["/sample/bin/codex"] = idle;
    EXPECT_EQ(agentTool(Agent::codex, processes, "/home/robin"), "/sample/bin/codex");
    (void)processes.start({.executable = "/sample/bin/codex",
                           .arguments = {"queue"},
                           .environment = {{"PATH", "/x"}, {"CODEX_HOME", "/home/robin/.codex"}},
                           .hasPipes = true});
    EXPECT_EQ(system.launches.back(),
              (ChildLaunch{.executable = "/sample/bin/codex",
                           .arguments = {"queue"},
                           .environment = {{"PATH", "/x"}, {"CODEX_HOME", "/sample/.codex"}},
                           .hasPipes = true}));
    EXPECT_EQ(processes.environmentVariable("CODEX_HOME"), "/sample/.codex");
    EXPECT_EQ(processes.environmentVariable("LANG"), "C");
}
