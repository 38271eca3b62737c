#include "bench/ConversationBench.h"

#include "Orvel/cli/ConversationOutput.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "bench/ArchiveBench.h"
#include "bench/ChildProcess.h"
#include "bench/ConversationFloors.h"
#include "bench/SampleTranscripts.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <benchmark/benchmark.h>

namespace orvel::bench {

namespace {

MessageDigests digestsOf(const Conversation& conversation) {
    const auto& id = conversation.messages.back().id;
    return {conversation.messages.size(), id.substr(id.rfind(':') + 1)};
}

// What the Node script found, and how long it took, in seconds.
struct NodeReading {
    MessageDigests digests;
    double seconds = 0;
};

constexpr const char* nowhere = "/dev/null";

NodeReading readWithNode(const std::string& path, Agent agent, bool prints) {
    std::vector<std::string> command{"node", ORVEL_BENCH_SCRIPTS "/read_transcript.mjs",
                                     std::string(rawValue(agent)), path};
    if (prints) command.emplace_back(nowhere);
    std::istringstream output(outputOf(command));
    NodeReading reading;
    output >> reading.digests.count >> reading.digests.last >> reading.seconds;
    return reading;
}

// A comparison means nothing unless everybody does the same work.
bool findsTheSame(benchmark::State& state, const MessageDigests& digests, const std::string& path,
                  Agent agent) {
    if (digests == digestsOf(TranscriptReader::read(path, agent))) return true;
    state.SkipWithError("found other messages than Orvel");
    return false;
}

void readWithOrvel(benchmark::State& state, Agent agent) {
    const auto& path = samples().large(agent);
    for (auto _ : state) {
        const auto conversation = TranscriptReader::read(path, agent);
        benchmark::DoNotOptimize(conversation.messages.data());
    }
}

void readWithFloor(benchmark::State& state, Agent agent) {
    const auto& path = samples().large(agent);
    if (!findsTheSame(state, readFloor(path, agent), path, agent)) return;
    for (auto _ : state) benchmark::DoNotOptimize(readFloor(path, agent));
}

// Counts what the script itself measures, without the start of Node.
void measureNode(benchmark::State& state, const std::string& path, Agent agent, bool prints) try {
    if (!findsTheSame(state, readWithNode(path, agent, prints).digests, path, agent)) return;
    for (auto _ : state) state.SetIterationTime(readWithNode(path, agent, prints).seconds);
} catch (const std::runtime_error& failure) {
    state.SkipWithError(failure.what());
}

void readWithNode(benchmark::State& state, Agent agent) {
    measureNode(state, samples().large(agent), agent, false);
}

double peakMemoryOf(const std::vector<std::string>& work) {
    std::vector<std::string> command{thisProgram(), "--once"};
    command.insert(command.end(), work.begin(), work.end());
    return std::stod(outputOf(command));
}

void measureMemory(benchmark::State& state, const char* work, const std::string& path, Agent agent) {
    for (auto _ : state) {
        const auto peak = peakMemoryOf({work, std::string(rawValue(agent)), path});
        state.counters["times_file"] = peak / static_cast<double>(std::filesystem::file_size(path));
    }
}

void readMemory(benchmark::State& state, Agent agent) {
    measureMemory(state, "read", samples().large(agent), agent);
}

class OutputToNowhere : public Output {
  public:
    void write(std::string_view text) override {
        device.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
    }
    void writeError(std::string_view) noexcept override {}
    bool isTerminal() const override { return false; }

