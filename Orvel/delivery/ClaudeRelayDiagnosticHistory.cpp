#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvel {

namespace {

using Stage = ClaudeRelayDiagnosticHistory::Stage;

FixedWords nameOf(Stage stage) {
    switch (stage) {
    case Stage::launch: return "launch";
    case Stage::sourceRoute: return "sourceRoute";
    case Stage::sourceSnapshot: return "sourceSnapshot";
    case Stage::navigationOpen: return "navigationOpen";
    case Stage::navigationWait: return "navigationWait";
    case Stage::targetSnapshot: return "targetSnapshot";
    case Stage::targetRecheck: return "targetRecheck";
    case Stage::insertion: return "insertion";
    case Stage::submission: break;
    }
    return "submission";
}

template <typename T>
DiagnosticText orUnread(const std::optional<T>& value) {
    return value ? DiagnosticText(*value) : FixedWords("Unread");
}

} // namespace

DiagnosticText ClaudeRelayDiagnosticHistory::Attempt::line() const {
    return DiagnosticText::of(
        "transfer={} attempt={} stage={} readiness_reads={} elapsed_ms={} route_same={} pages={} "
        "code_pages={} front={} editors={} parent_depth={} AX={} result={}",
        transferID, attemptID, nameOf(stage), readinessReads, elapsedMilliseconds, orUnread(routeMatches),
        orUnread(pages), orUnread(codePages), front, orUnread(editors), orUnread(parents),
        axFailure.value_or(FixedWords("No failure recorded")), outcome);
}

void ClaudeRelayDiagnosticHistory::begin(std::string_view transferID, std::string_view attemptID, Date now) {
    active = Attempt{DiagnosticText::uuid(transferID), DiagnosticText::uuid(attemptID), now};
}

void ClaudeRelayDiagnosticHistory::stage(Stage stage) {
    if (!active) return;
    active->stage = stage;
    active->pages = active->editors = active->parents = std::nullopt;
}

void ClaudeRelayDiagnosticHistory::axFailure(std::string_view attribute, AXStatus status) {
    static constexpr std::array<FixedWords, 9> named{"AXRole",   "AXValue",         "AXChildren",
                                                     "AXParent", "AXFocusedWindow", "AXURL",
                                                     "AXTitle",  "AXDescription",   "AXHelp"};
    const bool isFailure = status != AXStatus::success && status != AXStatus::noValue &&
                           status != AXStatus::attributeUnsupported;
    if (!active || !isFailure) return;
    active->axFailure = DiagnosticText::of("{}:{}:{}", nameOf(active->stage),
                                           DiagnosticText::oneOf(attribute, named, "other"),
                                           static_cast<std::int32_t>(status));
}

void ClaudeRelayDiagnosticHistory::finish(bool succeeded, bool retryable, Date now) {
    if (!active) return;
    // The wall clock may have jumped either way.
    const double elapsed = std::clamp((now - active->started) * 1000, 0.0, 1e15);
    active->elapsedMilliseconds = std::isnan(elapsed) ? 0 : static_cast<std::int64_t>(elapsed);
    active->outcome = succeeded   ? FixedWords("Completed")
                      : retryable ? FixedWords("Stopped; retry before insertion allowed")
                                  : FixedWords("Stopped; automatic retry not allowed");
    completed.push_back(*std::move(active));
    if (completed.size() > capacity) completed.pop_front();
    active.reset();
}

DiagnosticText ClaudeRelayDiagnosticHistory::description() const {
    DiagnosticText text = FixedWords("Claude transfer attempts (this app session, no content):\n");
    if (completed.empty() && !active) return text += FixedWords("No records");
    bool isFirst = true;
    const auto add = [&](const Attempt& attempt) {
        if (!isFirst) text += FixedWords("\n");
        isFirst = false;
        text += attempt.line();
    };
    for (const auto& attempt : completed) add(attempt);
    if (active) add(*active);
    return text;
}

} // namespace orvel
