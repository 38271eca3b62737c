// What it costs to pack a repository of 10,000 files, and to see whether a ZIP is still the same.

#include "bench/ArchiveBench.h"

#include "Orvel/consultation/ChatGPTRepositoryArchive.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/zip/LibzipArchives.h"
#include "OrvelCore/text/Digest.h"
#include "bench/ChildProcess.h"
#include "tests/Finish.h"
#include "tests/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace orvel::bench {
namespace {

namespace fs = std::filesystem;

constexpr int fileCount = 10'000;
constexpr std::size_t fileSize = 10'000;
constexpr std::size_t zipSize = 100'000'000;

struct World {
    PollLoop loop;
    PosixProcesses processes{loop, loop};
    LibzipArchives zipArchives{loop};
};

Task<void> packIn(World& world, std::string folder, std::string output) {
    const ChatGPTRepositoryArchive::Ports ports{world.loop, world.processes, world.zipArchives};
    const ChatGPTRepositoryArchive::Control control;
    auto packing = ChatGPTRepositoryArchive::prepare(ports, folder, output, control);
    const auto archive = co_await packing;
    if (archive.fileCount != fileCount) throw std::runtime_error("not all files were packed");
    auto discarding = archive.discard(world.loop);
    co_await discarding;
}

// Words that compress about as sources do, the same in every run.
std::string sourceText(std::minstd_rand& random) {
    static constexpr std::array words{"return", "const", "auto", "the",         "of",
                                      "folder", "=",     "+",    "std::string", "\n"};
    std::string text;
    while (text.size() < fileSize) {
        text += words[random() % words.size()];
        text += random() % 3 ? " " : fmt::format("{:x} ", random() % 100'000);
    }
    text.resize(fileSize);
    return text;
}

// A git work tree in which all files are tracked.
class Repository {
  public:
    Repository() {
        std::minstd_rand random(1);
        for (int i = 0; i < fileCount; ++i)
            folder.write(fmt::format("code/{}/{}/file{}.cpp", i / 1'000, i / 50, i), sourceText(random));
        outputOf({"sh", "-c", "cd \"" + path() + "\" && git init -q . && git add -A"});
    }

    std::string path() const { return folder.path("code"); }
    std::string output() const { return folder.path("out"); }

  private:
    TemporaryFolder folder;
};

const Repository& repository() {
    static const Repository made;
    return made;
}

// A ZIP cannot be compressed again, so any bytes stand for it.
class LargeZip {
  public:
    LargeZip() {
        std::minstd_rand random(1);
        bytes.resize(zipSize);
        for (auto& byte : bytes) byte = static_cast<char>(random() >> 8);
        archive.fileURL = folder.write("large.zip", bytes);
        archive.sha256 = sha256Hex({bytes});
        archive.archiveByteCount = zipSize;
    }

    std::string bytes;
    ChatGPTRepositoryArchive archive;

  private:
    TemporaryFolder folder;
};

const LargeZip& largeZip() {
    static const LargeZip made;
    return made;
}

void packing(benchmark::State& state) {
    const auto& source = repository();
    World world;
    for (auto _ : state) finish(world.loop, packIn(world, source.path(), source.output()));
}
BENCHMARK(packing)->Name("archive/pack")->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

void packingWithTools(benchmark::State& state) {
    const auto& source = repository();
    const auto zip = source.path() + ".zip";
    for (auto _ : state) {
        outputOf({"sh", "-c", "cd \"" + source.path() + "\" && git ls-files | zip -q -@ \"" + zip + "\""});
        fs::remove(zip);
    }
}
BENCHMARK(packingWithTools)
    ->Name("archive/tools")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void memoryOfPacking(benchmark::State& state) {
    for (auto _ : state)
        state.counters["megabytes"] =
            std::stod(outputOf({thisProgram(), "--once", "pack", repository().path()})) / 1e6;
}
BENCHMARK(memoryOfPacking)->Name("archive/memory")->Iterations(1);

void verifying(benchmark::State& state) {
    const auto& zip = largeZip();
    World world;
    for (auto _ : state) finish(world.loop, zip.archive.verifyUnchanged(world.loop));
}
BENCHMARK(verifying)->Name("archive/verify")->UseRealTime()->Unit(benchmark::kMillisecond);

void hashing(benchmark::State& state) {
    const auto& zip = largeZip();
    for (auto _ : state) benchmark::DoNotOptimize(sha256Hex({zip.bytes}));
}
BENCHMARK(hashing)->Name("archive/sha256")->UseRealTime()->Unit(benchmark::kMillisecond);

double processorTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Between two turns of a probe the time on the processor counts, since a late wake-up of an idle loop is no
// hold.
void holding(benchmark::State& state) {
    const auto& zip = largeZip();
    World world;
    for (auto _ : state) {
        double longest = 0, last = processorTime();
        std::unique_ptr<Timer> next;
        const std::function<void()> probe = [&] {
            longest = std::max(longest, processorTime() - last);
            last = processorTime();
            next = world.loop.after(std::chrono::microseconds(200), probe);
        };
        probe();
        finish(world.loop, zip.archive.verifyUnchanged(world.loop));
        state.SetIterationTime(longest);
    }
}
BENCHMARK(holding)->Name("archive/hold")->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

void packFolder(const std::string& folder) {
    World world;
    finish(world.loop, packIn(world, folder, folder + "-out"));
}

} // namespace orvel::bench
