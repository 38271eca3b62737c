// When the agents' applications are asked for their editors, when these are read, and what counts as proved.

#include "MonitoredDesktop.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

const std::string unreadRequest = "Codex: Waiting for preparation (attempt 1, read check in 3 seconds, ";

struct EditorPreparationTest : testing::Test, MonitoredDesktop {
    // One look, and what it begins.
    std::string prepared() {
        preparation.prepare();
        loop.runFor(0s);
        return told();
    }
    std::string preparedAfter(MainLoop::Duration span) {
        loop.runFor(span);
        return prepared();
    }
    // What is told of Codex.
    std::string told() const {
        const auto& text = preparation.description();
        return text.substr(0, text.find('\n'));
    }
    std::optional<ProcessID> ready() const { return preparation.readyProcess(Agent::codex); }
};

TEST_F(EditorPreparationTest, AsksAtOnceAndReadsThreeSecondsLater) {
    EXPECT_EQ(preparation.description(), "Codex: Not attempted\nClaude: Not attempted");
    const auto process = desktop.applications.start(codex);
    preparation.prepare();
    EXPECT_EQ(preparation.description(),
              "Codex: Preparing AX exposure (attempt 1)\nClaude: Waiting for app launch");
    EXPECT_EQ(prepared(), unreadRequest + "AX exposure settings=0)");
    const std::string waiting = "Codex: Waiting for preparation (attempt 1, read check in ";
    EXPECT_EQ(preparedAfter(1s), waiting + "2 seconds, AX exposure settings=0)");
    EXPECT_EQ(preparedAfter(1100ms), waiting + "1 seconds, AX exposure settings=0)");
    EXPECT_EQ(preparedAfter(899ms), waiting + "1 seconds, AX exposure settings=0)");
    EXPECT_FALSE(ready());
    loop.runFor(1ms);
    preparation.prepare();
    EXPECT_EQ(told(), "Codex: Checking editor readability");
    loop.runFor(0s);
    EXPECT_EQ(told(), "Codex: Read verified (Focus read=0, Role read=0/AXTextArea)");
    EXPECT_EQ(ready(), process);
    EXPECT_EQ(preparedAfter(60s), told()) << "proved once, it is read no more";
    EXPECT_EQ(codex.requests(), 1);
    EXPECT_EQ(codex.applicationElement()->messagingTimeout, 100ms);
    EXPECT_EQ(codex.editorElement()->messagingTimeout, 100ms);
}

TEST_F(EditorPreparationTest, AnApplicationThatMustBeRestartedIsToldOfUntilItIs) {
    bool isTooOld = true;
    desktop.steps.observer = [&](SimulatedStep& step) {
        if (!isTooOld) return;
        if (step.operation == "setAttribute") step.report = AXStatus::needsRestart;
        if (step.operation == "attribute") step.report = AXStatus::invalidElement;
    };
    desktop.applications.start(codex);
    prepared();
    EXPECT_FALSE(preparation.needsRestart(Agent::codex)) << "it may be just starting";
    for (int second = 0; second < 10; ++second) preparedAfter(1s);
    EXPECT_TRUE(preparation.needsRestart(Agent::codex));
    const auto changesBefore = changes.count();
    for (int second = 0; second < 20; ++second) preparedAfter(1s);
    EXPECT_EQ(changes.count(), changesBefore) << "nothing is shown anew for hours";
    EXPECT_FALSE(ready());
    isTooOld = false;
    for (int second = 0; second < 10; ++second) preparedAfter(1s);
    EXPECT_FALSE(preparation.needsRestart(Agent::codex));
    EXPECT_TRUE(ready());
}

TEST_F(EditorPreparationTest, OnlyARoleThatCanBeReadProvesTheEditor) {
    struct Row {
        const char* what;
        std::function<void(SimulatedCodexApp&)> change;
        std::string notes;
        bool isReadable;
    };
    const auto focused = [](SimulatedCodexApp& app, const AXValue& value) {
        app.applicationElement()->set("AXFocusedUIElement", value);
    };
    const auto failing = [](const SimulatedElement::Shared& element, const char* name, AXStatus status) {
        element->statuses = {{name, status}};
    };
    const std::vector<Row> rows{
        {"an unknown role", [](auto& app) { app.editorElement()->set("AXRole", "AXSecret"); },
         "Focus read=0, Role read=0/Other role", true},
        {"no focus", [&](auto& app) { focused(app, AXValue()); }, "Focus read=-25212", false},
        {"a focus that is no element", [&](auto& app) { focused(app, "x"); }, "Focus read=0", false},
        {"a focus that can't be read",
         [&](auto& app) {
             failing(app.applicationElement(), "AXFocusedUIElement", AXStatus::cannotComplete);
         },
         "Focus read=-25204", false},
        {"no role", [](auto& app) { app.editorElement()->set("AXRole", AXValue()); },
         "Focus read=0, Role read=-25212/Unavailable", false},
        {"a role that is no text", [](auto& app) { app.editorElement()->set("AXRole", true); },
         "Focus read=0, Role read=0/Unavailable", false},
        {"a role that can't be read",
         [&](auto& app) { failing(app.editorElement(), "AXRole", AXStatus::cannotComplete); },
         "Focus read=0, Role read=-25204/Unavailable", false},
    };
    codex.habits.isExposed = true;
    for (const auto& [what, change, notes, isReadable] : rows) {
        // A request that is refused is followed by a read at once, one that is granted by a later one.
        for (const bool isGranted : {true, false}) {
            const auto process = desktop.applications.start(codex);
            codex.habits.answersRequest = isGranted ? AXStatus::success : AXStatus::attributeUnsupported;
            if (isGranted) {
                prepared();
                EXPECT_FALSE(ready()) << "granted, it takes time to appear";
                loop.runFor(3s);
            }
            change(codex);
            const auto now = prepared();
            const auto noted = isGranted ? notes : "AX exposure settings=-25205, " + notes;
            const auto unread = isGranted ? "Codex: Read unverified; waiting to retry (" : unreadRequest;
            EXPECT_EQ(now, (isReadable ? "Codex: Read verified (" : unread) + noted + ")") << what;
            EXPECT_EQ(ready(), isReadable ? std::optional(process) : std::nullopt) << what;
            desktop.applications.quit(codex);
            preparation.prepare();
        }
    }
}

