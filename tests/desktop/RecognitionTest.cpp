// Whether Orvel recognises the editors of both agents' pages as a real browser shows them.

#include "Orvel/delivery/ClaudeWindowReader.h"
#include "Orvel/monitor/EditorRecognition.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "desktop/RealDesktop.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto desktopID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";
constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";

class RecognitionTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = TestSession::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        session.emplace(std::vector<PageConversation>{{desktopID, claudeID}}, codexID);
        session->startClaude(desktopID);
        session->startCodex();
        desktop.emplace(*session);
    }
    void TearDown() override {
        desktop.reset();
        session.reset();
    }

    EditorRecognition recognise(Agent agent, ProcessID process) {
        const auto app = desktop->accessibility.application(process);
        EXPECT_EQ(desktop->accessibility.setAttribute(app, "AXManualAccessibility", true), AXStatus::success);
        AXReading focused;
        EXPECT_TRUE(desktop->runUntil([&] {
            focused = desktop->accessibility.attribute(app, "AXFocusedUIElement");
            const auto* element = focused.as<AXElement>();
            return element && desktop->accessibility.attribute(*element, "AXRole").value ==
                                  AXValue(std::string("AXTextArea"));
        }));
        DiagnosticFacts facts;
        TimedReads reads(desktop->world.loop, desktop->accessibility, facts);
        const OpenBudget budget(reads, 5s);
        const auto began = desktop->world.loop.uptime();
        auto found = recognizeEditor(reads, facts, *focused.as<AXElement>(), agent);
        const std::chrono::duration<double, std::milli> took = desktop->world.loop.uptime() - began;
        std::printf("%s, %.1f ms, %llu reads\n", found.line.text().c_str(), took.count(),
                    static_cast<unsigned long long>(reads.calls()));
        return found;
    }

    std::optional<TestSession> session;
    std::optional<RealDesktop> desktop;
};

TEST_F(RecognitionTest, bothEditorsAreRecognised) {
    const auto codex = recognise(Agent::codex, session->codex().id());
    EXPECT_EQ(codex.recognition, ComposerRecognition::verified);

    ASSERT_TRUE(desktop->runUntil([&] {
        return desktop->applications.activate(session->claude().id()) &&
               desktop->applications.frontmost()->process == session->claude().id();
    }));
    session->person().type("/orvel Look");
    ASSERT_TRUE(desktop->runUntil([&] { return session->editorText("claude") == "/orvel Look"; }));
    desktop->world.runFor(300ms);
    const auto typed = recognise(Agent::claude, session->claude().id());
    EXPECT_EQ(typed.recognition, ComposerRecognition::verified);
    ASSERT_TRUE(typed.codeContext);
    EXPECT_EQ(typed.codeContext->desktopSessionID, desktopID);

    ClaudeRelayDiagnosticHistory history;
    ClaudeWindowReader reader(desktop->ports(), history);
    std::optional<ClaudeSnapshot> snapshot;
    const auto began = desktop->world.loop.uptime();
    const auto take = [&]() -> Task<void> {
        ClaudeSnapshotRequest request{.path = std::string("/epitaxy/") + desktopID};
        auto taken = co_await reader.snapshot(std::move(request));
        snapshot = std::move(taken);
    };
    EXPECT_EQ(desktop->world.outcomeOf(take()), "done");
    const std::chrono::duration<double, std::milli> took = desktop->world.loop.uptime() - began;
    std::printf("snapshot: %.1f ms\n", took.count());
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->text, "/orvel Look");
    EXPECT_TRUE(snapshot->sendButton);
    EXPECT_TRUE(snapshot->canSend());
}

} // namespace
} // namespace orvel
