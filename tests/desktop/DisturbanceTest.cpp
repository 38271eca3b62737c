// What becomes of a message whose agent is killed, hangs, or draws its page anew in the middle of the road:
// nothing is doubled, nothing is lost, and the clipboard gets back what it held.

#include "desktop/OrvelDesk.h"

#include <csignal>
#include <span>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto precious = "what the person copied last";

enum class Disturbance { killed, hangs, drawnAnew };

struct Case {
    const char* name;
    Disturbance disturbance;
    const char* app;   ///< Whose page it happens to.
    const char* after; ///< What is seen of the page before; with an empty one, the Return is held.
};

const Case cases[] = {
    {"Claude hangs as the text is pasted", Disturbance::hangs, "claude", "pasted"},
    {"Claude is drawn anew as the text is pasted", Disturbance::drawnAnew, "claude", "pasted"},
    {"Claude hangs once Send is pressed", Disturbance::hangs, "claude", "pressed"},
    {"Codex hangs behind the Return", Disturbance::hangs, "codex", ""},
    {"Codex is drawn anew behind the first copy", Disturbance::drawnAnew, "codex", "copied"},
};
const Case fatal[] = {{"Claude is killed as the text is pasted", Disturbance::killed, "claude", "pasted"}};

class DisturbanceTest : public OrvelDeskTest {};

void disturb(OrvelDesk& desk, const Case& row) {
    auto& browser = row.app == std::string("claude") ? desk.session.claude() : desk.session.codex();
    switch (row.disturbance) {
    case Disturbance::killed: browser.signal(SIGKILL); return;
    case Disturbance::drawnAnew: desk.session.order(row.app, "reload"); return;
    case Disturbance::hangs: break;
    }
    browser.signal(SIGSTOP);
    desk.runFor(1500ms);
    browser.signal(SIGCONT);
}

void judge(std::span<const Case> cases) {
    OrvelDesk desk;
    desk.prove();
    const auto others = XConnection::open(desk.session.display());
    XPasteboard elsewhere(*others, desk.session.display());
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(elsewhere.setString(precious));
        desk.session.order("codex", "draft", "");
        desk.app.model.workspace.clearInstruction();
        desk.face(desk.session.codex());
        const auto transfers = desk.transfers(), inClaude = desk.inClaude().size();
        const auto sentInCodex = desk.session.count("codex", "sent"), returns = desk.tap.returns.size();
        ASSERT_TRUE(desk.shows("codex", ""));
        desk.notice.clear();
        desk.app.model.notices.dismissError();
        const auto words = "Look at " + std::to_string(inClaude);
        desk.session.person().type("/orvel " + words);
        ASSERT_TRUE(desk.shows("codex", "/orvel " + words));
        desk.runFor(200ms);
        const auto seen = desk.session.count(row.app, row.after);
        desk.session.person().type("\n");
        ASSERT_TRUE(desk.runUntil([&] {
            if (row.after[0] == '\0') return desk.tap.returns.size() > returns;
            return desk.session.count(row.app, row.after) > seen;
        }));
        disturb(desk, row);
        desk.runFor(8s);
        EXPECT_TRUE(desk.runUntil([&] { return desk.app.model.isIdle() && desk.app.monitoring.isIdle(); }));

        EXPECT_EQ(desk.session.count("codex", "sent"), sentInCodex) << "the command itself was sent";
        const auto arrived = desk.inClaude().size() - inClaude;
        EXPECT_LE(arrived, 1U) << "doubled";
        const bool isMessage = desk.transfers() > transfers;
        const bool isReceived = isMessage && desk.lastTransfer().status == RelayTransfer::Status::received;
        EXPECT_EQ(isReceived, arrived == 1) << "what Orvel says of the message is so";
        // The words are in the message, in the next message's note, or still in the editor.
        const auto note = desk.app.model.workspace.state().instruction.get();
        const bool isPlaced = !isMessage && note.find(words) != std::string::npos;
        const bool isKept =
            isMessage ? desk.lastTransfer().payload->find(words) != std::string::npos
                      : isPlaced || desk.session.editorText("codex").find(words) != std::string::npos;
        EXPECT_TRUE(isKept) << "lost; note: " << note;
        auto told = desk.app.model.notices.error().value_or(desk.notice);
        if (told.empty() && isPlaced) told = desk.app.model.notices.status();
        EXPECT_TRUE(isReceived || !told.empty()) << "and nobody was told";
        EXPECT_EQ(elsewhere.data(0, std::string(PasteboardType::string)), precious) << "the clipboard";
        std::printf("%s: %s; %s\n", row.name,
                    isReceived  ? "received"
                    : isMessage ? "kept"
                                : "stays",
                    told.c_str());
        desk.awaitReplies();
        if (isMessage && !isReceived && row.disturbance != Disturbance::killed) {
            // What was kept stands in the editor too, and the person sends it.
            desk.face(desk.session.claude());
            ASSERT_TRUE(desk.shows("claude", *desk.lastTransfer().payload));
            desk.session.person().type("\n");
            EXPECT_TRUE(desk.isReceived(transfers + 1));
            EXPECT_EQ(desk.inClaude().size(), inClaude + 1);
        }
        desk.awaitReplies();
    }
}

TEST_F(DisturbanceTest, nothingIsDoubledOrLost) {
    judge(cases);
}

TEST_F(DisturbanceTest, norIfTheAgentEnds) {
    judge(fatal);
}

TEST_F(DisturbanceTest, norInALongConversation) {
    constexpr int messages = 1'180; // Three elements each, and the window's own: as many as Orvel looks at.
    OrvelDesk desk(messages);
    desk.prove();
    const auto inCodex = desk.inCodex().size(), inClaude = desk.inClaude().size();
    const auto command = [&](const std::string& app, OwnChild& browser) {
        desk.face(browser);
        desk.session.person().type("/orvel Look");
        EXPECT_TRUE(desk.shows(app, "/orvel Look"));
        desk.runFor(300ms);
        desk.session.person().type("\n");
    };
    command("claude", desk.session.claude());
    desk.runFor(3s);
    EXPECT_EQ(desk.session.count("claude", "sent"), 0U) << "held, although there is much around it";
    const auto& held = desk.tap.returns.back();
    std::printf("%d messages shown, from Claude: handler %.1f ms; %s; %zu new in Codex\n", messages,
                held.took, desk.app.monitoring.monitor.state().commandRemovalDescription->c_str(),
                desk.inCodex().size() - inCodex);
    EXPECT_TRUE(desk.transfers() == 1 || desk.isReceived(2));
    desk.awaitReplies();

    desk.app.model.workspace.clearInstruction();
    const auto transfers = desk.transfers();
    const auto began = unixMilliseconds();
    command("codex", desk.session.codex());
    desk.runFor(2s);
    EXPECT_TRUE(desk.runUntil([&] { return desk.app.model.isIdle() && desk.app.monitoring.isIdle(); }));
    const auto took = unixMilliseconds() - began;
    const auto arrived = desk.inClaude().size() - inClaude;
    EXPECT_LE(arrived, 1U);
    const bool isReceived =
        desk.transfers() > transfers && desk.lastTransfer().status == RelayTransfer::Status::received;
    EXPECT_EQ(isReceived, arrived == 1);
    const auto told = desk.app.model.notices.error().value_or(desk.notice);
    EXPECT_TRUE(isReceived || !told.empty());
    std::printf("%d messages shown, into Claude: %s in %.1f s; %s\n", messages,
                isReceived ? "received" : "not received", took / 1000, told.c_str());
}

} // namespace
} // namespace orvel
