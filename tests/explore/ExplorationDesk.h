#pragma once
// The world in which an exploration runs: a simulated desktop with Claude and Codex on it, a person who
// types, a disk, and Orvel as a process that can die and be started again.

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedClaudeCode.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedCodexApp.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/platform/simulated/SimulatedDia.h"
#include "Orvel/shell/CommandMonitoring.h"
#include "Orvel/shell/DesktopConsent.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvel::explore {

/// Into what a message goes; several together are a set.
enum Destination : unsigned {
    claudeWindow = 1,
    codexQueue = 2,
    claudeCode = 4,
    codexExec = 32,
    chatGPTPage = 128
};
/// In whose editor a command is typed, in the same set.
inline constexpr unsigned claudeEditor = 8, codexEditor = 16;
/// The message goes out in a link of three, in the same set.
inline constexpr unsigned linkOfThree = 64;
inline constexpr unsigned anyPlace = ~0U;

/// Passes on to the real sender, and tells of its failures.
class WatchedSender : public ClaudeRelaySender {
  public:
    explicit WatchedSender(ClaudeRelaySender& sender) : sender(sender) {}

    Task<void> performSend(SavedTransfer transfer, ConversationReference to, ReceiptCheck check) override {
        return watch(sender.performSend(std::move(transfer), std::move(to), std::move(check)));
    }
    Task<void> submitExistingDraft(SavedTransfer transfer, ConversationReference to,
                                   ReceiptCheck check) override {
        return watch(sender.submitExistingDraft(std::move(transfer), std::move(to), std::move(check)));
    }
    Task<ConversationReference> start(RelayInitialTransfer transfer) override {
        return sender.start(std::move(transfer));
    }
    Task<std::string> diagnose(ConversationReference reference) override {
        return sender.diagnose(std::move(reference));
    }
    ClaudeRelayDiagnosticHistory& attempts() override { return sender.attempts(); }

    std::function<void(const RelaySendError&)> onFailure;

  private:
    Task<void> watch(Task<void> sending);

    ClaudeRelaySender& sender;
};

/// A tap through which all keys pass, for as long as it lives.
class PassingTap {
  public:
    explicit PassingTap(KeyboardTap& tap) : tap(tap) {
        tap.start([](const TapEvent&) { return TapAnswer::pass; });
    }
    ~PassingTap() { tap.stop(); }
    PassingTap(const PassingTap&) = delete;
    PassingTap& operator=(const PassingTap&) = delete;

  private:
    KeyboardTap& tap;
};

/// All that ends when the process ends.
struct OrvelProcess {
    /// `isMonitoring` says whether commands are caught that are typed in the agents' editors.
    OrvelProcess(SimulatedDesktop& desktop, const AgentFolders& folders, const std::string& statePath,
                 bool isMonitoring, ChatGPTAttachingWay way);

    bool isIdle() const { return model.isIdle() && tasks.isIdle() && (!monitoring || monitoring->isIdle()); }

    SimulatedDesktop& desktop;
    std::optional<PassingTap> tap; ///< Where nothing is monitored.
    ClaudeRelayDiagnosticHistory history;
    ClaudeDesktopRelaySender sender;
    WatchedSender watched;
    OrvelModel model;
    DesktopConsent consent;
    std::optional<CommandMonitoring> monitoring;
    ChatGPTOperations operations;
    ChatGPTBrowserSender consultation;
    /// What is asked, and what became of it.
    ChatGPTRepositoryArchive archive;
    std::string question;
    std::optional<ChatGPTDeliveryResult> answered;
    std::optional<ChatGPTBrowserSender::Failure> refusal;
    /// What a sender that no model drives came to.
    std::optional<ConversationReference> started;
    std::optional<std::string> startFailure;
    std::optional<std::string> report; ///< Of a diagnosis.
    TaskScope tasks;                   // Last: ends before what its work uses.
};

struct ExplorationDesk {
    static constexpr auto codexSession = "01a1fd20-0000-7000-8000-000000000001";
    /// A conversation that only Codex's window knows.
    static constexpr auto otherThread = "01a1fd20-0000-7000-8000-000000000002";
    /// Conversations that some scenarios have.
    static constexpr auto thirdThread = "01a1fd20-0000-7000-8000-000000000003";
    static constexpr auto twinThread = "01a1fd20-0000-7000-8000-000000000004";
    static constexpr auto pastedThread = "01a1fd20-0000-7000-8000-000000000005";
    static constexpr auto claudeSession = "5b0d714f-0000-4000-8000-000000000002";
    /// A conversation that Claude's application does not know.
    static constexpr auto claudeCodeSession = "5b0d714f-0000-4000-8000-000000000009";
    static constexpr auto destination = "local_11111111-1111-4111-8111-111111111111";
    static constexpr auto elsewhere = "local_22222222-2222-4222-8222-222222222222";
    static constexpr auto third = "local_33333333-3333-4333-8333-333333333333";
    /// The note with which a conversation is begun.
    static constexpr auto firstNote = "Please begin here.";
    /// What a save takes on a disk that is well.
    static constexpr std::chrono::milliseconds savingTime{20};
    /// Stands in everything that no diagnostic may show.
    static constexpr auto canary = "CANARY";

