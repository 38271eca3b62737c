#pragma once
// The delivery into Claude on a simulated desktop where nothing takes time but what a test makes slow: two
// conversations, and every call counted, refused, or preceded by what a test says.

#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "SavedTransfers.h"
#include "TemporaryFolder.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// How an operation ended.
struct Outcome {
    bool succeeded = false;
    std::string message;
    bool canRetry = false;
};

// Words that several tests expect.
inline const std::string draftKept = "Claude has a draft. Nothing was changed.";
inline const std::string notEmpty =
    "Claude has a draft, attachment, or reply in progress. Nothing was changed.";
inline const std::string notShown =
    "Claude is not displaying the selected destination conversation. No message was inserted.";
inline const std::string timedOut = "The Claude view did not become ready in time. No message was inserted.";
inline const std::string unreadableView =
    "Couldn't read the Claude view. AX status=-25200. Message content is kept.";
inline const std::string notOpened = "Couldn't open Claude. Use Copy to recover.";
inline const std::string notInFront =
    "Claude is not in the foreground. Show the destination conversation before sending.";

struct ClaudeDesk {
    using Element = SimulatedElement::Shared;

    static constexpr const char* target = "local_11111111-1111-4111-8111-111111111111";
    static constexpr const char* other = "local_22222222-2222-4222-8222-222222222222";
    static constexpr const char* targetPath = "/epitaxy/local_11111111-1111-4111-8111-111111111111";

    explicit ClaudeDesk(const std::string& shown = target) {
        auto& habits = claude.habits;
        for (auto* time :
             {&habits.leaving, &habits.loading, &habits.textShows, &habits.writtenShows, &habits.sendAppears,
              &habits.sendEnables, &habits.receipt, &habits.reply, &habits.recordWritten, &habits.newRoute})
            *time = {};
        auto& applications = desktop.applications;
        applications.startTime = applications.activationTime = applications.urlTime = {};
        applications.bundles["/Library/Input Methods/GoogleJapaneseInput.app"] = {
            "com.google.inputmethod.Japanese", "3.34.6260"};
        desktop.accessibility.latency.median = desktop.accessibility.latency.rare =
            desktop.accessibility.latency.worst = {};
        desktop.accessibility.writeTime = desktop.windows.duration = {};
        claude.addConversation("11111111-1111-4111-8111-111111111111", target, {"q", "a"});
        claude.addConversation("22222222-2222-4222-8222-222222222222", other, {"p", "b"});
        claude.show(shown);
        applications.bringToFront(applications.start(claude));
        shell = add(claude.windowElement(), "AXWebArea");
        shell->set("AXURL", AXURL{"file:///Applications/Claude.app/index.html"});
        claude.onDeed = [this](const SimulatedClaude::Deed& deed) { see(deed); };
        desktop.steps.observer = [this](SimulatedStep& step) { see(step); };
        history.begin("aaaaaaaa-aaaa-4aaa-8aaa-aaaaaaaaaaaa", target, loop.now());
    }

    // Claude's window

    Element add(const Element& parent, std::string_view role, std::string_view attribute = {},
                const std::string& text = {}) {
        auto made = desktop.accessibility.makeElement(role);
        if (!attribute.empty()) made->set(attribute, text);
        parent->append(made);
        return made;
    }
    static void fail(const Element& element, const std::string& attribute, AXStatus status) {
        element->statuses.emplace_back(attribute, status);
    }
    Element page() const { return claude.pageElement(); }
    Element editor() const { return claude.editorElement(); }
    Element send() const { return claude.sendElement(); }
    /// The editor's ancestor at this level; its parent has level 1, the composer's root level 5.
    Element group(int level) const {
        auto* ancestor = editor().get();
        while (level-- > 0) ancestor = ancestor->parent();
        return ancestor->shared_from_this();
    }
    Element root() const { return group(5); }
    Element addButton(std::string_view attribute, const std::string& label) {
        return add(root(), "AXButton", attribute, label);
    }
    static std::vector<Element> everythingBelow(const Element& root) {
        std::vector<Element> all{root};
        for (std::size_t i = 0; i < all.size(); ++i) {
            const auto element = all[i]; // The list grows.
            all.insert(all.end(), element->below().begin(), element->below().end());
        }
        return all;
    }
    /// Gives the page that is shown another address, and nothing else.
    void address(const std::string& path, const std::string& origin = "https://claude.ai") const {
        page()->set("AXURL", AXURL{origin + path});
    }
    Element application() const { return claude.windowElement()->parent()->shared_from_this(); }
    void openAnotherWindow() {
        application()->set("AXFocusedWindow", add(application(), "AXWindow")->handle());
    }

