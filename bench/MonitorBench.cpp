// What a key costs while the typed command is watched for: the reads from the agent's application, how long
// the key is held on a simulated desktop, and what the handler itself takes of the processor.

#include "Orvel/monitor/DesktopCommandMonitor.h"
#include "Orvel/monitor/GoogleJapaneseInput.h"
#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedCodexApp.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "samples/SampleHome.h"

#include <algorithm>

#include <benchmark/benchmark.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto desktopID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr auto sessionID = "5b0d714f-0000-4000-8000-000000000002";
constexpr auto threadID = "01a1fd20-0000-7000-8000-000000000001";

enum class Where { codex, claude, elsewhere };

// Both agents run, and their editors are proved to be readable.
class Desk {
  public:
    Desk() {
        claude.addConversation(sessionID, desktopID, {"c", "d"});
        claude.show(desktopID);
        codex.addConversation(threadID, "One");
        desktop.applications.install(claude);
        claudeProcess = desktop.applications.start(claude);
        codexProcess = desktop.applications.start(codex);
        codex.applicationElement()->write("AXManualAccessibility", true);
        desktop.loop.runFor(2s);
        monitor.onCommand = [](CapturedCommand) {};
    }

    void type(Where where, const std::string& text) {
        const auto process = where == Where::codex    ? codexProcess
                             : where == Where::claude ? claudeProcess
                                                      : SimulatedApplications::self;
        desktop.applications.bringToFront(process);
        codex.userSetsDraft(threadID, text);
        claude.userSetsDraft(desktopID, text);
        desktop.loop.runFor(1s);
    }

    /// Presses the key and lets go of it; what comes behind it is dropped.
    void press(std::int64_t code) {
        benchmark::DoNotOptimize(monitor.handle({.type = TapEventType::keyDown, .keyCode = code}));
        benchmark::DoNotOptimize(monitor.handle({.type = TapEventType::keyUp, .keyCode = code}));
        monitor.forget();
    }

    SampleHome home;
    SimulatedDesktop desktop;
    SimulatedClaude claude{desktop, home.folders().claude + "/projects", home.folders().claudeDesktop};
    SimulatedCodexApp codex{desktop, SampleCodexHome(home.folders().codex)};
    ProcessID claudeProcess = 0, codexProcess = 0;
    ChangeSignal changes;
    GoogleJapaneseInput japanese{changes,
                                 {desktop.loop, desktop.sideQueue, desktop.windows, desktop.applications,
                                  desktop.inputSources, [](Agent) { return std::nullopt; },
                                  [] { return std::nullopt; }}};
    DesktopCommandMonitor monitor{
        changes,
        {desktop.loop, desktop.accessibility, desktop.applications, desktop.inputSources, japanese,
         [] { return true; }, [](Agent, ProcessID) { return true; },
         [](const CapturedReturn&, const std::function<bool()>&) -> Task<std::optional<IdentifiedCodex>> {
             co_return std::nullopt;
         },
         [](CapturedCommand) -> Task<void> { co_return; }, ClockStyle()}};
};

// The most reads and the longest hold of a hundred keys.
void returnKey(benchmark::State& run, Where where, const char* text, std::int64_t code,
               SimulatedLatency latency) {
    constexpr int keys = 100;
    std::uint64_t mostReads = 0;
    MainLoop::Duration longest{0};
    for (auto _ : run) {
        run.PauseTiming();
        Desk desk;
        desk.type(where, text);
        desk.desktop.accessibility.latency = latency;
        run.ResumeTiming();
        for (int i = 0; i < keys; ++i) {
            const auto reads = desk.monitor.calls();
            const auto began = desk.desktop.loop.uptime();
            desk.press(code);
            mostReads = std::max(mostReads, desk.monitor.calls() - reads);
            longest = std::max(longest, desk.desktop.loop.uptime() - began);
        }
    }
    run.counters["reads"] = static_cast<double>(mostReads);
    run.counters["held_ms"] = secondsOf(longest) * 1000;
}

constexpr SimulatedLatency usual, slow{15ms, 15ms, 15ms};

#define RETURN(name, ...) BENCHMARK_CAPTURE(returnKey, key, __VA_ARGS__)->Name("return/" name)->Iterations(1)
RETURN("letter", Where::claude, "/orvel go", 0, usual);
RETURN("elsewhere", Where::elsewhere, "/orvel go", KeyCode::returnKey, usual);
RETURN("codex-message", Where::codex, "Go on.", KeyCode::returnKey, usual);
RETURN("claude-message", Where::claude, "Go on.", KeyCode::returnKey, usual);
RETURN("codex-command", Where::codex, "/orvel go", KeyCode::returnKey, usual);
RETURN("claude-command", Where::claude, "/orvel go", KeyCode::returnKey, usual);
RETURN("codex-slow", Where::codex, "/orvel go", KeyCode::returnKey, slow);
RETURN("claude-slow", Where::claude, "/orvel go", KeyCode::returnKey, slow);
#undef RETURN

// A letter, as the person types all day long.
void letter(benchmark::State& run) {
    Desk desk;
    desk.type(Where::claude, "/orvel go");
    for (auto _ : run) desk.press(0);
}
BENCHMARK(letter)->Name("return/letter-time")->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace orvel
