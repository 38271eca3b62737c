// Explores what can go wrong in a delivery, and prints what it did.

#include "explore/Exploration.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace {

using namespace orvel::explore;

constexpr auto usage =
    "orvel-explore [OPTION...]\n"
    "Runs every scenario with every fault at every step, then seeded mixtures of faults.\n\n"
    "  --scenario NAME   only this one; without mixtures unless --seed or --mixtures is there\n"
    "  --stride N        only every Nth step\n"
    "  --mixtures N      so many mixtures (20000)\n"
    "  --seed N          only the mixture of this seed, with its last steps\n"
    "  --fault NAME      only this kind of fault; with --step N of a scenario this one run, with its last "
    "steps\n"
    "  --until-broken    end with the first run that breaks a rule\n"
    "  --document FILE   write what a whole run came to between the marks in this document\n"
    "  --list            name the scenarios, the faults and the rules\n";

struct Options {
    std::string_view scenario, fault, document;
    std::uint64_t stride = 1, step = 0;
    std::optional<std::uint64_t> seed, mixtures;
    bool lists = false, untilBroken = false;
};

std::optional<Options> parsed(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view name = arguments[i];
        if (name == "--list" || name == "--until-broken") {
            (name == "--list" ? options.lists : options.untilBroken) = true;
            continue;
        }
        if (i + 1 == count) return std::nullopt;
        const char* value = arguments[++i];
        const auto number = std::strtoull(value, nullptr, 10);
        if (name == "--scenario")
            options.scenario = value;
        else if (name == "--document")
            options.document = value;
        else if (name == "--fault")
            options.fault = value;
        else if (name == "--stride" && number > 0)
            options.stride = number;
        else if (name == "--step")
            options.step = number;
        else if (name == "--seed")
            options.seed = number;
        else if (name == "--mixtures")
            options.mixtures = number;
        else
            return std::nullopt;
    }
    return options;
}

void list() {
    for (const auto& scenario : allScenarios())
        fmt::print("scenario {:<18} {}\n", scenario.name, scenario.about);
    for (const auto& kind : allFaults()) fmt::print("fault    {}\n", kind.name);
    for (const auto& rule : allRules()) fmt::print("rule     {:<35} {}\n", rule.name, rule.sentence);
}

double milliseconds(std::chrono::nanoseconds duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

void print(std::string_view name, const ExplorationReport& report, double seconds) {
    fmt::print(
        "{:<18} {:>8} runs {:>8} received {:>8} retries offered {:>7} broken   longest hold {:.1f} ms, "
        "without slow calls {:.1f} ms, longest wait of a key {:.1f} ms   {:.0f} runs a minute\n",
        name, report.runs, report.received, report.retriesOffered, report.failed,
        milliseconds(report.longestHold), milliseconds(report.longestOwnHold),
        milliseconds(report.longestKeyWait), static_cast<double>(report.runs) / seconds * 60);
    for (const auto& [rule, count] : report.broken) fmt::print("  {} runs broke: {}\n", count, nameOf(rule));
    for (const auto& failure : report.failures) fmt::print("{}\n", failure);
    std::fflush(stdout);
}

template <typename Work>
ExplorationReport timed(std::string_view name, Work work) {
    const auto began = std::chrono::steady_clock::now();
    auto report = work();
    print(name, report, std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
    return report;
}

int runOne(Exploration& exploration, const RunPlan& plan) {
    const auto result = exploration.run(plan);
    ExplorationReport report;
    report.add(plan, result);
    print("one run", report, 1);
    if (report.failures.empty())
        for (const auto& line : result.lastSteps) fmt::print("{}\n", inWords(line));
    fmt::print("{} steps, {} accessibility reads, trace {:016x}\n{}\n", result.steps, result.reads,
               result.trace, result.failure);
    return report.failed ? 1 : 0;
}

// The figures of a document, which nobody writes by hand. False if it has no place for them.
bool document(const std::string& path, const ExplorationReport& all, const Options& options,
              std::uint64_t mixtures) {
    constexpr std::string_view begin = "<!-- figures of a whole run -->\n", end = "<!-- end -->";
    std::ifstream file(path);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto from = text.find(begin), to = text.find(end, from);
    if (from == text.npos || to == text.npos) {
        fmt::print(stderr, "There are no marks in {}.\n", path);
        return false;
    }
    text.replace(
        from + begin.size(), to - from - begin.size(),
        fmt::format(
            "A run of {} scenarios, {} of each, and {} mixtures: {} runs with {} kinds of "
            "faults, judged by {} rules, of which {} were broken.\nThe longest hold was {:.0f} ms, and "
            "{:.1f} ms without slow calls; the longest wait of a key was {:.0f} ms.\n",
            allScenarios().size(),
            options.stride == 1 ? "at every step" : fmt::format("at one step in {}", options.stride),
            mixtures, all.runs, allFaults().size(), allRules().size(), all.broken.size(),
            milliseconds(all.longestHold), milliseconds(all.longestOwnHold),
            milliseconds(all.longestKeyWait)));
    return static_cast<bool>(std::ofstream(path) << text);
}

int exploreAll(Exploration& exploration, const Options& options) {
    ExplorationReport all;
    const auto began = std::chrono::steady_clock::now();
    for (const auto& scenario : allScenarios()) {
        if (!options.scenario.empty() && scenario.name != options.scenario) continue;
        const auto plain = exploration.run({&scenario, {}, 1});
        fmt::print("{}: {}; {} steps, {} accessibility reads; {}\n", scenario.name, scenario.about,
                   plain.steps, plain.reads, plain.isReceived ? "received" : "not received");
        all.add(timed(scenario.name, [&] { return exploration.sweep(scenario, options.stride); }));
        if (options.untilBroken && all.failed > 0) return 1;
    }
    const bool isWhole = options.scenario.empty() && options.fault.empty();
    const auto mixtures = options.mixtures.value_or(isWhole ? 20'000 : 0);
    if (mixtures > 0) all.add(timed("mixtures", [&] { return exploration.mix(2, mixtures); }));
    fmt::print("\n{} scenarios, {} kinds of faults, {} rules\n", allScenarios().size(), allFaults().size(),
               allRules().size());
    for (const auto& [kind, effect] : all.effects)
        fmt::print("“{}” changed the outcome of {} in {} runs\n", kind, effect.changed, effect.runs);
    const auto idle = isWhole ? all.idleFaults() : std::vector<std::string_view>();
    for (const auto& kind : idle) fmt::print("“{}” never changed anything.\n", kind);
    all.failures.clear(); // They have been printed.
    print("all", all, std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
    const bool isWritten = !isWhole || options.document.empty() ||
                           document(std::string(options.document), all, options, mixtures);
    return all.failed || !idle.empty() || !isWritten ? 1 : 0;
}

} // namespace

int main(int count, char** arguments) {
    const auto options = parsed(count, arguments);
    const auto* scenario = options ? scenarioNamed(options->scenario) : nullptr;
    const auto* fault = options ? faultNamed(options->fault) : nullptr;
    if (!options || (!options->scenario.empty() && !scenario) || (!options->fault.empty() && !fault) ||
        (options->step > 0 && (!scenario || !fault))) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (options->lists) {
        list();
        return 0;
    }
    Exploration exploration;
    exploration.stopsWhenBroken = options->untilBroken;
    if (options->seed) return runOne(exploration, exploration.mixture(*options->seed));
    if (options->step > 0) return runOne(exploration, {scenario, {{fault, options->step}}, 1});
    exploration.onlyFault = fault;
    return exploreAll(exploration, *options);
}
