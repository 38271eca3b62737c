#include "OrvelCore/consultation/ChatGPTDeliveryTrace.h"

#include <array>
#include <utility>

namespace orvel {

namespace {

using Trace = ChatGPTDeliveryTrace;

// The names of an enumeration, in the order of its cases.
template <typename Case, std::size_t size>
FixedWords nameIn(const std::array<FixedWords, size>& names, Case named) {
    return names.at(static_cast<std::size_t>(named));
}

FixedWords nameOf(Trace::Kind kind) {
    static constexpr std::array<FixedWords, 4> names{"send", "pageStability", "preparation", "receiptCheck"};
    return nameIn(names, kind);
}

FixedWords nameOf(Trace::Phase phase) {
    static constexpr std::array<FixedWords, 14> names{
        "initialPage", "activation",     "preAdd",          "uploadMenu",   "panel",
        "goTo",        "selection",      "postUpload",      "question",     "preSend",
        "receipt",     "diagnosticRead", "applicationRole", "roleFirstRead"};
    return nameIn(names, phase);
}

FixedWords nameOf(Trace::Outcome outcome) {
    static constexpr std::array<FixedWords, 6> names{
        "succeeded", "stopped", "sendUnconfirmed", "windowChanged", "preparedWithoutSend", "sampleFailed"};
    return nameIn(names, outcome);
}

FixedWords nameOf(Trace::ReceiptReadStage stage) {
    static constexpr std::array<FixedWords, 7> names{"page",     "composer",    "region",       "candidates",
                                                     "ancestry", "diagnostics", "finalIdentity"};
    return nameIn(names, stage);
}

FixedWords nameOf(Trace::QuestionReadKind kind) {
    static constexpr std::array<FixedWords, 3> names{"originalEmpty", "expected", "different"};
    return nameIn(names, kind);
}

FixedWords nameOf(Trace::QuestionFailure failure) {
    static constexpr std::array<FixedWords, 3> names{"unexpected", "notReflected", "validationOrReadFailed"};
    return nameIn(names, failure);
}

FixedWords nameOf(Trace::ControlAction action) {
    static constexpr std::array<FixedWords, 2> names{"accessibilityPress", "pointerClick"};
    return nameIn(names, action);
}

template <typename T>
DiagnosticText orElse(const std::optional<T>& value, FixedWords otherwise) {
    return value ? DiagnosticText(*value) : otherwise;
}

} // namespace

FixedWords nameOf(ChatGPTURLKind kind) {
    static constexpr std::array<FixedWords, 7> names{"notRead",   "root",    "chat",   "otherChatGPT",
                                                     "otherHost", "invalid", "unknown"};
    return nameIn(names, kind);
}

FixedWords nameOf(Trace::Attribute attribute) {
    static constexpr std::array<FixedWords, 8> names{"focusedWindow", "windows", "children", "role",
                                                     "url",           "value",   "parent",   "other"};
    return nameIn(names, attribute);
}

FixedWords nameOf(Trace::Caller caller) {
    static constexpr std::array<FixedWords, 4> names{"selectedPage", "verifySamePage", "receipt",
                                                     "stability"};
    return nameIn(names, caller);
}

ChatGPTDeliveryTrace::ChatGPTDeliveryTrace(Kind kind, std::string_view id, Date started, Clock clock)
    : ofKind(kind),
      id(DiagnosticText::uuid(id)),
      startedAt(started),
      clock(std::move(clock)),
      began(this->clock()) {}

void ChatGPTDeliveryTrace::enter(Phase phase) {
    current = phase;
    entered.push_back(phase);
    append(DiagnosticText::of("phase={}", nameOf(phase)));
}

void ChatGPTDeliveryTrace::finish(Outcome outcome) {
    append(DiagnosticText::of("outcome={} phase={}", nameOf(outcome), nameOf(current)));
}

void ChatGPTDeliveryTrace::initialRead(int attempt) {
    appendInPhase(DiagnosticText::of("initial_read_attempt={}", attempt));
}

void ChatGPTDeliveryTrace::applicationRole(std::int32_t status, std::optional<bool> isApplication) {
    append(DiagnosticText::of("application_role_status={} is_AXApplication={}", status,
                              orElse(isApplication, "unknown")));
}

void ChatGPTDeliveryTrace::page(const PageObservation& seen) {
    append(DiagnosticText::of("caller={} phase={} windows={} windows_status={} focus_status={} "
                              "same_window={} web_areas={} url_status={} url_kind={} same_web={} "
                              "truncated={}",
                              nameOf(seen.caller), nameOf(current), seen.windows, seen.windowsStatus,
                              seen.focusStatus, orElse(seen.sameWindow, "unknown"), seen.webAreas,
                              orElse(seen.urlStatus, "not_read"), nameOf(seen.urlKind),
                              orElse(seen.sameWeb, "unknown"), seen.truncated));
}

void ChatGPTDeliveryTrace::axFailure(Attribute attribute, std::optional<std::int32_t> status,
                                     bool truncated) {
    appendInPhase(DiagnosticText::of("ax_attribute={} status={} truncated={}", nameOf(attribute),
                                     orElse(status, "unknown"), truncated));
}

void ChatGPTDeliveryTrace::questionWrite(std::int32_t status) {
    appendInPhase(DiagnosticText::of("question_write_status={}", status));
}

void ChatGPTDeliveryTrace::questionRead(int attempt, QuestionReadKind kind, std::int64_t length) {
    appendInPhase(DiagnosticText::of("question_read_attempt={} value_kind={} utf16_length={}", attempt,
                                     nameOf(kind), length));
}

void ChatGPTDeliveryTrace::questionFailure(QuestionFailure failure) {
    appendInPhase(DiagnosticText::of("question_failure={}", nameOf(failure)));
}

void ChatGPTDeliveryTrace::controlAction(ControlAction action) {
    appendInPhase(DiagnosticText::of("control_action={}", nameOf(action)));
}

void ChatGPTDeliveryTrace::pointerHit(const ChatGPTPointerHit::Hit& hit) {
    static constexpr std::array<FixedWords, 7> roles{"AXGroup",  "AXWebArea",  "AXScrollArea", "AXWindow",
                                                     "AXButton", "AXTextArea", "AXStaticText"};
    appendInPhase(DiagnosticText::of(
        "hit_same_process={} hit_same_target={} hit_child={} hit_ancestor={} hit_in_web={} hit_role={} "
        "hit_decision={}",
        hit.isSameProcess, hit.isSameTarget, hit.isBelowTarget, hit.isAboveTarget, hit.isInWeb,
        DiagnosticText::oneOf(hit.role, roles, "other"), nameOf(ChatGPTPointerHit::decide(hit))));
}

void ChatGPTDeliveryTrace::receiptStage(ReceiptReadStage stage) {
    if (lastReceiptStage == stage) return;
    lastReceiptStage = stage;
    appendInPhase(DiagnosticText::of("receipt_read_stage={}", nameOf(stage)));
}

void ChatGPTDeliveryTrace::receiptEvidence(const ChatGPTReceiptEvidence& evidence) {
    appendInPhase(DiagnosticText::of("receipt_same_chat={} question_outside={} archive_outside={} "
                                     "composer_empty={} attachments_consumed={} receipt_confirmed={}",
                                     evidence.sameChat, evidence.questionOutside, evidence.archiveOutside,
                                     orElse(evidence.composerEmpty, "unknown"),
                                     orElse(evidence.attachmentsConsumed, "unknown"), evidence.confirmed()));
}

void ChatGPTDeliveryTrace::receiptStopped() {
    appendInPhase(FixedWords("receipt_read_stopped=true"));
}

void ChatGPTDeliveryTrace::append(const DiagnosticText& line) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(clock() - began).count();
    auto timed = DiagnosticText::of("elapsed_ms={} {}", elapsed, line);
    ++appended;
    if (first.size() < prefixLimit) {
        first.push_back(std::move(timed));
        return;
    }
    latest.push_back(std::move(timed));
    if (latest.size() > tailLimit) latest.pop_front();
}

void ChatGPTDeliveryTrace::appendInPhase(const DiagnosticText& line) {
    append(DiagnosticText::of("phase={} {}", nameOf(current), line));
}

DiagnosticText ChatGPTDeliveryTrace::report() const {
    DiagnosticText phaseNames;
    for (const auto phase : entered) {
        if (phaseNames != DiagnosticText()) phaseNames += FixedWords(",");
        phaseNames += nameOf(phase);
    }
    auto text = DiagnosticText::of("attempt={} kind={} send_pressed={} phases={}", id, nameOf(ofKind),
                                   isSendPressed, phaseNames);
    const auto add = [&text](const DiagnosticText& line) {
        text += FixedWords("\n");
        text += line;
    };
    for (const auto& line : first) add(line);
    const auto omitted = appended - first.size() - latest.size();
    if (omitted > 0) add(DiagnosticText::of("omitted_events={}", omitted));
    for (const auto& line : latest) add(line);
    return text;
}

void ChatGPTDeliveryTraceHistory::add(std::shared_ptr<const ChatGPTDeliveryTrace> trace) {
    traces.push_back(std::move(trace));
    if (traces.size() > capacity) traces.pop_front();
}

} // namespace orvel
