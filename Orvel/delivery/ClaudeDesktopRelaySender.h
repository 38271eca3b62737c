#pragma once
// Delivers a message into a Code conversation of the Claude application through its user interface: proves
// that it has the empty editor of the right page, writes once and presses Send once. It never repeats either.

#include "Orvel/delivery/ClaudeNavigation.h"
#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/delivery/ClaudeSubmission.h"
#include "Orvel/delivery/ProvenEditor.h"
#include "OrvelCore/conversations/AgentFolders.h"

#include <optional>
#include <string>

namespace orvel {

/// Does one operation at a time, on the main loop's thread, which it holds for a few milliseconds at most.
/// Destroying its task cancels an operation.
class ClaudeDesktopRelaySender : public ClaudeRelaySender {
  public:
    /// `start` looks for the new conversation in `folders`. The ports and the history outlive the sender.
    ClaudeDesktopRelaySender(const Desktop& ports, ClaudeRelayDiagnosticHistory& history,
                             AgentFolders folders);
    ClaudeDesktopRelaySender(const ClaudeDesktopRelaySender&) = delete;
    ClaudeDesktopRelaySender& operator=(const ClaudeDesktopRelaySender&) = delete;

    Task<void> performSend(SavedTransfer transfer, ConversationReference to,
                           ReceiptCheck receiptConfirmed) override;

    Task<void> submitExistingDraft(SavedTransfer transfer, ConversationReference to,
                                   ReceiptCheck receiptConfirmed) override;

    Task<ConversationReference> start(RelayInitialTransfer transfer) override;

    Task<std::string> diagnose(ConversationReference reference) override;

    ClaudeRelayDiagnosticHistory& attempts() override { return history; }

  private:
    // The page and editor that later snapshots must find again.
    struct Held {
        std::optional<AXElement> page, editor;
    };

    std::string reachablePath(const ConversationReference& reference, const char* otherwise);
    Task<void> openClaude(const char* otherwise, MainLoop::Duration delay);
    Task<void> sendToPath(ClaudeDelivery& delivery, std::optional<AXElement> expectedWindow);
    Task<std::optional<ProvenEditor>> emptyEditor(ClaudeDelivery& delivery,
                                                  std::optional<AXElement> expectedWindow);
    Task<std::optional<ProvenEditor>> readEmptyEditor(std::string path, AXElement window, Held& held);
    void insert(ClaudeDelivery& delivery, const ProvenEditor& editor);
    Task<void> submitDraft(ClaudeDelivery& delivery, ConversationReference to);
    Task<std::string> report(ConversationReference reference);
    Task<void> prepareNewPage();
    Task<void> reachNewPage();
    Task<AXElement> newConversationButton();
    Task<ConversationReference> newConversation(const RelayInitialTransfer& transfer);
    Task<std::optional<std::string>> shownConversation();
    Task<std::optional<ConversationReference>> recipient(const RelayInitialTransfer& transfer,
                                                         std::string desktopSessionID);

    Desktop ports;
    ClaudeRelayDiagnosticHistory& history;
    AgentFolders folders;
    ClaudeWindowReader reader;
    ClaudeNavigation navigation;
    ClaudeSubmission submission;
};

} // namespace orvel