    /// A fresh world on a folder in which earlier worlds may have left their files. The folder holds nothing
    /// else.
    explicit ExplorationDesk(std::string folder);
    ~ExplorationDesk();
    ExplorationDesk(const ExplorationDesk&) = delete;
    ExplorationDesk& operator=(const ExplorationDesk&) = delete;

    /// Orvel starts, opens the pair, and comes to rest.
    void boot();
    /// The process of Orvel ends: what it still does in this turn reaches nothing any more.
    void die();
    /// Removes the remains of a dead Orvel and starts another.
    void bootAgain();
    bool isDead() const { return dead; }
    /// Whether it has ever died.
    bool hasDied() const { return died; }

    OrvelModel& model() { return orvel->model; }
    bool isIdle() const { return orvel->isIdle(); }
    /// Whether no child of Orvel's runs.
    bool isAlone() const { return desktop.processes.running() == 0; }

    /// Has the user do something in Orvel, and runs until that has ended, or the process of Orvel. False if
    /// neither happens.
    bool perform(std::function<void(OrvelProcess&)> action);

    std::string relayStatePath() const { return folder + "/data/relay-state.json"; }
    /// Where a command's instructions are until they stand in a note.
    std::string keptCommandPath() const { return folder + "/data/captured-command"; }
    ConversationReference claudeReference() const;
    ConversationReference codexReference() const;
    /// Where Claude's application notes the conversation.
    std::string claudeRecordPath() const {
        return folder + "/config/Claude/claude-code-sessions/" + destination + ".json";
    }
    /// Where the thread is while nobody has archived it.
    std::string codexTranscriptPath() const;
    std::string archivedCodexPath() const;
    /// One more conversation with Codex, which begins with this text.
    ConversationReference addCodexThread(const char* id, const std::string& text) const;
    /// Somebody puts the saved first message into a new conversation of his own, once.
    void pasteFirstMessage();
    /// The conversations with Codex that did not exist when Orvel was started.
    std::vector<std::string> newWithCodex() const;
    void archiveCodexThread();
    void restoreCodexThread();
    /// Of one that a scenario has added.
    std::string threadPath(const std::string& id) const {
        return folder + "/home/.codex/sessions/2026/11/rollout-" + id + ".jsonl";
    }
    std::string codexQueuePath(const std::string& id = codexSession) const;
    /// Writes the ZIP that is to go to ChatGPT.
    void writeZip();
    std::string zipName() const { return "CANARY repository.zip"; }
    std::string zipPath() const { return folder + "/CANARY/" + zipName(); }
    std::string otherZipPath() const { return folder + "/CANARY/another.zip"; }
    /// Where the conversation that only Claude Code knows has its files.
    std::string codeFolder() const { return folder + "/code"; }
    void removeCodeFolder() const;

    const std::string folder;
    SimulatedDesktop desktop;
    SimulatedClaude claude;
    SimulatedCodex codex;
    SimulatedCodexApp codexApp;
    SimulatedClaudeCode claudeCode;
    SimulatedDia dia;
    /// A ZIP and a question for ChatGPT.
    ChatGPTRepositoryArchive archive;
    std::string zipBytes, question = "CANARY: what is \"lark\" for?\nAnd why? ";
    /// Whether files are pasted into the browser. From the next start on.
    bool isPasting = false;
    /// Whether the pair's conversation with Claude is one that only Claude Code knows, and may be sent to.
    bool usesClaudeCode = false;
    /// Whether Orvel catches commands. From the next start on.
    bool isMonitoring = false;
    /// Whether a look at an element gave that something is not there which is.
    bool isStructureHidden = false;
    /// Whether Orvel has a source without a link, whose message is to begin a conversation with Codex.
    bool isStarting = false;
    /// Whose message goes into the other's conversation. From the next start on.
    Agent source = Agent::codex;
    std::unique_ptr<OrvelProcess> orvel;

  private:
    void openSource();
    void wireSteps();
    void keepTyping();
    bool dead = false, died = false, isPasted = false;
};

} // namespace orvel::explore