    // What happens

    void type(const std::string& text) { claude.userSetsDraft(claude.shown(), text); }
    void attach() { claude.userAttaches(claude.shown()); }
    void reply() {
        claude.habits.reply = std::chrono::hours(1);
        claude.repliesOnItsOwn(claude.shown());
    }
    void leaveTheFront() { desktop.applications.bringToFront(SimulatedApplications::self); }
    /// What happens instead of the navigation when the system is asked to open a URL.
    void whenURLOpens(std::function<void()> happen) {
        claude.habits.ignoresURLs = true;
        before["openURL"] = std::move(happen);
    }

    // Orvel

    ConversationReference reference() const {
        return {.agent = Agent::claude,
                .sessionID = "11111111-1111-4111-8111-111111111111",
                .desktopSessionID = target};
    }

    static Task<void> observe(Task<void> work, Outcome& outcome) {
        try {
            co_await work;
            outcome.succeeded = true;
        } catch (const RelaySendError& failure) {
            outcome = {false, failure.what(), failure.canRetry()};
        } catch (const std::exception& failure) {
            outcome = {false, failure.what(), false};
        }
    }
    template <typename T>
    static Task<void> keep(Task<T> work, std::optional<T>& result) {
        result = co_await work;
    }

    Outcome run(Task<void> work) {
        loop.runFor(std::chrono::milliseconds(0));
        Outcome outcome;
        TaskScope tasks;
        tasks.start(observe(std::move(work), outcome));
        loop.runUntil([&] { return tasks.isIdle(); }, std::chrono::minutes(5));
        EXPECT_TRUE(tasks.isIdle());
        return outcome;
    }
    template <typename T>
    Outcome run(Task<T> work, std::optional<T>& result) {
        return run(keep(std::move(work), result));
    }

    Task<bool> hasReceived(std::string text) {
        ++receiptChecks;
        const auto& received = claude.conversation(target)->received;
        co_return std::find(received.begin(), received.end(), text) != received.end();
    }
    ClaudeRelaySender::ReceiptCheck receiptOf(const std::string& text) {
        return [this, text] { return hasReceived(text); };
    }
    Outcome perform(const std::string& text, const ConversationReference& to) {
        return run(sender.performSend(savedTransfer(text), to, receiptOf(text)));
    }
    Outcome perform(const std::string& text = "Hello") { return perform(text, reference()); }

    std::string line() { return history.current()->line().text(); }
    int writes() { return count["setAttribute"]; }
    int presses() { return count["performAction"]; }

    TemporaryFolder folder = TemporaryFolder::quick();
    SimulatedDesktop desktop;
    SimulatedLoop& loop = desktop.loop;
    SimulatedClaude claude{desktop, folder.path("projects"), folder.path("records")};
    ClaudeRelayDiagnosticHistory history;
    Desktop ports = desktop.ports();
    AgentFolders folders{folder.path(), folder.path("codex"), folder.path(), folder.path("records")};
    ClaudeDesktopRelaySender sender{ports, history, folders};
    Element shell; ///< A page of the application's own, beside the conversation's.

    std::map<std::string, int, std::less<>> count;                    ///< Of calls by operation.
    std::map<std::string, AXStatus, std::less<>> refused;             ///< Operations, and their answers.
    std::map<std::string, std::function<void()>, std::less<>> before; ///< What precedes a call.
    std::function<void(int number)> beforeRead;
    std::optional<AXStatus> nextRead; ///< What the next read answers instead.
    MainLoop::Duration readTime{1'000};
    std::function<void()> afterWrite, afterPress; ///< A moment later. The press is that of Send.
    int receiptChecks = 0;

  private:
    void see(const SimulatedClaude::Deed& deed) {
        using Kind = SimulatedClaude::Deed::Kind;
        if (deed.kind == Kind::written && afterWrite) loop.outside({}, afterWrite);
        if (deed.kind == Kind::pressedSend && afterPress) loop.outside({}, afterPress);
    }

    void see(SimulatedStep& step) {
        const int number = ++count[std::string(step.operation)];
        if (const auto happens = before.find(step.operation); happens != before.end()) happens->second();
        if (const auto answer = refused.find(step.operation); answer != refused.end())
            step.report = answer->second;
        if (step.operation != "attribute") return;
        if (beforeRead) beforeRead(number);
        step.delay = readTime;
        if (nextRead) step.report = *std::exchange(nextRead, {});
    }
};

} // namespace orvel
