#include "Orvel/monitor/EditorPreparation.h"

#include "Orvel/monitor/TimedReads.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

#include <chrono>
#include <cmath>
#include <utility>

namespace orvel {

namespace {

using Action = AccessibilityPreparation::Action;

constexpr std::chrono::milliseconds readTimeout{100};

bool isOf(const std::optional<RunningApplication>& application, Agent agent) {
    return application && application->bundleID == OrvelCommandPolicy::bundleID(agent);
}

} // namespace

EditorPreparation::EditorPreparation(const ChangeSignal& changes, const EditorPreparationNeeds& needs)
    : needs(needs), descriptionField(changes) {
    describeEditors();
}

void EditorPreparation::prepare() {
    const auto foreground = needs.applications.frontmost();
    for (const auto agent : allAgents) prepare(agent, foreground);
    describeEditors();
}

void EditorPreparation::prepare(Agent agent, const std::optional<RunningApplication>& foreground) {
    auto application = foreground;
    if (!isOf(foreground, agent)) {
        const auto running = needs.applications.running(std::string(OrvelCommandPolicy::bundleID(agent)));
        application = running.empty() ? std::nullopt : std::optional(running.front());
    }
    auto& editor = editors[agent];
    if (!application) {
        const bool isInFlight = editor.isInFlight;
        editor = {.isInFlight = isInFlight};
        editor.description = FixedWords("Waiting for app launch");
        versions.erase(agent);
        return;
    }
    const auto process = application->process;
    if (const auto bundle = needs.applications.bundleOf(process))
        versions[agent] = bundle->shortVersion.value_or(std::string(unknownVersion));
    editor.observed = process;
    if (!editor.isInFlight) begin(agent, process);
}

// What is due now for an application of which nothing is under way.
void EditorPreparation::begin(Agent agent, ProcessID process) {
    auto& editor = editors[agent];
    const auto now = secondsOf(needs.loop.uptime());
    const auto action = editor.schedule.action(process, now);
    if (action == Action::none) return;
    // It may wait for the person for hours, and no screen needs to be told of each attempt.
    const bool isAwaitingRestart = editor.toRestart == process;
    if (isAwaitingRestart) editor.description = FixedWords("Waiting for the application to be restarted");
    if (isAwaitingRestart && action == Action::wait) return;
    if (action == Action::wait) {
        const auto seconds = std::ceil(editor.schedule.remainingWait(process, now));
        editor.description =
            DiagnosticText::of("Waiting for preparation (attempt {}, read check in {} seconds, {})",
                               editor.schedule.attemptCount, static_cast<int>(seconds),
                               editor.result.value_or(FixedWords("Waiting for setting result")));
        return;
    }
    if (action == Action::request) {
        editor.schedule.recordRequest(process, now);
        if (!isAwaitingRestart)
            editor.description =
                DiagnosticText::of("Preparing AX exposure (attempt {})", editor.schedule.attemptCount);
    } else if (!isAwaitingRestart) {
        editor.description = FixedWords("Checking editor readability");
    }
    editor.isInFlight = true;
    tasks.start(perform(agent, process, action == Action::request));
}

Task<void> EditorPreparation::perform(Agent agent, ProcessID process, bool isRequest) {
    const auto begun = generation;
    const auto reading = [&accessibility = needs.accessibility, process, isRequest] {
        return read(accessibility, process, isRequest);
    };
    Outcome outcome;
    try {
        outcome = co_await needs.loop.background(reading);
    } catch (const std::exception&) {
        outcome.details = FixedWords("Read could not be started");
    }
    if (begun == generation) finish(agent, process, isRequest, outcome);
}

// On another thread.
EditorPreparation::Outcome EditorPreparation::read(Accessibility& accessibility, ProcessID process,
                                                   bool isRequest) {
    DiagnosticText notes;
    const auto application = accessibility.application(process);
    accessibility.setMessagingTimeout(application, readTimeout);
    if (isRequest) {
        const auto status = accessibility.setAttribute(application, "AXManualAccessibility", true);
        notes += DiagnosticText::of("AX exposure settings={}", numberOf(status));
        if (status == AXStatus::success) return {.details = notes}; // The elements need time to appear.
        if (status == AXStatus::needsRestart) return {.needsRestart = true, .details = notes};
        notes += FixedWords(", ");
    }
    const auto focus = accessibility.attribute(application, "AXFocusedUIElement");
    notes += DiagnosticText::of("Focus read={}", numberOf(focus.status));
    const auto* focused = focus.as<AXElement>();
    if (!focused) return {.details = notes};
    accessibility.setMessagingTimeout(*focused, readTimeout);
    const auto role = accessibility.attribute(*focused, "AXRole");
    const auto* name = role.as<std::string>();
    notes += DiagnosticText::of(", Role read={}/{}", numberOf(role.status),
                                DiagnosticSummary::role(name ? std::optional(*name) : std::nullopt));
    return {.isReadable = name != nullptr, .details = notes};
}

void EditorPreparation::finish(Agent agent, ProcessID process, bool isRequest, const Outcome& outcome) {
    auto& editor = editors[agent];
    editor.isInFlight = false;
    const bool isCurrent = editor.observed == process &&
                           isOf(needs.applications.application(process), agent) &&
                           editor.schedule.isCurrent(process);
    if (!isCurrent) return;
    editor.result = outcome.details;
    if (outcome.isReadable || (isRequest && !outcome.needsRestart))
        editor.toRestart.reset();
    else if (outcome.needsRestart && editor.schedule.attemptCount > 1)
        editor.toRestart = process;
    if (outcome.isReadable || !isRequest) editor.schedule.recordProbe(process, outcome.isReadable);
    if (outcome.isReadable)
        editor.description = DiagnosticText::of("Read verified ({})", outcome.details);
    else if (editor.toRestart == process)
        editor.description = FixedWords("Waiting for the application to be restarted");
    else if (isRequest)
        editor.description =
            DiagnosticText::of("Waiting for preparation (attempt {}, read check in 3 seconds, {})",
                               editor.schedule.attemptCount, outcome.details);
    else
        editor.description = DiagnosticText::of("Read unverified; waiting to retry ({})", outcome.details);
    describeEditors();
}

void EditorPreparation::stop() {
    editors.clear();
    ++generation;
    descriptionField.update(DiagnosticText("Codex / Claude editor read preparation: Monitoring stopped"));
}

std::optional<ProcessID> EditorPreparation::readyProcess(Agent agent) const {
    const auto editor = editors.find(agent);
    return editor == editors.end() ? std::nullopt : editor->second.schedule.readyPID;
}

bool EditorPreparation::needsRestart(Agent agent) const {
    const auto editor = editors.find(agent);
    return editor != editors.end() && editor->second.toRestart &&
           editor->second.toRestart == editor->second.observed;
}

std::optional<std::string> EditorPreparation::targetVersion(Agent agent) const {
    const auto version = versions.find(agent);
    return version == versions.end() ? std::nullopt : std::optional(version->second);
}

void EditorPreparation::describeEditors() {
    DiagnosticText lines;
    for (const auto agent : allAgents) {
        if (!lines.text().empty()) lines += FixedWords("\n");
        lines += DiagnosticText::of("{}: {}", agent,
                                    editors[agent].description.value_or(FixedWords("Not attempted")));
    }
    descriptionField.update(std::move(lines));
}

} // namespace orvel
