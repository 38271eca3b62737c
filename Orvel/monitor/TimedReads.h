#pragma once
// Reads of another program's elements while every key of the desktop waits: together within one budget, each
// only if its own timeout still fits, and none any more once one of them has failed. So whoever decides by
// what was read asks once, at the end, whether all of it can be relied on.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/monitor/DiagnosticFacts.h"
#include "Orvel/runtime/MainLoop.h"
#include "OrvelCore/diagnostics/FixedWords.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Belongs to the main loop's thread.
class TimedReads {
  public:
    /// Of one Return. The system gives up on a handler that takes much longer.
    static constexpr MainLoop::Duration budget = std::chrono::milliseconds(160);
    /// Of each read.
    static constexpr std::chrono::milliseconds elementTimeout{15};

    /// All of it outlives this object.
    TimedReads(const MainLoop& loop, Accessibility& accessibility, DiagnosticFacts& facts)
        : loop(loop), accessibility(accessibility), facts(facts) {}

    /// Begins a budget, and forgets what failed in the one before. Without one, reads are not bounded
    /// together.
    void open(MainLoop::Duration duration = budget);
    /// Ends the budget, and forgets what failed.
    void close();

    /// Whether one more read fits. Once it does not, all reads have failed.
    bool hasBudget();
    /// What is left of the budget; none without one.
    MainLoop::Duration timeLeft() const;
    bool hasFailed() const { return failed.has_value(); }
    /// Why, if they have.
    const std::optional<DiagnosticText>& failure() const { return failed; }
    /// Whether the other program did not answer in time, so that a later read may succeed.
    bool hasTimedOut() const { return timedOut; }
    /// Fails all reads from here on, unless they have failed already.
    void fail(FixedWords why) {
        if (!failed) failed = DiagnosticText(why);
    }

    /// Waits until reads show what the person did so long ago, within the budget.
    void awaitShown(MainLoop::Duration sinceInput) { accessibility.awaitShown(sinceInput); }

    /// The element of an application, each read of which is bounded.
    AXElement application(ProcessID process);
    void bound(const AXElement& element) { accessibility.setMessagingTimeout(element, elementTimeout); }

    AXReading attribute(const AXElement& element, FixedWords name);
    /// The value if it is a string.
    std::optional<std::string> string(const AXElement& element, FixedWords name);
    /// The value if it is an element.
    std::optional<AXElement> element(const AXElement& element, FixedWords name);
    /// The selected text, if it can be one.
    std::optional<AXRange> selectedRange(const AXElement& element);
    /// The value if it is a list of elements, or of strings.
    std::optional<AXElements> elements(const AXElement& element, FixedWords name);
    std::optional<std::vector<std::string>> strings(const AXElement& element, FixedWords name);
    AXSettable isSettable(const AXElement& element, FixedWords name);
    /// Writes once; a failure counts like that of a read. Nothing without budget.
    std::optional<AXStatus> write(const AXElement& element, FixedWords name, const AXValue& value);

    /// How many calls were made, of all budgets.
    std::uint64_t calls() const { return callCount; }

  private:
    void judge(AXStatus status);

    const MainLoop& loop;
    Accessibility& accessibility;
    DiagnosticFacts& facts;
    std::optional<MainLoop::Duration> deadline; ///< As uptime.
    std::optional<DiagnosticText> failed;
    bool timedOut = false;
    std::uint64_t callCount = 0;
};

/// Keeps a budget open until the way out.
class OpenBudget {
  public:
    explicit OpenBudget(TimedReads& reads, MainLoop::Duration duration = TimedReads::budget) : reads(reads) {
        reads.open(duration);
    }
    ~OpenBudget() { reads.close(); }
    OpenBudget(const OpenBudget&) = delete;
    OpenBudget& operator=(const OpenBudget&) = delete;

  private:
    TimedReads& reads;
};

/// The number of a status, for diagnostics.
inline DiagnosticText numberOf(AXStatus status) {
    return static_cast<std::int32_t>(status);
}

} // namespace orvel
