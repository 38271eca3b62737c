#include "explore/Exploration.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <system_error>

#include <fmt/format.h>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t keptSteps = 40, keptFailures = 5;
constexpr std::uint64_t shortWork = 100; ///< Steps; swept over at each of them.
constexpr MainLoop::Duration rest = 12s, longestWatch = 3'700s;
/// All waits of a delivery into ChatGPT: for the page and the browser 8 s, of five steps 15 s each, twice
/// 2 s for the question and Send, and for the receipt 30 s, and as much for the reads in between.
constexpr MainLoop::Duration longestConsultation = 170s;

// Tells of every step to whom it concerns, in order: death, harm, judgement, trace.
class RunObserver {
  public:
    RunObserver(ExplorationDesk& desk, SafetyJudge& judge, const FaultPlan& faults)
        : desk(desk), judge(judge), faults(faults), before(desk.desktop.steps.taken()) {
        desk.desktop.steps.observer = [this](SimulatedStep& step) { see(step); };
    }
    ~RunObserver() { desk.desktop.steps.observer = nullptr; }

    void stopFaults() { hasFaults = false; }
    std::uint64_t steps() const { return desk.desktop.steps.taken() - before; }
    std::uint64_t digest() const { return hash; }
    std::vector<SimulatedStep> allSteps() { return std::move(all); }

    std::vector<TraceLine> lastSteps() const {
        std::vector<TraceLine> lines;
        const auto kept = std::min<std::size_t>(seen, keptSteps);
        for (auto i = seen - kept; i < seen; ++i) lines.push_back(ring[i % keptSteps]);
        return lines;
    }

  private:
    void see(SimulatedStep& step) {
        const auto number = step.number - before;
        std::string_view happened;
        if (hasFaults && !desk.isDead())
            for (const auto& fault : faults)
                if (fault.step == number && fault.kind->fits(step)) {
                    strike(*fault.kind, step);
                    happened = fault.kind->name;
                }
        if (desk.isDead()) {
            step.report = AXStatus::apiDisabled;
            step.happens = false;
        } else {
            judge.watch(step);
        }
        if (faults.empty()) {
            all.push_back(step);
            all.back().number = number;
        }
        ring[seen++ % keptSteps] = {number, step.element, step.operation, step.name, happened, step.at};
        digestMore(step.element);
        digestMore(static_cast<std::uint64_t>(step.at.count()));
        digestMore(step.operation.size() + 64 * step.name.size());
    }

    // What happens to the world in the midst of background work waits until the main thread is there for it.
    void strike(const FaultKind& kind, SimulatedStep& step) {
        if (kind.place != FaultPlace::anyStep || !desk.desktop.loop.isElsewhere())
            return kind.happen(desk, step);
        desk.desktop.loop.outside({}, [this, &kind, copy = step]() mutable {
            if (!desk.isDead()) kind.happen(desk, copy);
        });
    }

    void digestMore(std::uint64_t value) { hash = (hash ^ value) * 0x100000001B3; }

    ExplorationDesk& desk;
    SafetyJudge& judge;
    const FaultPlan& faults;
    std::uint64_t before, hash = 0xCBF29CE484222325;
    bool hasFaults = true;
    std::array<TraceLine, keptSteps> ring{};
    std::size_t seen = 0;
    std::vector<SimulatedStep> all;
};

