#include "Orvel/monitor/GoogleJapaneseInput.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/monitor/InputState.h"
#include "OrvelCore/composers/DiagnosticSummary.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"

#include <utility>

namespace orvel {

namespace {

using namespace GoogleIMEWindowPolicy;
using DiagnosticSummary::observed;

std::string_view orEmpty(const std::optional<std::string>& text) {
    return text ? std::string_view(*text) : std::string_view();
}

} // namespace

GoogleJapaneseInput::GoogleJapaneseInput(const ChangeSignal& changes, const GoogleJapaneseInputNeeds& needs)
    : needs(needs),
      fresh(needs.loop, needs.windows, needs.sideQueue),
      background(needs.loop, needs.windows, needs.sideQueue),
      commandReport(changes, DiagnosticText("Not observed")) {}

std::optional<DiagnosticText> GoogleJapaneseInput::incompatibility(Agent agent) {
    const bool isCodex = agent == Agent::codex;
    const auto profile = isCodex ? Profile::codex : Profile::claudeCode;
    const auto target = needs.targetVersion(agent);
    const auto selected = needs.inputSources.current();
    const auto source = selected.value_or(InputSource{});
    const auto layout = needs.inputSources.currentLayoutID();
    const Setting setting{orEmpty(target),      orEmpty(source.id), orEmpty(source.mode),
                          orEmpty(source.type), orEmpty(version),   orEmpty(layout)};

    if (!isSupported(profile, setting.targetVersion))
        return DiagnosticText::of("{} version does not match supported requirements (observed: {}).", agent,
                                  observed(target));
    if (setting.imeVersion != supportedIMEVersion)
        return DiagnosticText::of("Couldn't verify the Google Japanese Input version (observed: {}).",
                                  observed(version));
    if (!knownJapaneseSourceID(selected))
        return DiagnosticText("The input method at Return does not match supported Google Hiragana input.");
    if (!isCompatible(profile, setting))
        return DiagnosticText::of("Couldn't verify an ABC/US input method layout (observed: {}).",
                                  observed(layout));
    if (!isCodex) return std::nullopt;
    const auto failure = needs.codexReturnFailure();
    return failure ? std::optional(DiagnosticText(*failure)) : std::nullopt;
}

std::optional<GoogleJapaneseInput::Sample> GoogleJapaneseInput::look(MainLoop::Duration most) {
    return fresh.readFresh(secondsOf(most));
}

void GoogleJapaneseInput::refresh() {
    const auto running = needs.applications.running(imeBundleID);
    const auto bundle = running.empty() ? needs.applications.bundleAt(imePath)
                                        : needs.applications.bundleOf(running.front().process);
    version = bundle ? bundle->shortVersion : std::nullopt;

    const auto front = needs.applications.frontmost();
    if (front && OrvelCommandPolicy::source(front->bundleID) &&
        knownJapaneseSourceID(needs.inputSources.current()))
        tasks.start(sample());
}

void GoogleJapaneseInput::observe() {
    commandReport =
        DiagnosticText::of("Latest observation before Return: {}\nAfter Return: Waiting for read", latest());
    tasks.start(sampleBeside(commands.renew()));
}

void GoogleJapaneseInput::stop() {
    commands.renew();
    lastSample.reset();
}

DiagnosticText GoogleJapaneseInput::latest() const {
    return lastSample ? lastSample->summary(secondsOf(needs.loop.uptime())) : DiagnosticText("Not observed");
}

DiagnosticText GoogleJapaneseInput::claudeDescription() {
    if (const auto failure = incompatibility(Agent::claude))
        return DiagnosticText::of("Claude Code Japanese input: {}", *failure);
    return {"Claude Code version and Japanese input method match (conversation and candidates are rechecked "
            "on Return)"};
}

Task<void> GoogleJapaneseInput::sample() {
    const auto generation = commands.current();
    const auto found = co_await background.read();
    if (found && commands.isCurrent(generation)) lastSample = found;
}

Task<void> GoogleJapaneseInput::sampleBeside(Generation::Value command) {
    const auto found = co_await background.read();
    if (!commands.isCurrent(command)) co_return;
    if (!found) {
        commandReport = DiagnosticText::of("Latest observation before Return: {}\nAfter Return: Unavailable "
                                           "(previous diagnostic read in progress)",
                                           latest());
        co_return;
    }
    auto report = commandReport.get();
    report += DiagnosticText::of("\nAsynchronous observation after Return: {}",
                                 found->summary(secondsOf(needs.loop.uptime())));
    commandReport = std::move(report);
}

} // namespace orvel
