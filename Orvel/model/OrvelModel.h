#pragma once
// The application's state and everything that can be done with it, as rooms. Each room holds state of its
// own, changes nobody else's, and is handed what it uses; this class makes them, and connects what one has to
// hear of another. It belongs to the main loop's thread.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/Catalogue.h"
#include "Orvel/model/Chains.h"
#include "Orvel/model/CommandInbox.h"
#include "Orvel/model/ConversationReadings.h"
#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/MessageSearch.h"
#include "Orvel/model/ModelView.h"
#include "Orvel/model/NewConversations.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/Outbox.h"
#include "Orvel/model/Receipts.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/RelayLinkManagement.h"
#include "Orvel/model/Workspace.h"

#include <string>

namespace orvel {

class ClaudeRelaySender;

class OrvelModel {
    // Before the rooms, which notify through it.
    ChangeSignal changeSignal;
    const MainLoop& loop;

  public:
    /// `statePath` is the file of earlier positions; its folder is the data folder. The ports and the sender
    /// outlive the model.
    OrvelModel(const Desktop& desktop, ClaudeRelaySender& claudeSender, AgentFolders folders,
               const std::string& statePath);

    /// Told at every assignment of an observable field.
    ChangeSignal& changes() { return changeSignal; }

    /// The state of all rooms, to look at.
    ModelView view() const;

    /// The primary action: the message of the open pair goes out, or the first one into a new conversation.
    void send();
    /// Puts the message on the clipboard; where a source is open, only after it has been saved.
    void copy(Pasteboard& pasteboard);

    /// What is being done with a message.
    const MessageOperation& messageOperation() const { return operation; }

    /// Whether no load, discovery, save, delivery or check is under way. A turn that is watched does not
    /// count.
    bool isIdle() const;

    Notices notices;
    RelayLedger ledger;
    Catalogue catalogue;
    ConversationReadings readings;

  private:
    ConversationReader reader;
    MessageOperation operation;

  public:
    Workspace workspace;
    MessageSearch messageSearch;
    Chains chains;
    RelayLinkManagement links;
    Outbox outbox;
    NewConversations newConversations;
    Receipts receipts;
    CommandInbox commandInbox;
};

} // namespace orvel