TEST_F(EditorPreparationTest, TriesAgainAsOftenAsItTakes) {
    codex.habits.isExposed = true;
    const auto process = desktop.applications.start(codex);
    codex.editorElement()->statuses = {{"AXRole", AXStatus::cannotComplete}};
    for (int second = 0; second < 400; ++second) preparedAfter(1s);
    EXPECT_EQ(codex.requests(), 100);
    EXPECT_EQ(told(),
              "Codex: Read unverified; waiting to retry (Focus read=0, Role read=-25204/Unavailable)");
    codex.editorElement()->statuses.clear();
    for (int second = 0; second < 4; ++second) preparedAfter(1s);
    EXPECT_EQ(ready(), process);
}

TEST_F(EditorPreparationTest, AnotherProcessBeginsAnew) {
    desktop.applications.start(codex);
    for (int second = 0; second < 4; ++second) preparedAfter(1s);
    EXPECT_TRUE(ready());
    desktop.applications.quit(codex);
    codex.version = "";
    const auto next = desktop.applications.start(codex);
    EXPECT_EQ(prepared(), unreadRequest + "AX exposure settings=0)") << "between two looks";
    EXPECT_FALSE(ready());
    EXPECT_EQ(preparation.targetVersion(Agent::codex), "Version unknown");
    preparedAfter(3s);
    EXPECT_EQ(ready(), next);
    desktop.applications.quit(codex);
    EXPECT_EQ(prepared(), "Codex: Waiting for app launch");
    EXPECT_FALSE(ready());
    EXPECT_FALSE(preparation.targetVersion(Agent::codex));
}

TEST_F(EditorPreparationTest, ALateResultChangesNothing) {
    struct Row {
        const char* what;
        std::function<void()> meanwhile;
        std::string end;
    };
    const std::string stopped = "Codex / Claude editor read preparation: Monitoring stopped";
    PromptCodex newer(desktop);
    const std::vector<Row> rows{
        {"another instance is in front",
         [&] {
             desktop.applications.bringToFront(desktop.applications.start(newer));
             preparation.prepare();
             desktop.applications.quit(newer);
         },
         "Codex: Checking editor readability"},
        {"stopped", [&] { preparation.stop(); }, stopped},
        {"stopped, and begun again",
         [&] {
             preparation.stop();
             loop.runFor(100ms);
             preparation.prepare();
         },
         "Codex: Preparing AX exposure (attempt 1)"},
        {"quit, and nobody has looked", [&] { desktop.applications.quit(codex); },
         "Codex: Checking editor readability"},
        {"quit",
         [&] {
             desktop.applications.quit(codex);
             preparation.prepare();
         },
         "Codex: Waiting for app launch"},
        {"started anew",
         [&] {
             desktop.applications.quit(codex);
             desktop.applications.start(codex);
             preparation.prepare();
         },
         "Codex: Checking editor readability"},
    };
    for (const auto& [what, meanwhile, end] : rows) {
        desktop.applications.start(codex);
        loop.setBackgroundDuration(0ms);
        prepared();
        loop.runFor(3s);
        loop.setBackgroundDuration(500ms);
        prepared();
        const auto requests = codex.requests();
        prepared();
        const auto arrival = loop.uptime() + 500ms;
        meanwhile();
        loop.runFor(arrival - loop.uptime());
        EXPECT_EQ(told(), end) << what;
        EXPECT_FALSE(ready()) << what;
        EXPECT_EQ(codex.requests(), requests) << what << ": one at a time";
        desktop.applications.quit(codex);
        preparation.stop();
    }
}

TEST_F(EditorPreparationTest, PrefersTheInstanceInFrontAndElseTheFirst) {
    PromptCodex newer(desktop);
    newer.version = "2.0";
    const auto first = desktop.applications.start(codex), other = desktop.applications.start(newer);
    for (int second = 0; second < 4; ++second) preparedAfter(1s);
    EXPECT_EQ(ready(), first);
    EXPECT_EQ(preparation.targetVersion(Agent::codex), "1.2.3");
    desktop.applications.bringToFront(other);
    for (int second = 0; second < 4; ++second) preparedAfter(1s);
    EXPECT_EQ(ready(), other);
    EXPECT_EQ(preparation.targetVersion(Agent::codex), "2.0");
    desktop.steps.observer = [](SimulatedStep& step) {
        if (step.operation == "bundleOf") step.report = AXStatus::failure;
    };
    prepared(); // Without a bundle it stays as it was.
    preparation.stop();
    EXPECT_FALSE(ready());
    EXPECT_EQ(preparation.targetVersion(Agent::codex), "2.0");
}

TEST_F(EditorPreparationTest, GoesOnWhereThereIsNoThread) {
    desktop.applications.start(codex);
    loop.setThreadsExhausted(true);
    EXPECT_EQ(prepared(), unreadRequest + "Read could not be started)");
    EXPECT_EQ(preparedAfter(3s), "Codex: Read unverified; waiting to retry (Read could not be started)");
    loop.setThreadsExhausted(false);
    for (int second = 0; second < 4; ++second) preparedAfter(1s);
    EXPECT_TRUE(ready());
}

} // namespace
} // namespace orvel
