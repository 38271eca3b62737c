// What typing and Send cost behind many saved messages: how long the main loop is held by a letter, and how
// long it takes from Send until the destination is touched.

#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "samples/TranscriptWriter.h"
#include "tests/model/FakeClaudeSender.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

#include <ctime>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace orvel::bench {
namespace {

constexpr std::size_t payloadSize = 20'000;

// A model with one open pair that has received so many messages of 20 KB from Codex.
class Desk {
  public:
    explicit Desk(std::int64_t transfers) {
        auto name = (std::filesystem::temp_directory_path() / "orvel-bench-XXXXXX").string();
        folder = mkdtemp(name.data());
        CodexTranscript codex({.id = "01a1fd20-0000-7000-8000-000000000001"});
        ClaudeTranscript claudeTranscript({.id = "5b0d714f-0000-4000-8000-000000000002"});
        const auto codexEnd = write("codex.jsonl", codex.ask("q").answer("a").text(), Agent::codex);
        const auto claudeEnd =
            write("claude.jsonl", claudeTranscript.ask("c").answer("d").text(), Agent::claude);
        RelayState state;
        int ids = 0;
        const RelayStamp stamp{[&ids] { return fmt::format("01A1FD20-0000-4000-8000-{:012}", ++ids); }, 0};
        const auto pair = state.pair(codexEnd, claudeEnd, std::nullopt, stamp);
        std::vector<RelayTransfer> received(static_cast<std::size_t>(transfers));
        for (auto& transfer : received) {
            transfer.id = stamp.newID();
            transfer.pairID = pair.id;
            transfer.payload = std::string(payloadSize, 'x');
            transfer.status = RelayTransfer::Status::received;
        }
        state.transfers = RecordList<RelayTransfer>(std::move(received));
        SimulatedFileStore::write(folder + "/data/relay-state.json", encodeRelayState(state));
        model.emplace(simulated.portsOn(loop, files), claude,
                      AgentFolders::of(folder, std::nullopt, std::nullopt, folder),
                      folder + "/data/state.json");
        model->links.restoreRelay();
        run();
        model->workspace.openPair(*model->workspace.relay().activePair(), Agent::codex);
        run();
        turn(std::chrono::seconds(
            3)); // What a start prepares for later saves is ready by the time somebody types.
        note();
    }
    ~Desk() {
        run();
        model.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// Types a hundred letters, one every 20 ms, and gives the longest that the loop was held meanwhile, in
    /// milliseconds: by a letter itself, or by what happened on the loop between two turns of a probe. Of the
    /// latter the time on the processor counts, since a probe can't tell a late wake-up of an idle loop from
    /// a hold.
    double typeHundredLetters() {
        longest = {};
        probe();
        std::string text;
        for (int i = 0; i < 100; ++i) {
            text += static_cast<char>('a' + i % 26);
            const auto began = loop.uptime();
            model->workspace.setInstruction(text);
            longest = std::max(longest, loop.uptime() - began);
            turn(std::chrono::milliseconds(20));
        }
        nextProbe.reset();
        run();
        return std::chrono::duration<double, std::milli>(longest).count();
    }

    /// Sends a message, and gives the time until the sender has it, in seconds.
    double send() {
        note();
        const auto before = claude.sent.size();
        claude.failure.emplace("not today", true);
        const auto began = loop.uptime();
        model->outbox.sendRelay();
        while (claude.sent.size() == before && !model->isIdle()) turn(std::chrono::microseconds(50));
        const auto touched = loop.uptime();
        if (claude.sent.size() == before)
            throw std::runtime_error("not sent: " + model->notices.error().value_or(""));
        run();
        return std::chrono::duration<double>(touched - began).count();
    }

  private:
    ConversationReference write(const std::string& name, const std::string& text, Agent agent) const {
        const auto path = folder + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return ConversationCatalog::reference(path, agent);
    }

    // A draft that is on the disk.
    void note() {
        model->workspace.setInstruction("Please look.");
        run();
    }

    static MainLoop::Duration processorTime() {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }

    void probe() {
        const auto before = processorTime();
        nextProbe = loop.after(std::chrono::microseconds(100), [this, before] {
            longest = std::max(longest, processorTime() - before);
            probe();
        });
    }

    void turn(MainLoop::Duration duration) {
        const auto soon = loop.after(duration, [this] { loop.stop(); });
        loop.run();
    }

    void run() {
        while (!model->isIdle()) turn(std::chrono::microseconds(100));
    }

    std::string folder;
    SimulatedDesktop simulated;
    PollLoop loop;
    PosixFileStore files{loop};
    FakeClaudeSender claude{loop};
    std::optional<OrvelModel> model;
    MainLoop::Duration longest{0};
    std::unique_ptr<Timer> nextProbe;
};

void typing(benchmark::State& run) {
    Desk desk(run.range(0));
    for (auto _ : run) run.SetIterationTime(desk.typeHundredLetters() / 1'000);
}
BENCHMARK(typing)
    ->Name("typing/hold")
    ->Arg(10)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The first message of a pair freezes the names of its speakers, which stand before all transfers in the
// file, so that it is written as a whole.
void sendingTheFirst(benchmark::State& run) {
    Desk desk(run.range(0));
    for (auto _ : run) run.SetIterationTime(desk.send());
}
BENCHMARK(sendingTheFirst)
    ->Name("sending/first")
    ->Arg(10'000)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void sending(benchmark::State& run) {
    Desk desk(run.range(0));
    desk.send();
    for (auto _ : run) run.SetIterationTime(desk.send());
}
BENCHMARK(sending)
    ->Name("sending/touch")
    ->Arg(10'000)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace orvel::bench
