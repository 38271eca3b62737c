#pragma once
// Orvel at work on a real desktop, with both agents' pages on it and a person at the keyboard.

#include "desktop/RealDesktop.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Passes a tap's events on, and keeps what became of each Return.
class WatchedTap : public KeyboardTap {
  public:
    struct Return {
        TapEvent event;
        TapAnswer answer = TapAnswer::pass;
        double at = 0,
               took = 0; ///< When it was answered, in milliseconds of the Unix epoch, and how long that took.
    };

    explicit WatchedTap(KeyboardTap& tap) : tap(tap) {}

    bool isAvailable() const override { return tap.isAvailable(); }
    bool isListeningGranted() override { return tap.isListeningGranted(); }
    void requestListening() override { tap.requestListening(); }
    TapStart start(Handler handler) override;
    void stop() override { tap.stop(); }
    bool isEnabled() override { return tap.isEnabled(); }

    std::vector<Return> returns;

  private:
    KeyboardTap& tap;
};

/// In milliseconds of the Unix epoch, as the pages tell time.
double unixMilliseconds();

class OrvelDesk {
  public:
    static constexpr auto desktopID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";
    static constexpr auto otherDesktopID = "local_1f8fad5b-d9cb-469f-a165-70867728950e";
    static constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";
    static constexpr auto otherClaudeID = "5b0d714f-0000-4000-8000-000000000003";
    static constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";

    /// Starts everything, and waits until Orvel has proved that it can read both editors.
    explicit OrvelDesk(int messagesShown = 3, TestSession::Typing typing = TestSession::Typing::plain);

    bool runUntil(const std::function<bool()>& condition) { return desktop.runUntil(condition); }
    void runFor(std::chrono::milliseconds duration) { desktop.world.runFor(duration); }
    /// Brings the application to the front, as a click on its window would.
    void face(OwnChild& browser);
    /// Until the editor's text is this one, on the page and as Orvel reads it.
    bool shows(const std::string& agent, const std::string& text);
    /// Joins the conversations, and sends a message to Codex that is received.
    void prove();
    const RelayTransfer& lastTransfer() { return app.model.ledger.state().relayState->transfers.back(); }
    std::size_t transfers() { return app.model.ledger.state().relayState->transfers.size(); }
    /// Whether the last message was received; says what was told instead if it wasn't within a minute.
    testing::AssertionResult isReceived(std::size_t transfer);
    /// Until neither agent is at a reply.
    void awaitReplies();
    /// The messages that stand in the destinations.
    std::vector<std::string> inCodex();
    std::vector<std::string> inClaude(const std::string& sessionID = claudeID);

    TestSession session;
    RealDesktop desktop;
    WatchedTap tap{desktop.tap};
    OrvelApp app;
    std::string notice;

  private:
    std::string transcriptOf(const std::string& sessionID) const {
        return session.path("home/.claude/projects/-code-lark/" + sessionID + ".jsonl");
    }
    Desktop ports();
};

/// A test on such a desktop, skipped where there is none.
class OrvelDeskTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = TestSession::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
    }
};

} // namespace orvel
