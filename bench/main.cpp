// orvel-bench: Google Benchmark's program with Orvel's benchmarks. With "--once WORK..." it does one piece of
// work and prints the peak of its memory in bytes.

#include "bench/ChildProcess.h"
#include "bench/ConversationBench.h"
#include "bench/WindowBench.h"

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <QApplication>
#include <benchmark/benchmark.h>

int main(int argc, char** argv) try {
    if (argc > 1 && std::string_view(argv[1]) == "--once") {
        const std::vector<std::string> words(argv + 2, argv + argc);
        if (words.size() == 3 && words[0] == "window")
            orvel::bench::startWindowOnce(words[1], std::stod(words[2]));
        else
            orvel::bench::workOnce(words);
        std::printf("%.0f\n", orvel::bench::peakMemory());
        return 0;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    orvel::bench::registerConversationBenchmarks();
    orvel::bench::registerWindowBenchmarks();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "orvel-bench: %s\n", failure.what());
    return 1;
}
