#pragma once
// How far an operation on ChatGPT's page came, line by line, for the reports that users send: fixed words,
// numbers and identifiers. No line holds text of the page, a path or a file name.

#include "OrvelCore/consultation/ChatGPTAddress.h"
#include "OrvelCore/consultation/ChatGPTPointerHit.h"
#include "OrvelCore/consultation/ChatGPTReceiptEvidence.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"
#include "OrvelCore/text/Date.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace orvel {

/// Belongs to the thread of its clock.
class ChatGPTDeliveryTrace {
  public:
    static constexpr std::size_t prefixLimit = 64, tailLimit = 16; ///< In lines.

    enum class Kind { send, pageStability, preparation, receiptCheck };
    enum class Phase {
        initialPage,
        activation,
        preAdd,
        uploadMenu,
        panel,
        goTo,
        selection,
        postUpload,
        question,
        preSend,
        receipt,
        diagnosticRead,
        applicationRole,
        roleFirstRead
    };
    enum class Outcome {
        succeeded,
        stopped,
        sendUnconfirmed,
        windowChanged,
        preparedWithoutSend,
        sampleFailed
    };
    enum class Attribute { focusedWindow, windows, children, role, url, value, parent, other };
    enum class Caller { selectedPage, verifySamePage, receipt, stability };
    enum class ReceiptReadStage { page, composer, region, candidates, ancestry, diagnostics, finalIdentity };
    enum class QuestionReadKind { originalEmpty, expected, different };
    enum class QuestionFailure { unexpected, notReflected, validationOrReadFailed };
    enum class ControlAction { accessibilityPress, pointerClick };

    /// What was seen of the selected page. Statuses are those of the accessibility interface.
    struct PageObservation {
        Caller caller = Caller::selectedPage;
        std::size_t windows = 0;
        std::int32_t windowsStatus = 0, focusStatus = 0;
        std::optional<bool> sameWindow; ///< As at the operation's first look; nothing if it was not seen.
        std::size_t webAreas = 0;
        std::optional<std::int32_t> urlStatus; ///< Of the last URL that was read.
        ChatGPTURLKind urlKind = ChatGPTURLKind::notRead;
        std::optional<bool> sameWeb;
        bool truncated = false; ///< The walk over the window went no further than its limit.
    };

    /// Monotonic time.
    using Clock = std::function<std::chrono::nanoseconds()>;

    /// `id` is a UUID; `started` the date to show.
    ChatGPTDeliveryTrace(Kind kind, std::string_view id, Date started, Clock clock);

    // Written in the course of the operation

    void enter(Phase phase);
    void finish(Outcome outcome);
    void initialRead(int attempt);
    /// Nothing where the role could not be told.
    void applicationRole(std::int32_t status, std::optional<bool> isApplication);
    void page(const PageObservation& observation);
    void axFailure(Attribute attribute, std::optional<std::int32_t> status, bool truncated);
    void questionWrite(std::int32_t status);
    /// The length in UTF-16 units.
    void questionRead(int attempt, QuestionReadKind kind, std::int64_t length);
    void questionFailure(QuestionFailure failure);
    void controlAction(ControlAction action);
    void pointerHit(const ChatGPTPointerHit::Hit& hit);
    /// Writes nothing for the stage that was written last.
    void receiptStage(ReceiptReadStage stage);
    void receiptEvidence(const ChatGPTReceiptEvidence& evidence);
    void receiptStopped();

    /// Any other line, without its time. The first lines and the latest ones are kept.
    void append(const DiagnosticText& line);

    /// From here on the report says that Send was pressed.
    void sendPressed() { isSendPressed = true; }

    // What it holds

    Kind kind() const { return ofKind; }
    Date started() const { return startedAt; }
    Phase phase() const { return current; }
    bool sendWasPressed() const { return isSendPressed; }
    const std::vector<Phase>& phases() const { return entered; }
    const std::vector<DiagnosticText>& prefix() const { return first; }
    const std::deque<DiagnosticText>& tail() const { return latest; }
    std::size_t count() const { return appended; } ///< Of all lines, kept or not.

    /// The lines that were kept, below one that describes the operation.
    DiagnosticText report() const;

  private:
    void appendInPhase(const DiagnosticText& line);

    Kind ofKind;
    DiagnosticText id;
    Date startedAt;
    Clock clock;
    std::chrono::nanoseconds began;
    Phase current = Phase::initialPage;
    bool isSendPressed = false;
    std::vector<Phase> entered;
    std::vector<DiagnosticText> first;
    std::deque<DiagnosticText> latest;
    std::size_t appended = 0;
    std::optional<ReceiptReadStage> lastReceiptStage;
};

FixedWords nameOf(ChatGPTURLKind kind);
FixedWords nameOf(ChatGPTDeliveryTrace::Attribute attribute);
FixedWords nameOf(ChatGPTDeliveryTrace::Caller caller);

/// The traces of the latest operations.
class ChatGPTDeliveryTraceHistory {
  public:
    static constexpr std::size_t capacity = 4;

    /// Drops the oldest if there are too many.
    void add(std::shared_ptr<const ChatGPTDeliveryTrace> trace);

    /// Oldest first.
    const std::deque<std::shared_ptr<const ChatGPTDeliveryTrace>>& finished() const { return traces; }

  private:
    std::deque<std::shared_ptr<const ChatGPTDeliveryTrace>> traces;
};

} // namespace orvel