// The same program is not the same everywhere, nor are the platforms.
void chooseHabits(ExplorationDesk& desk, std::uint64_t seed) {
    if (seed == 1) return;
    SimulatedChance chance(seed);
    auto& habits = desk.claude.habits;
    habits.makesNewPages = chance.below(2) == 0;
    habits.hasShellPage = chance.below(2) == 0;
    constexpr std::array labels{"AXTitle", "AXDescription", "AXHelp"};
    habits.sendLabelAttribute = labels[chance.below(3)];
    habits.textShows = habits.writtenShows = std::chrono::milliseconds(chance.below(48));
    habits.sendAppears = std::chrono::milliseconds(chance.below(200));
    habits.sendEnables = std::chrono::milliseconds(chance.below(400));
    habits.receipt = std::chrono::milliseconds(50 + chance.below(3'000));
    habits.leaving = std::chrono::milliseconds(chance.below(500));
    habits.loading = std::chrono::milliseconds(chance.below(500));
    habits.settling = std::chrono::milliseconds(chance.below(2) * chance.below(500));

    auto& accessibility = desk.desktop.accessibility;
    accessibility.supportsReadAhead = chance.below(2) == 0;
    accessibility.supportsSearch = chance.below(2) == 0;
    accessibility.composesWrites = chance.below(2) == 0;
    if (accessibility.composesWrites)
        accessibility.writeTime = std::chrono::milliseconds(15 + chance.below(30));
    accessibility.supportsBatches = chance.below(2) == 0;

    const auto rarely = [&chance] { return chance.below(40) == 0; };
    const auto somewhere = [&chance] {
        return chance.below(2) == 0 ? SimulatedIntruder::first : SimulatedIntruder::last;
    };
    habits.groupsAround = static_cast<int>(chance.below(4));
    habits.sendsWhileReplying = chance.below(4) == 0;
    habits.showsStop = chance.below(3) > 0;
    habits.showsReplyNote = !habits.showsStop || chance.below(2) == 0;
    if (chance.below(2) == 0) habits.attachmentLabel = "notes.txtの添付を削除";
    if (rarely()) habits.page = somewhere();
    if (rarely()) habits.page = somewhere(), habits.pageOrigin = "https://claude.ai.example.net";
    if (rarely()) habits.editor = somewhere();
    if (rarely()) habits.goesElsewhere = ExplorationDesk::third;
    habits.hasDialog = rarely();
    habits.hasTwoSends = rarely();
    habits.sendEnabledIsUnreadable = rarely();
    habits.losesReceipts = rarely();
    habits.ignoresURLs = rarely();

    auto& codex = desk.codexApp.habits;
    constexpr std::array submits{"Send", "Queue", "Steer", "停止"};
    codex.submitLabel = submits[chance.below(submits.size())];
    codex.textShows = habits.textShows, codex.writtenShows = habits.writtenShows;
    codex.copying = std::chrono::milliseconds(5 + chance.below(600));
    codex.reportsMarkedText = chance.below(2) == 0;
    desk.desktop.keyboard.tapSeesPosted = chance.below(2) == 0;
    desk.desktop.keyboard.postedNeedsFocus = chance.below(2) == 0;
    desk.desktop.keyboard.swallowsOnlyReturns = chance.below(2) == 0;
    desk.desktop.keyboard.lateIsRepeat = chance.below(2) == 0;
    if (desk.desktop.keyboard.lateIsRepeat) desk.desktop.keyboard.tapLimit = std::chrono::milliseconds(200);
    auto& pasteboard = desk.desktop.pasteboard;
    pasteboard.holdsOneItem = chance.below(2) == 0;
    if (pasteboard.holdsOneItem && pasteboard.contents().size() > 1)
        pasteboard.copiedElsewhere({pasteboard.contents().front()});
}

// Without what is another in every run: the folder, and the identifiers of the attempts.
std::string without(const std::string& folder, std::string text) {
    for (auto at = text.find(folder); at != text.npos; at = text.find(folder, at))
        text.erase(at, folder.size());
    return text;
}

std::string withoutIdentifiers(std::string text, const std::string& folder) {
    text = without(folder, std::move(text));
    text = text.substr(0, text.find("\nattempt="));
    return text.substr(0, text.find("\ntransfer="));
}

// Its contents in a number; what stands in Codex's files bears the times at which it came there.
std::size_t digestOf(const std::string& path, const std::string& folder) {
    std::ifstream file(path, std::ios::binary);
    return std::hash<std::string>()(without(folder, {std::istreambuf_iterator<char>(file), {}}));
}

void judgeEnding(const Scenario& scenario, RunResult& result) {
    const bool isDelivered = scenario.afterwards || scenario.ending == Ending::received;
    if (result.isReceived != isDelivered || result.isRetryOffered != (scenario.ending == Ending::refused))
        result.broken.push_back({Rule::endsAsItShould, result.isReceived ? "received" : "not received"});
    if (result.failure.find(scenario.says) == std::string::npos)
        result.broken.push_back({Rule::endsAsItShould, "says something else"});
}

std::string inWords(const RunPlan& plan) {
    auto text = fmt::format("scenario “{}”, seed {}", plan.scenario->name, plan.seed);
    for (const auto& fault : plan.faults)
        text += fmt::format(", “{}” at step {}", fault.kind->name, fault.step);
    return text;
}

} // namespace

std::string inWords(const TraceLine& line) {
    return fmt::format("  {:>6} {:>9.3f} ms  {} {}{}{}", line.number,
                       std::chrono::duration<double, std::milli>(line.at).count(), line.operation, line.name,
                       line.element ? fmt::format(" of {}", line.element) : "",
                       line.fault.empty() ? "" : fmt::format("   <- {}", line.fault));
}

void ExplorationReport::add(const RunPlan& plan, const RunResult& result) {
    ++runs;
    steps += result.steps;
    faults += plan.faults.size();
    auto& hold = plan.scenario->destination == chatGPTPage ? longestBrowserHold : longestHold;
    hold = std::max(hold, result.longestHold);
    longestOwnHold = std::max(longestOwnHold, result.longestOwnHold);
    longestKeyWait = std::max(longestKeyWait, result.longestKeyWait);
    if (result.isReceived) ++received;
    if (result.isRetryOffered) ++retriesOffered;
    std::set<Rule> rules;
    for (const auto& each : result.broken) rules.insert(each.rule);
    bool isNew = false;
    for (const auto rule : rules) isNew = broken[rule]++ == 0 || isNew;
    if (rules.empty() || (++failed > keptFailures && !isNew)) return;
    auto text = inWords(plan) + "\n";
    for (const auto& [rule, detail] : result.broken)
        text += fmt::format("broken: {} ({})\n", nameOf(rule), detail);
    if (!result.failure.empty()) text += "Orvel says: " + result.failure + "\n";
    text += "the last steps:\n";
    for (const auto& line : result.lastSteps) text += inWords(line) + "\n";
    failures.push_back(std::move(text));
}

void ExplorationReport::add(const ExplorationReport& other) {
    runs += other.runs;
    steps += other.steps;
    faults += other.faults;
    longestHold = std::max(longestHold, other.longestHold);
    longestBrowserHold = std::max(longestBrowserHold, other.longestBrowserHold);
    longestOwnHold = std::max(longestOwnHold, other.longestOwnHold);
    longestKeyWait = std::max(longestKeyWait, other.longestKeyWait);
    received += other.received;
    retriesOffered += other.retriesOffered;
    failures.insert(failures.end(), other.failures.begin(), other.failures.end());
    failed += other.failed;
    for (const auto& [rule, count] : other.broken) broken[rule] += count;
    for (const auto& [kind, effect] : other.effects) {
        effects[kind].runs += effect.runs;
        effects[kind].changed += effect.changed;
    }
}

std::vector<std::string_view> ExplorationReport::idleFaults() const {
    std::vector<std::string_view> idle;
    for (const auto& [kind, effect] : effects)
        if (effect.changed == 0) idle.push_back(kind);
    return idle;
}

Exploration::Exploration() {
    std::error_code absent;
    const auto inMemory = std::filesystem::is_directory("/dev/shm", absent);
    folder = (inMemory ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path()) /
             "orvel-explore-XXXXXX";
    if (!mkdtemp(folder.data())) throw std::system_error(errno, std::generic_category(), folder);
}

Exploration::~Exploration() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

RunResult Exploration::run(const RunPlan& plan) {
    const auto& scenario = *plan.scenario;
    ExplorationDesk desk(folder);
    chooseHabits(desk, plan.seed);
    desk.desktop.accessibility.chance = SimulatedChance(plan.seed);
    scenario.prepare(desk);
    desk.boot();

    SafetyJudge judge(desk, scenario);
    for (const auto& fault : plan.faults)
        if (fault.kind->name.starts_with("delay") || fault.kind->name.starts_with("Codex answers"))
            judge.ignoreTimes();

    RunResult result;
    RunObserver observer(desk, judge, plan.faults);
    const auto readsBefore = desk.desktop.accessibility.reads();
    const auto began = desk.desktop.loop.uptime();
    const bool ended = desk.perform(scenario.work);
    const auto duration = desk.desktop.loop.uptime() - began;
    if (scenario.destination == chatGPTPage && duration > longestConsultation)
        judge.fail(Rule::restsWithinBounds, "took longer than all its waits");
    if (!desk.isDead()) desk.desktop.loop.runUntil([&] { return desk.isDead(); }, scenario.watching);
    result.steps = observer.steps();
    result.reads = desk.desktop.accessibility.reads() - readsBefore;
    result.lastSteps = observer.lastSteps();
    result.allSteps = observer.allSteps();
    result.longestHold = desk.desktop.loop.longestHold().duration;
    result.longestOwnHold = desk.desktop.loop.busiestHold().own();
    result.longestKeyWait = desk.desktop.keyboard.longestWait();

    // The faults stop; what they left stays.
    observer.stopFaults();
    desk.desktop.accessibility.trusted = true;
    desk.desktop.files.isFull = false;
    desk.desktop.files.duration = ExplorationDesk::savingTime;
    if (desk.isDead()) {
        desk.bootAgain();
        judge.watchProcess();
    }
    result.failure = desk.orvel->startFailure.value_or(
        desk.orvel->report.value_or(desk.model().notices.error().value_or("")));
    if (const auto& refusal = desk.orvel->refusal) result.failure = refusal->what();
    desk.model().receipts.startReceiptPolling();
    desk.desktop.loop.runFor(rest);
    if (const auto pending = desk.model().workspace.relay().pendingTransfer())
        result.isRetryOffered = desk.model().outbox.state().mayRetry(*pending);
    if (const auto initial = desk.model().workspace.relay().activeInitial())
        result.isRetryOffered = initial->retryable == true;
    if (scenario.destination == chatGPTPage) result.isRetryOffered = judge.mayAskAgain();
    if (scenario.afterwards) {
        scenario.afterwards(desk, judge);
        desk.desktop.loop.runFor(rest);
    }
    desk.desktop.loop.runUntil([&] { return desk.isIdle() && desk.isAlone(); }, longestWatch);
    judge.finish();
    result.isReceived = judge.isReceived();
    result.trace = observer.digest();
    result.broken = judge.broken();
    if (!ended) result.broken.push_back({Rule::comesToRest, "the work did not end"});
    if (plan.faults.empty() && plan.seed == 1) {
        judgeEnding(scenario, result);
        if (!judge.isWorkedOff())
            result.broken.push_back({Rule::endsAsItShould, "the command was not worked off"});
    }
    result.outcome =
        fmt::format("{} {} {} {}|{}|{}|{} {} {} {} {}", result.isReceived, result.isRetryOffered,
                    duration / 100ms, withoutIdentifiers(result.failure, folder), desk.claude.editorText(),
                    desk.codexApp.editorText(), desk.codexApp.deeds().size(), desk.claude.deeds().size(),
                    digestOf(desk.codexTranscriptPath(), folder), digestOf(desk.codexQueuePath(), folder),
                    digestOf(desk.claudeCode.transcriptPath(desk.claudeCodeSession), folder));
    result.outcome += fmt::format(" {}", desk.model().ledger.state().relayState->transfers.size());
    for (const auto& deed : desk.dia.deeds())
        result.outcome += " " + without(folder, deed.before + deed.after);
    for (const auto& id : desk.newWithCodex())
        if (const auto thread = SampleCodexHome(folder + "/home/.codex").thread(id))
            result.outcome += fmt::format(" {}", digestOf(thread->path, folder));
    return result;
}

std::uint64_t Exploration::stepsOf(const Scenario& scenario) {
    auto& count = stepCounts[scenario.name];
    if (count == 0) count = run({&scenario, {}, 1}).steps;
    return count;
}

ExplorationReport Exploration::sweep(const Scenario& scenario, std::uint64_t stride, std::uint64_t first) {
    ExplorationReport report;
    const RunPlan undisturbed{&scenario, {}, 1};
    const auto plain = run(undisturbed);
    report.add(undisturbed, plain);
    const bool isShort = plain.steps < shortWork;
    const bool sweepsWrites = !scenario.isVariant || stride == 1;
    stride = isShort ? 1 : stride * scenario.coarseness;
    if (isShort) first = 1;
    if (stopsWhenBroken && report.failed > 0) return report;
    for (const auto& step : plain.allSteps) {
        const bool isDue = step.number >= first && (step.number - first) % stride == 0;
        if (!isDue && !(step.isWrite && sweepsWrites)) continue;
        for (const auto& kind : allFaults()) {
            if (onlyFault && onlyFault != &kind) continue;
            if (!kind.fits(scenario.places()) || !kind.fits(step)) continue;
            const RunPlan plan{&scenario, {{&kind, step.number}}, 1};
            const auto result = run(plan);
            report.add(plan, result);
            ++report.effects[kind.name].runs;
            if (result.outcome != plain.outcome) ++report.effects[kind.name].changed;
            if (stopsWhenBroken && report.failed > 0) return report;
        }
    }
    return report;
}

RunPlan Exploration::mixture(std::uint64_t seed) {
    SimulatedChance chance(seed * 2 + 1);
    const auto scenarios = allScenarios();
    RunPlan plan{.scenario = &scenarios[chance.below(scenarios.size())], .seed = seed};
    if (chance.below(plan.scenario->coarseness) > 0) plan.scenario = &scenarios.front();
    const auto steps = stepsOf(*plan.scenario);
    // Some kinds are switched off, so that the others meet.
    std::vector<const FaultKind*> kinds;
    for (const auto& kind : allFaults())
        if (kind.fits(plan.scenario->places()) && chance.below(3) == 0) kinds.push_back(&kind);
    if (kinds.empty() || steps == 0) return plan; // Some work is refused before its first step.
    for (auto count = 1 + chance.below(4); count > 0; --count)
        plan.faults.push_back({kinds[chance.below(kinds.size())], 1 + chance.below(steps)});
    return plan;
}

ExplorationReport Exploration::mix(std::uint64_t first, std::uint64_t count) {
    ExplorationReport report;
    for (auto seed = first; seed < first + count; ++seed) {
        const auto plan = mixture(seed);
        report.add(plan, run(plan));
        if (stopsWhenBroken && report.failed > 0) break;
    }
    return report;
}

} // namespace orvel::explore
