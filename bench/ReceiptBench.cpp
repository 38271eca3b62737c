// What the check for receipts costs, which runs every two seconds for as long as Orvel does: fifty pairs of
// large transcripts, of which none has changed, or one has grown.

#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "bench/SampleTranscripts.h"
#include "samples/TranscriptWriter.h"
#include "tests/model/FakeClaudeSender.h"

#include <filesystem>
#include <fstream>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace orvel::bench {
namespace {

constexpr int pairCount = 50;
constexpr std::size_t transcriptSize = 20'000'000;

std::string transcriptOf(Agent agent, int number) {
    const std::string output(5'000, 'x');
    const auto id = fmt::format("01a1fd20-0000-7000-8000-{:012}", number);
    const auto fill = [&](auto& transcript) {
        transcript.ask("Look at the tests.");
        while (transcript.text().size() < transcriptSize)
            transcript.runCommand("make test", output).comment("Still at it, and this is what I think.");
        transcript.answer("Done.");
        return transcript.text();
    };
    if (agent == Agent::codex) {
        CodexTranscript transcript({.id = id});
        return fill(transcript);
    }
    ClaudeTranscript transcript({.id = id});
    return fill(transcript);
}

// A model with fifty open pairs, each with a message that is waited for, and all conversations read once.
class Desk {
  public:
    Desk() : folder(std::filesystem::path(samples().many().home).parent_path() / "receipts") {
        RelayState state;
        int ids = 0;
        const RelayStamp stamp{[&ids] { return fmt::format("01A1FD20-0000-4000-8000-{:012}", ++ids); }, 0};
        for (int i = 0; i < pairCount; ++i) {
            const auto codex = write(Agent::codex, i), claude = write(Agent::claude, i);
            const auto pair = state.pair(codex, claude, std::nullopt, stamp);
            state.prepare(
                {.pairID = pair.id,
                 .source = Agent::codex,
                 .sourceConversation = TranscriptReader::read(codex.transcriptPath, Agent::codex),
                 .destinationConversation = TranscriptReader::read(claude.transcriptPath, Agent::claude),
                 .instruction = "Look at this."},
                stamp);
        }
        SimulatedFileStore::write((folder / "data/relay-state.json").string(), encodeRelayState(state));
        model.emplace(simulated.portsOn(loop, files), claude,
                      AgentFolders::of(folder.string(), std::nullopt, std::nullopt, folder.string()),
                      (folder / "data/state.json").string());
        model->links.restoreRelay();
        run();
        pass();
    }
    ~Desk() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    void pass() {
        model->receipts.checkRelayReceipts();
        run();
    }

    /// One agent says something more.
    void grow() {
        CodexTranscript more({.id = "more"});
        more.ask("And this?").answer("That too.");
        const auto text = more.text();
        std::ofstream(grown, std::ios::binary | std::ios::app) << text.substr(text.find('\n') + 1);
    }

    const std::string& grownPath() const { return grown; }

  private:
    ConversationReference write(Agent agent, int number) {
        const auto path = folder / fmt::format("{}-{}.jsonl", rawValue(agent), number);
        std::filesystem::create_directories(folder);
        std::ofstream(path, std::ios::binary) << transcriptOf(agent, number);
        if (agent == Agent::codex) grown = path.string();
        return ConversationCatalog::reference(path.string(), agent);
    }

    void run() {
        while (!model->isIdle()) {
            const auto soon = loop.after(std::chrono::microseconds(100), [this] { loop.stop(); });
            loop.run();
        }
    }

    std::filesystem::path folder;
    std::string grown;
    SimulatedDesktop simulated;
    PollLoop loop;
    PosixFileStore files{loop};
    FakeClaudeSender claude{loop};
    std::optional<OrvelModel> model;
};

Desk& desk() {
    static Desk made;
    return made;
}

void passWithNothingNew(benchmark::State& state) {
    auto& shared = desk();
    for (auto _ : state) shared.pass();
}
BENCHMARK(passWithNothingNew)
    ->Name("receipts/unchanged")
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

void passWithOneGrown(benchmark::State& state) {
    auto& shared = desk();
    for (auto _ : state) {
        state.PauseTiming();
        shared.grow();
        state.ResumeTiming();
        shared.pass();
    }
}
BENCHMARK(passWithOneGrown)
    ->Name("receipts/one-grown")
    ->MeasureProcessCPUTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

void readTheGrownOne(benchmark::State& state) {
    const auto& path = desk().grownPath();
    for (auto _ : state) benchmark::DoNotOptimize(TranscriptReader::read(path, Agent::codex).messages.data());
}
BENCHMARK(readTheGrownOne)
    ->Name("receipts/reading-one")
    ->MeasureProcessCPUTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace orvel::bench
