#pragma once
// A Claude application of the shape that the delivery knows: two conversations, an editor that grows a Send
// button with its text, and a transcript that gets what is sent.

#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/platform/simulated/SimulatedTyping.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "delivery/ScriptedTree.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct ScriptedApplications : UnavailableApplications {
    ProcessID ownProcess() override { return 7; }
    std::optional<RunningApplication> frontmost() override { return front; }
    std::optional<ApplicationBundle> bundleOf(ProcessID) override {
        return ApplicationBundle{"com.anthropic.claudefordesktop", claudeVersion};
    }
    std::optional<ApplicationBundle> bundleAt(const std::string&) override {
        return ApplicationBundle{"com.google.inputmethod.Japanese", "3.34.6260"};
    }
    std::optional<std::string> location(const std::string& bundleID) override {
        asked.push_back(bundleID);
        return isInstalled ? std::optional<std::string>("/Applications/Claude.app") : std::nullopt;
    }
    Task<bool> openApplication(std::string) override {
        ++opened;
        co_return opens;
    }
    bool openURL(const std::string& url) override {
        urls.push_back(url);
        return onURL ? onURL(url) : true;
    }

    void bringToFront(std::optional<std::string> bundleID, ProcessID process = 3) {
        front = {std::move(bundleID), process};
    }

    std::optional<RunningApplication> front = RunningApplication{"com.anthropic.claudefordesktop", 40};
    std::string claudeVersion = "3.6556.2";
    bool isInstalled = true, opens = true;
    int opened = 0;
    std::vector<std::string> asked, urls;
    std::function<bool(const std::string&)> onURL;
};

struct ScriptedWindows : WindowList {
    explicit ScriptedWindows(SimulatedLoop& loop) : loop(loop) {}
    Read reader() override {
        return [this](std::size_t most) {
            loop.spend(latency);
            askedFor = most;
            if (onRead) onRead();
            return names;
        };
    }

    SimulatedLoop& loop;
    MainLoop::Duration latency{0};
    std::size_t askedFor = 0;
    std::function<void()> onRead;
    std::optional<std::vector<OwnerName>> names = std::vector<OwnerName>{"Claude", "Dock"};
};

/// Does the work at once, and says that it took too long if it did. Can keep it for later.
struct ScriptedQueue : SideQueue {
    explicit ScriptedQueue(SimulatedLoop& loop) : loop(loop) {}
    bool run(std::function<void()> work, MainLoop::Duration maximumWait) override {
        lastWait = maximumWait;
        if (hangs) {
            late = std::move(work);
            loop.spend(maximumWait);
            return false;
        }
        const auto before = loop.uptime();
        work();
        return loop.uptime() - before <= maximumWait;
    }

    SimulatedLoop& loop;
    MainLoop::Duration lastWait{0};
    bool hangs = false;
    std::function<void()> late;
};

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

struct ScriptedClaude {
    static constexpr const char* target = "local_11111111-1111-4111-8111-111111111111";
    static constexpr const char* transferID = "aaaaaaaa-aaaa-4aaa-8aaa-aaaaaaaaaaaa";
    static constexpr const char* targetPath = "/epitaxy/local_11111111-1111-4111-8111-111111111111";
    static constexpr const char* otherPath = "/epitaxy/local_22222222-2222-4222-8222-222222222222";

    explicit ScriptedClaude(const std::string& path = targetPath) {
        build(path);
        tree.onWrite = [this](ScriptedNode& node, const std::string& name, const AXValue& value) {
            ++writes;
            if (node.isGone) return AXStatus::invalidElement;
            if (writeStatus == AXStatus::success && &node == editor && name == "AXValue")
                type(std::get<std::string>(value));
            if (afterWrite) afterWrite();
            return writeStatus;
        };
        tree.onAction = [this](ScriptedNode& node, const std::string& name) {
            pressed.push_back(node.id);
            if (node.isGone) return AXStatus::invalidElement;
            if (name == "AXPress" && &node == send && pressStatus == AXStatus::success && sends) deliver();
            if (onPress) onPress(node);
            return pressStatus;
        };
        applications.onURL = [this](const std::string& url) {
            if (navigates) show(url.substr(url.find("/epitaxy")));
            return opensURLs;
        };
        history.begin(transferID, transferID, loop.now());
    }

    void build(const std::string& path) {
        auto& application = tree.add(nullptr, "AXApplication");
        tree.applicationNode = &application;
        window = &tree.add(&application, "AXWindow");
        application.set("AXFocusedWindow", ScriptedTree::elementOf(*window));
        auto& shell = tree.add(window, "AXWebArea");
        shell.set("AXURL", AXURL{"file:///Applications/Claude.app/index.html"});
        shellPage = &shell;
        buildPage(path);
    }

