#include "Orvel/monitor/TimedReads.h"

#include <algorithm>

namespace orvel {

namespace {

FixedWords kindOf(const AXReading& reading) {
    if (reading.status != AXStatus::success) return "No value";
    struct Kind {
        FixedWords operator()(std::monostate) const { return "No value"; }
        FixedWords operator()(const AXNull&) const { return "NULL"; }
        FixedWords operator()(const std::string&) const { return "String"; }
        FixedWords operator()(bool) const { return "Boolean"; }
        FixedWords operator()(const AXURL&) const { return "URL (content not recorded)"; }
        FixedWords operator()(const AXElement&) const { return "AX element"; }
        FixedWords operator()(const AXElements&) const { return "Array"; }
        FixedWords operator()(const std::vector<std::string>&) const { return "Array"; }
        FixedWords operator()(double) const { return "Other"; }
        FixedWords operator()(const AXRange&) const { return "Other"; }
        FixedWords operator()(const AXPoint&) const { return "Other"; }
        FixedWords operator()(const AXSize&) const { return "Other"; }
        FixedWords operator()(const AXOpaque&) const { return "Other"; }
    };
    return std::visit(Kind(), reading.value);
}

template <typename T>
std::optional<T> valueOf(const AXReading& reading) {
    const auto* value = reading.as<T>();
    return value ? std::optional(*value) : std::nullopt;
}

} // namespace

void TimedReads::open(MainLoop::Duration duration) {
    close();
    deadline = loop.uptime() + duration;
}

void TimedReads::close() {
    deadline.reset();
    failed.reset();
    timedOut = false;
}

bool TimedReads::hasBudget() {
    if (failed) return false;
    if (!deadline || loop.uptime() + elementTimeout < *deadline) return true;
    facts.add(DiagnosticText("AX read stopped: Insufficient remaining time in the 160 ms cumulative budget"));
    fail("Insufficient remaining time in the 160 ms budget");
    return false;
}

MainLoop::Duration TimedReads::timeLeft() const {
    if (!deadline) return MainLoop::Duration::zero();
    return std::max(*deadline - loop.uptime(), MainLoop::Duration::zero());
}

// An absent value and an attribute that the element does not know are answers.
void TimedReads::judge(AXStatus status) {
    if (status == AXStatus::cannotComplete) timedOut = true;
    if (status == AXStatus::cannotComplete || status == AXStatus::apiDisabled ||
        status == AXStatus::invalidElement || status == AXStatus::failure)
        failed = DiagnosticText::of("AX error {}", numberOf(status));
}

AXElement TimedReads::application(ProcessID process) {
    auto element = accessibility.application(process);
    bound(element);
    return element;
}

AXReading TimedReads::attribute(const AXElement& element, FixedWords name) {
    if (!hasBudget()) return {AXStatus::cannotComplete, {}};
    bound(element); // Of elements on the way the platform's own bound is seconds.
    const auto started = loop.uptime();
    ++callCount;
    auto reading = accessibility.attribute(element, name);
    judge(reading.status);
    facts.add(DiagnosticText::of("{}: AX result={}, type={}, {}ms", name, numberOf(reading.status),
                                 kindOf(reading),
                                 DiagnosticText::milliseconds(secondsOf(loop.uptime() - started))));
    return reading;
}

std::optional<std::string> TimedReads::string(const AXElement& element, FixedWords name) {
    return valueOf<std::string>(attribute(element, name));
}

std::optional<AXElement> TimedReads::element(const AXElement& element, FixedWords name) {
    return valueOf<AXElement>(attribute(element, name));
}

std::optional<AXElements> TimedReads::elements(const AXElement& element, FixedWords name) {
    return valueOf<AXElements>(attribute(element, name));
}

std::optional<AXRange> TimedReads::selectedRange(const AXElement& element) {
    auto range = valueOf<AXRange>(attribute(element, "AXSelectedTextRange"));
    return range && range->location >= 0 && range->length >= 0 ? range : std::nullopt;
}

// An empty list says nothing of what it would hold.
std::optional<std::vector<std::string>> TimedReads::strings(const AXElement& element, FixedWords name) {
    const auto reading = attribute(element, name);
    const auto* none = reading.as<AXElements>();
    if (none && none->empty()) return std::vector<std::string>();
    return valueOf<std::vector<std::string>>(reading);
}

AXSettable TimedReads::isSettable(const AXElement& element, FixedWords name) {
    if (!hasBudget()) return {AXStatus::cannotComplete, false};
    bound(element);
    ++callCount;
    const auto answer = accessibility.isSettable(element, name);
    judge(answer.status);
    return answer;
}

std::optional<AXStatus> TimedReads::write(const AXElement& element, FixedWords name, const AXValue& value) {
    if (!hasBudget()) return std::nullopt;
    ++callCount;
    const auto status = accessibility.setAttribute(element, name, value);
    judge(status);
    return status;
}

} // namespace orvel
