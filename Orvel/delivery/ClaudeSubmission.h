#pragma once
// Sends the text in Claude's editor by pressing Send once, and waits for it in the destination's transcript.

#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/delivery/ClaudeWindowReader.h"
#include "Orvel/delivery/DeliveryAttempt.h"
#include "Orvel/delivery/ProvenEditor.h"

#include <optional>
#include <string>

namespace orvel {

/// One text on its way into one page.
struct ClaudeDelivery {
    std::string text;
    std::string path;                                 ///< Of the page.
    ClaudeRelaySender::ReceiptCheck receiptConfirmed; ///< Empty if there is no transcript yet.
    DeliveryAttempt attempt;

    /// Whether the text is known to have arrived.
    Task<bool> isReceived() const;
};

/// The ports, the reader and the history outlive the object, and the object outlives its tasks.
class ClaudeSubmission {
  public:
    ClaudeSubmission(const Desktop& ports, ClaudeWindowReader& reader, ClaudeRelayDiagnosticHistory& history)
        : ports(ports), reader(reader), history(history) {}

    /// Presses Send on the page of `anchor` as soon as it is enabled, and waits for the receipt, if there can
    /// be one. Throws RelaySendError with `latestSummary` as the second line. The delivery outlives the task.
    Task<void> submitPreparedDraft(ClaudeDelivery& delivery, ClaudeSnapshot anchor);

    /// What is known about the last press.
    const DiagnosticText& latestSummary() const { return latestSendSummary; }

  private:
    // How far a submission has come.
    struct Progress {
        DiagnosticText enabled = FixedWords("Unread");
        DiagnosticText press = FixedWords("Not attempted");
        bool isReceived = false;
    };

    Task<void> submit(ClaudeDelivery& delivery, const ClaudeSnapshot& anchor, Progress& progress);
    Task<void> pressWhenEnabled(ClaudeDelivery& delivery, const ClaudeSnapshot& anchor, Progress& progress);
    Task<void> waitForReceipt(ClaudeDelivery& delivery, Progress& progress);
    void press(const ProvenSendButton& sendButton, Progress& progress);
    Task<DiagnosticText> describeInput(const ClaudeDelivery& delivery, const ClaudeSnapshot& anchor);

    Desktop ports;
    ClaudeWindowReader& reader;
    ClaudeRelayDiagnosticHistory& history;
    DiagnosticText latestSendSummary;
};

} // namespace orvel