    void buildPage(const std::string& path) {
        page = &tree.add(&tree.add(window, "AXGroup"), "AXWebArea");
        address(path);
        auto& thread = tree.add(page, "AXGroup");
        tree.add(&thread, "AXStaticText").set("AXValue", "An earlier message");
        auto* group = &tree.add(&tree.add(page, "AXGroup"), "AXGroup");
        root = group;
        groups = {group};
        for (int level = 0; level < 4; ++level) groups.push_back(group = &tree.add(group, "AXGroup"));
        editor = &tree.add(group, "AXTextArea");
        editor->set("AXDescription", "Prompt");
        editor->set("AXValue", "");
        editor->fail("AXTextInputMarkedTextMarkerRange", AXStatus::noValue);
        moveCaret(0);
        tree.add(root, "AXButton").set("AXTitle", "Add files");
        send = nullptr;
    }

    /// Leaves the page for another one, with another editor.
    void show(const std::string& path) {
        tree.remove(*page->parent);
        buildPage(path);
    }

    /// Gives the page that is shown another address, and nothing else.
    void address(const std::string& path, const std::string& origin = "https://claude.ai") {
        page->set("AXURL", AXURL{origin + path});
    }

    void moveCaret(std::int64_t location) { editor->set("AXSelectedTextRange", AXRange{location, 0}); }

    void openAnotherWindow() {
        auto& another = tree.add(tree.applicationNode, "AXWindow");
        tree.applicationNode->set("AXFocusedWindow", ScriptedTree::elementOf(another));
    }

    /// What happens instead of the navigation when the system is asked to open a URL.
    void whenURLOpens(std::function<void()> happen) {
        applications.onURL = [happen = std::move(happen)](const std::string&) {
            happen();
            return true;
        };
    }

    void attach() { addButton("AXTitle", "Remove a.png"); }
    void reply() { addButton("AXTitle", "Stop"); }

    ScriptedNode& addButton(const std::string& attribute, const std::string& label) {
        auto& button = tree.add(root, "AXButton");
        button.set(attribute, label);
        return button;
    }

    void type(const std::string& text) {
        editor->set("AXValue", text);
        if (text.empty() == (send == nullptr)) return;
        if (text.empty()) {
            tree.remove(*send);
            send = nullptr;
        } else {
            addSendButton();
        }
    }

    void addSendButton() {
        send = &addButton("AXDescription", "Send");
        send->set("AXEnabled", true);
    }

    void replaceSendButton() {
        if (!send) return;
        tree.remove(*send);
        addSendButton();
    }

    void deliver() {
        transcript.push_back(*editor->attributes["AXValue"].as<std::string>());
        type("");
    }

    static Task<bool> receipt(const ScriptedClaude* claude, std::string text) {
        ++claude->receiptChecks;
        co_return !claude->receiptsAreLate &&
            std::find(claude->transcript.begin(), claude->transcript.end(), text) != claude->transcript.end();
    }
    ClaudeRelaySender::ReceiptCheck receiptOf(const std::string& text) const {
        return [this, text] { return receipt(this, text); };
    }

    static ConversationReference reference(const std::string& desktopSessionID = target) {
        ConversationReference reference;
        reference.agent = Agent::claude;
        reference.sessionID = "11111111-1111-4111-8111-111111111111";
        reference.desktopSessionID = desktopSessionID;
        return reference;
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
        Outcome outcome;
        TaskScope tasks;
        tasks.start(observe(std::move(work), outcome));
        loop.run();
        EXPECT_TRUE(tasks.isIdle());
        return outcome;
    }
    template <typename T>
    Outcome run(Task<T> work, std::optional<T>& result) {
        return run(keep(std::move(work), result));
    }

    Outcome perform(const std::string& text = "Hello", const ConversationReference& to = reference()) {
        return run(sender.performSend(text, to, receiptOf(text)));
    }
    Outcome submitExisting(const std::string& text = "Hello") {
        return run(sender.submitExistingDraft(text, reference(), receiptOf(text)));
    }

    std::string line() { return history.current()->line().text(); }

    SimulatedLoop loop;
    ScriptedTree tree{loop};
    ScriptedApplications applications;
    SimulatedSteps steps{loop};
    SimulatedInputSources inputSources{steps};
    ScriptedWindows windows{loop};
    ScriptedQueue queue{loop};
    ClaudeRelayDiagnosticHistory history;
    AgentFolders folders;
    ClaudePorts ports{loop, tree, applications, inputSources, windows, queue};
    ClaudeDesktopRelaySender sender{ports, history, folders};

    ScriptedNode *window = nullptr, *shellPage = nullptr, *page = nullptr, *root = nullptr, *editor = nullptr,
                 *send = nullptr;
    std::vector<ScriptedNode*> groups; ///< From the composer's root down to the editor's parent.
    std::vector<std::string> transcript;
    bool sends = true, navigates = true, opensURLs = true, receiptsAreLate = false;
    mutable int receiptChecks = 0;
    int writes = 0;
    std::vector<int> pressed; ///< What was pressed.
    AXStatus writeStatus = AXStatus::success, pressStatus = AXStatus::success;
    std::function<void()> afterWrite;
    std::function<void(ScriptedNode&)> onPress;
};

} // namespace orvel
