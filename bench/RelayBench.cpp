// What the relay engine costs: working copies, the operations on long conversations, reading and writing the
// file. The rows named "library" are the JSON library's
// time for the same bytes.

#include "Orvel/model/RelayStateFile.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "OrvelCore/relay/RelayState.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "OrvelCore/relay/RelayStateReport.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <utility>

namespace orvel {
namespace {

std::string text(std::size_t size) {
    static constexpr std::string_view paragraph =
        "me: Please look at \"the report\" of yesterday, and at what the tests say about it.\n\n"
        "claude: レポートを読みました。 The third case fails, since `count` is read before it is set.\n\n";
    std::string made;
    while (made.size() + paragraph.size() < size) made += paragraph;
    return made;
}

ConversationReference reference(Agent agent) {
    return {agent,        std::string(rawValue(agent)) + "-session",
            "Title",      "/transcripts/file.jsonl",
            std::nullopt, 7e8,
            std::nullopt};
}

RelayStamp stamp(std::int64_t first = 0) {
    return {[count = first]() mutable {
                return "0F1E2D3C-0000-4000-8000-" + std::to_string(100'000'000'000 + count++);
            },
            8e8};
}

// One pair with this many received transfers from Codex; the i-th is proved by message i of the Claude
// conversation.
RelayState stateWith(std::int64_t transfers, std::size_t payloadSize) {
    RelayState state;
    const auto stamps = stamp();
    state.pairs.append(RelayPair{"P", reference(Agent::codex), reference(Agent::claude), std::nullopt,
                                 RelaySpeakerContext()});
    const auto payload = text(payloadSize);
    std::vector<RelayTransfer> made(static_cast<std::size_t>(transfers));
    for (std::size_t i = 0; i < made.size(); ++i) {
        made[i].id = stamps.newID();
        made[i].pairID = "P";
        made[i].payload = payload; // Each has its own copy.
        made[i].instruction = "Go on.";
        made[i].createdAt = 8e8 + static_cast<double>(i);
        made[i].status = RelayTransfer::Status::received;
        made[i].receivedMessageID = "message-" + std::to_string(i);
        made[i].assistantLabel = "codex";
    }
    state.transfers = RecordList<RelayTransfer>(std::move(made));
    return state;
}

Conversation conversation(Agent source, std::int64_t messages) {
    Conversation made{reference(source).sessionID, source, "Title", {}};
    for (std::int64_t i = 0; i < messages; ++i)
        made.messages.push_back(
            {"message-" + std::to_string(i), i % 2 ? "assistant" : "user", text(500) + std::to_string(i)});
    return made;
}

void copyChangeCompare(benchmark::State& run) {
    const auto original = stateWith(run.range(0), 20'000);
    const auto id = original.transfers[original.transfers.size() / 2].id;
    bool retryable = false;
    for (auto _ : run) {
        auto copy = original;
        copy.transfers.change(id,
                              [&](RelayTransfer& transfer) { transfer.retryable = retryable = !retryable; });
        benchmark::DoNotOptimize(copy == original);
    }
}
BENCHMARK(copyChangeCompare)
    ->Name("relay/copy-change-compare")
    ->Arg(10)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Unit(benchmark::kMicrosecond);

void preview(benchmark::State& run) {
    const auto state = stateWith(1'000, 500);
    const auto talk = conversation(Agent::claude, run.range(0));
    for (auto _ : run) benchmark::DoNotOptimize(state.preview("P", Agent::claude, talk));
    run.SetItemsProcessed(run.iterations() * run.range(0)); // Messages.
}
BENCHMARK(preview)->Name("relay/preview")->Arg(1'000)->Arg(5'000)->Arg(20'000)->Unit(benchmark::kMicrosecond);

void prepare(benchmark::State& run) {
    const auto state = stateWith(1'000, 500);
    const auto talk = conversation(Agent::claude, run.range(0));
    const auto destination = conversation(Agent::codex, 10);
    const auto stamps = stamp(5'000);
    for (auto _ : run) {
        auto copy = state;
        benchmark::DoNotOptimize(
            copy.prepare({"P", Agent::claude, talk, destination, "Go on.", std::nullopt}, stamps));
    }
    run.SetItemsProcessed(run.iterations() * run.range(0)); // Messages.
}
BENCHMARK(prepare)->Name("relay/prepare")->Arg(1'000)->Arg(5'000)->Arg(20'000)->Unit(benchmark::kMicrosecond);

// The receipt is the last message, and every other one has to be looked at.
void reconcile(benchmark::State& run) {
    auto state = stateWith(1'000, 500);
    auto talk = conversation(Agent::claude, run.range(0));
    const auto transfer = state.prepare(
        {"P", Agent::codex, conversation(Agent::codex, 10), talk, "Go on.", std::nullopt}, stamp(5'000));
    state.transfers.change(transfer.id, [](RelayTransfer& pending) {
        pending.payload = "Go on.";
        pending.destinationBefore.reset();
    });
    talk.messages.push_back({"receipt", "user", "Go on."});
    for (auto _ : run) {
        auto copy = state;
        if (!copy.reconcile(transfer.id, talk)) run.SkipWithError("not received");
    }
    run.SetItemsProcessed(run.iterations() * run.range(0)); // Messages.
}
BENCHMARK(reconcile)
    ->Name("relay/reconcile")
    ->Arg(1'000)
    ->Arg(5'000)
    ->Arg(20'000)
    ->Unit(benchmark::kMicrosecond);

const std::string& largeFile() {
    static const auto json =
        encodeRelayState(stateWith(10'000, 20'000)) + std::string(simdjson::SIMDJSON_PADDING, ' ');
    return json;
}

std::size_t largeFileSize() {
    return largeFile().size() - simdjson::SIMDJSON_PADDING;
}

void report(benchmark::State& run, std::size_t bytes) {
    run.SetBytesProcessed(run.iterations() * static_cast<std::int64_t>(bytes));
}

void decode(benchmark::State& run) {
    const auto& json = largeFile();
    for (auto _ : run)
        benchmark::DoNotOptimize(
            decodeRelayState({json.data(), largeFileSize()}, simdjson::SIMDJSON_PADDING));
    report(run, largeFileSize());
}
BENCHMARK(decode)->Name("relay/decode/orvel")->Unit(benchmark::kMillisecond);

void parseWithSimdjsonAlone(benchmark::State& run) {
    const auto& json = largeFile();
    for (auto _ : run) {
        simdjson::dom::parser parser;
        benchmark::DoNotOptimize(parser.parse(json.data(), largeFileSize(), false).error());
    }
    report(run, largeFileSize());
}
BENCHMARK(parseWithSimdjsonAlone)->Name("relay/decode/library")->Unit(benchmark::kMillisecond);

void encode(benchmark::State& run) {
    const auto state = stateWith(10'000, 20'000);
    for (auto _ : run) benchmark::DoNotOptimize(encodeRelayState(state));
    report(run, largeFileSize());
}
BENCHMARK(encode)->Name("relay/encode/orvel")->Unit(benchmark::kMillisecond);

void writeWithNlohmannAlone(benchmark::State& run) {
    const auto document = nlohmann::ordered_json::parse(largeFile());
    for (auto _ : run) benchmark::DoNotOptimize(document.dump());
    report(run, largeFileSize());
}
BENCHMARK(writeWithNlohmannAlone)->Name("relay/encode/library")->Unit(benchmark::kMillisecond);

// The file of a state in a fresh folder, saved to the disk as the program does it.
class SavedState {
  public:
    SavedState() {
        auto name = (std::filesystem::temp_directory_path() / "orvel-bench-XXXXXX").string();
        folder = mkdtemp(name.data());
        startAgain();
    }
    ~SavedState() {
        if (last) settle(*last); // What is still under way would leave its files behind.
        file.reset();
        store.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    SavedState(const SavedState&) = delete;
    SavedState& operator=(const SavedState&) = delete;

    /// As a new process.
    void startAgain() {
        file.reset();
        store.emplace(loop);
        file.emplace(folder + "/relay-state.json", *store);
    }

    void save(const RelayState& state) {
        last = state;
        run(file->save(state));
    }

    /// Until what comes after a save is done.
    void settle(const RelayState& state) { run(file->prepare(state)); }

    /// The longest that the loop was held by the beginning of a save.
    double longestHold() const { return std::chrono::duration<double, std::micro>(longest).count(); }

  private:
    static Task<void> thenStop(Task<void> work, PollLoop& loop) {
        co_await work;
        loop.stop();
    }

    void run(Task<void> work) {
        TaskScope scope;
        const auto began = loop.uptime();
        scope.start(thenStop(std::move(work), loop));
        longest = std::max(longest, loop.uptime() - began);
        loop.run();
    }

    std::string folder;
    PollLoop loop;
    std::optional<PosixFileStore> store;
    std::optional<RelayStateFile> file;
    std::optional<RelayState> last;
    MainLoop::Duration longest{0};
};

// Encoding, writing and waiting for the disk.
void saveWhole(benchmark::State& run) {
    const auto state = stateWith(run.range(0), 20'000);
    SavedState saved;
    for (auto _ : run) {
        saved.save(state);
        run.PauseTiming();
        saved.settle(state);
        saved.startAgain();
        run.ResumeTiming();
    }
    run.counters["hold_us"] = saved.longestHold();
}
BENCHMARK(saveWhole)
    ->Name("relay/save/whole")
    ->Arg(10)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Two saves: of one more message, and of a change of it.
void saveMessage(SavedState& saved, RelayState& state, const RelayStamp& stamps) {
    auto transfer = state.transfers.back();
    transfer.id = stamps.newID();
    state.transfers.append(transfer);
    saved.save(state);
    state.transfers.change(transfer.id, [](RelayTransfer& marked) { marked.retryable = false; });
    saved.save(state);
}

void saveForSend(benchmark::State& run) {
    auto state = stateWith(run.range(0), 20'000);
    SavedState saved;
    saved.save(state);
    saved.settle(state);
    const auto stamps = stamp(50'000);
    for (auto _ : run) {
        saveMessage(saved, state, stamps);
    }
    run.counters["hold_us"] = saved.longestHold();
}
BENCHMARK(saveForSend)
    ->Name("relay/save/send")
    ->Arg(10)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The first message after a start, with the loaded state made ready.
void saveForFirstSend(benchmark::State& run) {
    auto state = stateWith(run.range(0), 20'000);
    SavedState saved;
    saved.save(state);
    const auto stamps = stamp(50'000);
    for (auto _ : run) {
        run.PauseTiming();
        saved.settle(state);
        saved.startAgain();
        saved.settle(state);
        saved.settle(state);
        run.ResumeTiming();
        saveMessage(saved, state, stamps);
    }
}
BENCHMARK(saveForFirstSend)
    ->Name("relay/save/first-send")
    ->Arg(10'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// What a debug build does around every save.
void checkRules(benchmark::State& run) {
    const auto state = stateWith(run.range(0), 20'000);
    for (auto _ : run) benchmark::DoNotOptimize(violationsOf(state));
}
BENCHMARK(checkRules)->Name("relay/rules")->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace orvel