  private:
    std::ofstream device{nowhere, std::ios::binary};
};

void readAndPrint(const std::string& path, Agent agent) {
    OutputToNowhere output;
    writeAsJson(TranscriptReader::read(path, agent), output);
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

template <typename Work>
void countProcessorTime(benchmark::State& state, Work work) {
    for (auto _ : state) {
        const auto start = processorSeconds();
        work();
        state.SetIterationTime(processorSeconds() - start);
    }
}

void printLarge(benchmark::State& state, Agent agent) {
    const auto& path = samples().large(agent);
    countProcessorTime(state, [&] { readAndPrint(path, agent); });
}

void printFloor(benchmark::State& state, Agent agent) {
    const auto& path = samples().large(agent);
    countProcessorTime(state, [&] { benchmark::DoNotOptimize(readFloor(path, agent)); });
}

void printTiny(benchmark::State& state, Agent agent) {
    const auto& path = samples().tiny(agent);
    for (auto _ : state) readAndPrint(path, agent);
}

void printTinyWithNode(benchmark::State& state, Agent agent) {
    measureNode(state, samples().tiny(agent), agent, true);
}

void printTinyMemory(benchmark::State& state, Agent agent) {
    measureMemory(state, "print", samples().tiny(agent), agent);
}

void discoverWithOrvel(benchmark::State& state) {
    const auto& folders = samples().many();
    if (ConversationCatalog::list(folders).size() != samples().manyPaths().size())
        return state.SkipWithError("not every transcript was found");
    for (auto _ : state) benchmark::DoNotOptimize(ConversationCatalog::list(folders));
}

void discoverWithFloor(benchmark::State& state) {
    samples().many();
    for (auto _ : state) benchmark::DoNotOptimize(openFloor(samples().manyPaths()));
}

void discoverMemory(benchmark::State& state) {
    const auto& folders = samples().many();
    for (auto _ : state) {
        state.counters["megabytes"] = peakMemoryOf({"discover", folders.home}) / 1e6;
        state.counters["megabytes_of_files"] = static_cast<double>(samples().manyBytes()) / 1e6;
    }
}

} // namespace

void registerConversationBenchmarks() {
    using benchmark::RegisterBenchmark;
    for (const auto agent : allAgents) {
        const auto add = [&](const char* work, const char* what, void (*run)(benchmark::State&, Agent)) {
            const auto name = std::string(work) + '/' + std::string(rawValue(agent)) + '/' + what;
            return RegisterBenchmark(name.c_str(), run, agent)->Unit(benchmark::kMillisecond);
        };
        add("read", "orvel", readWithOrvel);
        add("read", "floor", readWithFloor);
        add("read", "node", readWithNode)->UseManualTime()->Iterations(1);
        add("read", "memory", readMemory)->Iterations(1);
        add("print", "orvel", printLarge)->UseManualTime();
        add("print", "floor", printFloor)->UseManualTime();
        add("print-tiny", "orvel", printTiny);
        add("print-tiny", "node", printTinyWithNode)->UseManualTime()->Iterations(1);
        add("print-tiny", "memory", printTinyMemory)->Iterations(1);
    }
    RegisterBenchmark("discover/orvel", discoverWithOrvel)->Unit(benchmark::kMillisecond);
    RegisterBenchmark("discover/floor", discoverWithFloor)->Unit(benchmark::kMillisecond);
    RegisterBenchmark("discover/memory", discoverMemory)->Iterations(1);
}

void workOnce(const std::vector<std::string>& words) {
    if (words.size() == 3 && words[0] == "read") {
        const auto conversation = TranscriptReader::read(words[2], agentNamed(words[1]).value());
        benchmark::DoNotOptimize(conversation.messages.data());
    } else if (words.size() == 3 && words[0] == "print") {
        readAndPrint(words[2], agentNamed(words[1]).value());
    } else if (words.size() == 2 && words[0] == "discover") {
        const auto& home = words[1];
        benchmark::DoNotOptimize(
            ConversationCatalog::list(AgentFolders::of(home, std::nullopt, std::nullopt, home + "/.config")));
    } else if (words.size() == 2 && words[0] == "pack") {
        packFolder(words[1]);
    } else {
        throw std::invalid_argument("no such work");
    }
}

} // namespace orvel::bench
