#pragma once
// Puts a message into a Code conversation of the Claude application, by nothing but its user interface:
// proves that the empty editor of the right page is the one it writes to, writes once, presses Send once. It
// never tries either again.

#include "Orvel/delivery/ClaudeNavigation.h"
#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/delivery/ClaudeSubmission.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/relay/RelayTransfer.h"

#include <optional>
#include <string>

namespace orvel {

/// One operation at a time. Each belongs to the main loop's thread, which it holds for some milliseconds at
/// most, and ends where it waits when its task is destroyed.
class ClaudeDesktopRelaySender : public ClaudeRelaySender {
  public:
    /// `folders` is where `start` looks for the new conversation. Ports and history outlive the sender.
    ClaudeDesktopRelaySender(const ClaudePorts& ports, ClaudeRelayDiagnosticHistory& history,
                             AgentFolders folders);
    ClaudeDesktopRelaySender(const ClaudeDesktopRelaySender&) = delete;
    ClaudeDesktopRelaySender& operator=(const ClaudeDesktopRelaySender&) = delete;

    Task<void> performSend(std::string text, ConversationReference to,
                           ReceiptCheck receiptConfirmed) override;

    Task<void> submitExistingDraft(std::string text, ConversationReference to,
                                   ReceiptCheck receiptConfirmed) override;

    Task<std::string> diagnose(ConversationReference reference) override;

    ClaudeRelayDiagnosticHistory& attempts() override { return history; }

    /// Opens a new conversation, sends the payload there, and gives the conversation once its transcript
    /// holds the payload. Throws RelaySendError, and ConversationCatalogError if several could be it.
    Task<ConversationReference> start(RelayInitialTransfer transfer);

  private:
    // The page and editor that the readings of one wait must keep finding.
    struct Held {
        std::optional<AXElement> page, editor;
    };

    std::string reachablePath(const ConversationReference& reference, const char* otherwise);
    Task<void> openClaude(const char* otherwise, MainLoop::Duration settling);
    Task<void> sendToPath(ClaudeDelivery& delivery, std::optional<AXElement> expectedWindow);
    Task<std::optional<ClaudeSnapshot>> emptyEditor(ClaudeDelivery& delivery,
                                                    std::optional<AXElement> expectedWindow);
    Task<std::optional<ClaudeSnapshot>> readEmptyEditor(std::string path, AXElement window, Held& held);
    void insert(ClaudeDelivery& delivery, const AXElement& editor);
    Task<void> submitDraft(ClaudeDelivery& delivery, ConversationReference to);
    Task<std::string> report(ConversationReference reference);
    Task<void> prepareNewPage();
    Task<void> reachNewPage();
    Task<AXElement> newConversationButton();
    Task<ConversationReference> newConversation(const RelayInitialTransfer& transfer);
    Task<std::optional<std::string>> shownConversation();
    Task<std::optional<ConversationReference>> recipient(const RelayInitialTransfer& transfer,
                                                         std::string desktopSessionID);

    ClaudePorts ports;
    ClaudeRelayDiagnosticHistory& history;
    AgentFolders folders;
    ClaudeWindowReading reading;
    ClaudeNavigation navigation;
    ClaudeSubmission submission;
};

} // namespace orvel
