#pragma once
// Presses Send on a text that stands in Claude's editor, once, and looks for it in the destination's
// transcript.

#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/delivery/ClaudeWindowReading.h"
#include "Orvel/delivery/DeliveryAttempt.h"

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

/// The ports, the reading and the history outlive the object, and this its tasks.
class ClaudeSubmission {
  public:
    ClaudeSubmission(const ClaudePorts& ports, ClaudeWindowReading& reading,
                     ClaudeRelayDiagnosticHistory& history)
        : ports(ports), reading(reading), history(history) {}

    /// Presses Send in the page and editor of `anchor` as soon as it is enabled, and waits for the receipt,
    /// if one can come. Throws RelaySendError, whose second line is `latestSummary`. The delivery outlives
    /// the task.
    Task<void> submitPreparedDraft(ClaudeDelivery& delivery, ClaudeSnapshot anchor);

    /// What is known of the last press.
    const DiagnosticText& latestSummary() const { return latestSendSummary; }

  private:
    // What a submission has come to.
    struct Progress {
        DiagnosticText enabled = FixedWords("Unread");
        DiagnosticText press = FixedWords("Not attempted");
        bool isReceived = false;
    };

    Task<void> submit(ClaudeDelivery& delivery, const ClaudeSnapshot& anchor, Progress& progress);
    Task<void> pressWhenEnabled(ClaudeDelivery& delivery, const ClaudeSnapshot& anchor, Progress& progress);
    Task<void> waitForReceipt(ClaudeDelivery& delivery, Progress& progress);
    void press(const AXElement& sendButton, Progress& progress);
    Task<DiagnosticText> describeInput(const ClaudeDelivery& delivery, const ClaudeSnapshot& anchor);

    ClaudePorts ports;
    ClaudeWindowReading& reading;
    ClaudeRelayDiagnosticHistory& history;
    DiagnosticText latestSendSummary;
};

} // namespace orvel
