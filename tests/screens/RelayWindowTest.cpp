// The relay in the window: what it says in every state of a link, and what a person can do there.

#include "Orvel/screens/MessageListView.h"
#include "Orvel/screens/Theme.h"
#include "screens/RelayWindowFixture.h"

#include <filesystem>

#include <QApplication>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QTest>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class RelayWindowTest : public RelayWindowFixture {
  protected:
    static constexpr auto newClaudeID = "5b0d714f-0000-4000-8000-0000000000aa";

    std::size_t pairs() const { return model->ledger.state().relayState->pairs.size(); }

    QModelIndex indexOf(const QString& title) {
        const auto& rows = *sidebarList().model();
        for (int row = 0; row < rows.rowCount(); ++row)
            if (rows.index(row, 0).data().toString() == title) return rows.index(row, 0);
        ADD_FAILURE() << "no row " << title.toStdString();
        return {};
    }
    void select(const QString& title) { sidebarList().setCurrentIndex(indexOf(title)); }
    // Presses the button at the right end of the row.
    void clickAction(const QString& title) {
        const auto row = sidebarList().visualRect(indexOf(title));
        QTest::mouseClick(sidebarList().viewport(), Qt::LeftButton, {}, {row.right() - 30, row.center().y()});
        settle();
    }
    void dropOnNewCard(const std::string& path) {
        auto* card = shown(QAccessible::Button, ", To, New conversation");
        ASSERT_TRUE(card);
        QMimeData mime;
        mime.setData(ConversationCard::dragFormat(), QByteArray::fromStdString(path));
        QDragEnterEvent enter({5, 5}, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card->object(), &enter);
        ASSERT_TRUE(enter.isAccepted());
        QDropEvent drop({5, 5}, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card->object(), &drop);
        settle();
    }
    // The button of exactly this name, or of this name that is selected.
    void pressExactly(const QString& name) {
        for (auto* button : window->findChildren<QPushButton*>())
            if (button->isVisible() &&
                (button->accessibleName() == name || button->accessibleName() == name + ", selected"))
                button->click();
        settle();
    }
};

// What the window says in each state

struct Look {
    const char* name;
    std::function<void(RelayWindowTest&)> arrange;
    const char* title;
    const char* primary; // Empty where there is none.
    bool canSend, canCopy;
    const char* steps; // Empty where no message is on its way.
    bool canSubmitDraft;
    const char* says; // Some further text, or empty.

    friend void PrintTo(const Look& look, std::ostream* stream) { *stream << look.name; }
};

class RelayStateTest : public RelayWindowTest, public testing::WithParamInterface<Look> {};

constexpr auto savedOnly = "Saved: done, Delivered: not yet, Seen in the transcript: not yet";
constexpr auto notDelivered = "Saved: done, Delivered: failed, Seen in the transcript: not yet";
constexpr auto delivered = "Saved: done, Delivered: done, Seen in the transcript: not yet";

const Look looks[] = {
    {"NoPair", [](auto& test) { test.open(), test.choose("Parser"); }, "Ready", "Start in Claude", true, true,
     "", false, "2 messages for Claude"},
    {"NoFolder", [](auto& test) { test.open(), test.choose("Review"); }, "Ready", "Start in Codex", false,
     true, "", false, "Choose the folder in which the new conversation is to work"},
    {"StartCopied",
     [](auto& test) { test.open(), test.choose("Parser"), test.trigger("Copy relay"), test.settle(); },
     "Waiting for paste", "Retry to Claude", false, false, savedOnly, false, "Paste into a new conversation"},
    {"NoDirection", [](auto& test) { test.openChain(), test.press("Codex, To, Parser"); },
     "Choose a destination", "Send to", false, false, "", false, "Use the arrows above"},
    {"OtherPending",
     [](auto& test) {
         test.chainUp(), test.state.markSubmitted(test.prepare(Agent::codex)), test.open(),
             test.press("Codex → Claude 2");
     },
     "Another transfer is pending", "Send to Claude 2", false, false, "", false, ""},
    {"PairReady", [](auto& test) { test.openPair(); }, "Ready", "Send to Claude", true, true, "", false,
     "2 messages for Claude"},
    {"BusySource", [](auto& test) { test.codexTranscript.ask("q2"), test.write(), test.openPair(); },
     "Waiting for Codex", "Send to Claude", false, false, "", false, ""},
    {"WaitingForPaste", [](auto& test) { test.prepare(Agent::codex), test.open(); }, "Waiting for paste",
     "Retry to Claude", false, false, savedOnly, true, "Waits to be pasted into Claude"},
    {"AwaitingReceipt", [](auto& test) { test.openSubmitted(Agent::codex); }, "Checking delivery…",
     "Retry to Claude", false, false, delivered, true, "What you write now is for the next transfer."},
    {"TakenUpWhileAToolRan",
     [](auto& test) {
         test.state.markSubmitted(test.prepare(Agent::codex)),
             test.claudeTranscript.takeUp(*test.state.transfers.back().payload).answer("Done."), test.write(),
             test.open();
     },
     "Checking delivery…", "Retry to Claude", false, false, delivered, true, "so no receipt will come"},
    {"LostPosition",
     [](auto& test) {
         test.pairUp(), test.state.checkpoints.set(positionKey(test.pairID, Agent::codex), "gone"),
             test.open();
     },
     "Up to date", "Send to Claude", false, false, "", false, "Check for history changes."},
    {"PendingFromTheOtherSide", [](auto& test) { test.openSubmitted(Agent::claude); }, "Ready",
     "Send to Claude", false, false, delivered, false, "waits until the message above has been seen"},
    {"RetryableAfterARestart",
     [](auto& test) { test.state.setRetryable(test.prepare(Agent::codex), true), test.open(); }, "Not sent",
     "Retry to Claude", true, false, notDelivered, true,
     "The message is saved, and nothing was inserted. Retry sends exactly the saved message"},
    {"FailedAndRetryable", [](auto& test) { test.failToSend(true); }, "Not sent", "Retry to Claude", true,
     false, notDelivered, true, "The window vanished."},
    {"FailedAndUnconfirmed", [](auto& test) { test.failToSend(false); }, "Delivery unconfirmed",
     "Retry to Claude", false, false, notDelivered, true,
     "Whether it was inserted is not known, so it is not sent again. Look in Claude: if it is not there, "
     "copy"},
    {"SourceWentOnBehindAFailure",
     [](auto& test) {
         test.state.setRetryable(test.prepare(Agent::codex), true),
             test.codexTranscript.ask("q2").answer("a2"), test.write(), test.open();
     },
     "Not sent", "Retry to Claude", false, false, notDelivered, true,
     "it can't be sent again as it stands. Copy the saved message and paste it into Claude."},
    {"TooLongForCodex",
     [](auto& test) {
         test.openPair(), test.trigger("Turn the relay round"),
             test.type("Instructions", QString(131'072, QLatin1Char('x')));
     },
     "Ready", "Send to Codex", false, true, "", false, "Codex takes 131,071 at most. Choose a later start"},
    {"NoteForTheNext",
     [](auto& test) { test.openSubmitted(Agent::codex), test.type("Instructions", "and this"); },
     "Checking delivery…", "Retry to Claude", false, false, delivered, true,
     "New messages: Showing messages after the saved message."},
    {"Sending", [](auto& test) { test.openPair(), test.trigger("Send to Claude"), test.pass(500ms); },
     "Sending to Claude…", "Retry to Claude", false, false, savedOnly, false, "Delivering…"},
};

TEST_P(RelayStateTest, SaysWhatIsGoingOnAndOffersWhatCanBeDone) {
    const auto& look = GetParam();
    look.arrange(*this);
    EXPECT_TRUE(shows(qtText(look.title)));
    EXPECT_EQ(isEnabled("Copy relay"), look.canCopy);
    if (*look.primary) {
        EXPECT_TRUE(shown(QAccessible::Button, qtText(look.primary)));
    }
    for (const auto* primary : {"Send to", "Retry to", "Start in"})
        EXPECT_EQ(isEnabled(qtText(primary)),
                  look.canSend && qtText(look.primary).startsWith(qtText(primary)))
            << primary;

    const bool isPending = *look.steps;
    auto* steps = shown(QAccessible::Client, "Saved: ");
    ASSERT_EQ(steps != nullptr, isPending);
    if (isPending) {
        EXPECT_EQ(steps->text(QAccessible::Name), qtText(look.steps));
    }
    EXPECT_EQ(isEnabled("Copy saved message"), isPending);
    EXPECT_EQ(isEnabled("Submit draft"), look.canSubmitDraft);
    if (*look.says) {
        EXPECT_EQ(countShown(qtText(look.says)), 1); // And not twice.
    }
}

std::string nameOf(const testing::TestParamInfo<Look>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(States, RelayStateTest, testing::ValuesIn(looks), nameOf);

// What a person does there

TEST_F(RelayWindowTest, AClickOnlyOpensAndALinkIsMadeByChoosingItsDestination) {
    open();
    choose("Parser");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, New conversation");
    choose("Review");
    EXPECT_EQ(cards(), "Claude, From, Review | Codex, To, New conversation");
    choose("Parser");
    EXPECT_EQ(pairs(), 0U);
    press("Claude, To, New conversation");
    EXPECT_TRUE(shows("Choose the Claude conversation to send to"));
    EXPECT_EQ(rows().size(), 3); // The heading and those of Claude's.
    choose("Review");
    EXPECT_FALSE(shows("Choose the Claude conversation to send to"));
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    EXPECT_EQ(rows()[1], "Link, Review ↔ Parser, nothing sent yet");
    EXPECT_TRUE(isEnabled("Send to Claude"));
    choose("Presets");
    EXPECT_EQ(cards(), "Codex, From, Presets | Claude, To, New conversation");
    choose("Review ↔ Parser");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    trigger("Choose the source…");
    EXPECT_FALSE(rows().contains("Links"));
    choose("Review");
    EXPECT_EQ(cards(), "Claude, From, Review | Codex, To, New conversation");
    EXPECT_EQ(pairs(), 1U);
}

TEST_F(RelayWindowTest, EveryWayOfLinkingCanBeTakenBackUntilAMessageGoesOut) {
    const std::vector<std::pair<const char*, std::function<void()>>> ways = {
        {"menu", [this] { select("Review"), trigger("Link with the selected conversation"); }},
        {"button", [this] { select("Review"), clickAction("Review"); }},
        {"drop", [this] { dropOnNewCard(folder.path(claudePath(claudeID))); }}};
    for (const auto& [name, link] : ways) {
        open();
        choose("Parser");
        type("Instructions", "Judge this.");
        link();
        settle();
        EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review") << name;
        EXPECT_TRUE(shows("Linked with “Review”.")) << name;
        press("Undo the link");
        EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, New conversation") << name;
        EXPECT_EQ(editor("Instructions")->toPlainText(), "Judge this.") << name;
        EXPECT_EQ(model->ledger.state().relayState->activePairs().size(), 0U) << name;
    }
    select("Review"), clickAction("Review");
    settle();
    ASSERT_TRUE(shown(QAccessible::Button, "Undo the link"));
    claude.during = [this] {
        claudeTranscript.ask(claude.sent.back()).answer("Done.");
        write();
    };
    trigger("Send to Claude");
    pass(5s);
    EXPECT_TRUE(rows()[1].contains("arrived")) << rows()[1].toStdString();
    EXPECT_FALSE(shown(QAccessible::Button, "Undo the link"));
}

// Chains and new conversations

TEST_F(RelayWindowTest, AChainShowsAllItsConversationsAndBothWaysBetweenNeighbours) {
    openChain();
    EXPECT_EQ(rows().filter("Link, ").size(), 1);
    for (const auto& [route, expected] :
         {std::pair("Codex → Claude 2", "Claude, Review | Codex, From, Parser | Claude 2, To, Fuzzing"),
          std::pair("Claude 2 → Codex", "Claude, Review | Codex, To, Parser | Claude 2, From, Fuzzing"),
          std::pair("Claude → Codex", "Claude, From, Review | Codex, To, Parser | Claude 2, Fuzzing"),
          std::pair("Codex → Claude", "Claude, To, Review | Codex, From, Parser | Claude 2, Fuzzing")}) {
        pressExactly(route);
        EXPECT_EQ(cards(), expected);
        EXPECT_TRUE(shown(QAccessible::Button, qtText(route) + ", selected"));
        EXPECT_TRUE(sidebarList().currentIndex().data().toString().startsWith("Review"));
    }
    press("Claude 2, Fuzzing");
    EXPECT_EQ(cards(), "Claude, Review | Codex, To, Parser | Claude 2, From, Fuzzing");
    trigger("Turn the relay round");
    EXPECT_EQ(cards(), "Claude, Review | Codex, From, Parser | Claude 2, To, Fuzzing");
    auto* full = shown(QAccessible::ButtonMenu, "Add a conversation at the end");
    ASSERT_TRUE(full && full->state().disabled);
    EXPECT_EQ(full->text(QAccessible::Description), "A link holds three conversations at most.");
}

TEST_F(RelayWindowTest, AMessageThatWaitsElsewhereInTheChainIsOneStepAway) {
    chainUp();
    state.markSubmitted(prepare(Agent::codex));
    open();
    press("Codex → Claude 2");
    EXPECT_FALSE(isEnabled("Send to Claude 2"));
    press("Show the pending transfer");
    EXPECT_EQ(cards(), "Claude, To, Review | Codex, From, Parser | Claude 2, Fuzzing");
    EXPECT_TRUE(shows("Checking delivery…"));
    EXPECT_FALSE(shown(QAccessible::Button, "Show the pending transfer"));
}

TEST_F(RelayWindowTest, ALinkGrowsByAKnownConversationOrANewOne) {
    openPair();
    const auto extend = [this](const char* button, const char* entry) {
        auto* element = shown(QAccessible::ButtonMenu, QLatin1String(button));
        ASSERT_TRUE(element && !element->state().disabled);
        for (auto* action : qobject_cast<QPushButton*>(element->object())->menu()->actions())
            if (action->text() == qtText(entry)) action->trigger();
        settle();
    };
    extend("Add a conversation at the end", "New conversation");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude 2, To, New conversation");
    EXPECT_TRUE(isEnabled("Start in Claude"));
    choose("Review ↔ Parser");
    extend("Add a conversation at the end", "Choose a conversation…");
    EXPECT_TRUE(shows("Choose the Claude conversation that joins the link"));
    EXPECT_EQ(rows().size(), 3);
    choose("Fuzzing");
    EXPECT_EQ(cards(), "Claude, Review | Codex, From, Parser | Claude 2, Fuzzing");
    EXPECT_TRUE(shows("Choose a destination"));
}

TEST_F(RelayWindowTest, ANewConversationIsStartedFromItsCardAndThenStandsThere) {
    open();
    choose("Parser");
    claude.during = [this] {
        ClaudeTranscript made({.id = newClaudeID, .workingDirectory = "/code/compiler"});
        made.ask(claude.sent.back()).answer("Begun.");
        folder.write(claudePath(newClaudeID), made.text());
        claude.started = reference(newClaudeID);
    };
    trigger("Start in Claude");
    EXPECT_TRUE(shows("Sending to Claude…"));
    pass(5s);
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_TRUE(QByteArray::fromStdString(cards()).contains("Codex, To, Parser")) << cards();
    EXPECT_EQ(model->workspace.relay().activePair()->claude.sessionID, newClaudeID);
}

TEST_F(RelayWindowTest, AFirstMessageThatWaitsIsFoundByItsSource) {
    open();
    choose("Review");
    EXPECT_FALSE(isEnabled("Start in Codex"));
    simulated.panels.answer = "/code/compiler";
    press("Choose the working folder");
    EXPECT_TRUE(isEnabled("Start in Codex"));
    trigger("Copy relay");
    settle();
    choose("Parser");
    EXPECT_EQ(rows().filter("first message waits").size(), 1);
    choose("Review");
    EXPECT_TRUE(shows("Waiting for paste"));
    press("Choose a conversation");
    choose("Presets");
    EXPECT_EQ(pairs(), 0U) << "it was there before";
    EXPECT_TRUE(shown(QAccessible::Button, "Dismiss the failure"));
}

TEST_F(RelayWindowTest, ARelayFromTheOtherSideIsACardWithItsInstructionsAlone) {
    receive(Agent::claude);
    const auto bytes = state.transfers.back().payload->size();
    open();
    const auto said = [this] {
        auto* list = shown(QAccessible::List, "Messages");
        return list && list->childCount() == 4 ? list->child(2)->text(QAccessible::Name).toStdString() : "";
    };
    const auto folded = "me: Relayed from Claude · " + std::to_string(bytes) + " bytes\nnote · ";
    EXPECT_TRUE(said().starts_with(folded)) << said();
    auto* messages = qobject_cast<MessageListView*>(shown(QAccessible::List, "Messages")->object());
    messages->setCurrentRow(2);
    QTest::keyClick(messages, Qt::Key_Space);
    EXPECT_TRUE(said().starts_with("me: note\n\nme: c1\n\nclaude: d1")) << said();
    EXPECT_EQ(model->workspace.relay().preview(), "me: note\n\ncodex: a2");
    // What another conversation of the chain is told holds all of it.
    state.extendLink(pairID, RelayLinkEnd::trailing, reference(otherClaudeID), stamp);
    open();
    pressExactly("Codex → Claude 2");
    EXPECT_TRUE(said().starts_with("me: Relayed from Claude · " + std::to_string(bytes) +
                                   " bytes, all of which goes on\nnote"))
        << said();
    EXPECT_NE(model->workspace.relay().preview().find("me: note\n\nme: c1"), std::string::npos);
}

TEST_F(RelayWindowTest, ClosedLinksAreFoldedAwayAndCanBeReopened) {
    pairUp();
    state.archivePair(pairID, 2);
    open();
    EXPECT_EQ(rows()[0], "▸ Closed links (1)");
    EXPECT_FALSE(rows().contains("Closed link, Review ↔ Parser, nothing sent yet"));
    choose("▸ Closed links (1)");
    EXPECT_EQ(rows()[1], "Closed link, Review ↔ Parser, nothing sent yet");
    choose("Review ↔ Parser");
    EXPECT_FALSE(model->workspace.relay().activePair()) << "a click only opens";
    select("Review ↔ Parser"), clickAction("Review ↔ Parser");
    settle();
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    EXPECT_EQ(rows()[1], "Link, Review ↔ Parser, nothing sent yet");
}

TEST_F(RelayWindowTest, NoRowMovesUnderThePointer) {
    openPair();
    auto* viewport = sidebarList().viewport();
    QEnterEvent enter({5, 5}, {5, 5}, {5, 5});
    QApplication::sendEvent(viewport, &enter);
    const auto before = rows();
    state.setRetryable(prepare(Agent::codex), true);
    folder.write(codexPath("01a1fd20-0000-7000-8000-000000000009"), codexTranscript.text());
    model->catalogue.discoverConversations();
    settle();
    trigger("Send to Claude");
    pass(5s);
    ASSERT_EQ(rows().size(), before.size());
    EXPECT_TRUE(rows()[1].contains("on its way")) << "what a row says goes on";
    for (int i = 2; i < before.size(); ++i) EXPECT_EQ(rows()[i], before[i]);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(viewport, &leave);
    settle();
    EXPECT_NE(rows().size(), before.size());
}

// Keys, and room

TEST_F(RelayWindowTest, AHeldKeySendsOnceThoughARetryWouldBePossible) {
    claude.failure = RelaySendError("It is closed.", true);
    openPair();
    window->activateWindow();
    editor("Instructions")->setFocus();
    for (const bool isRepeated : {false, true, true}) {
        QTest::simulateEvent(editor("Instructions"), true, Qt::Key_Return, Qt::ControlModifier, {},
                             isRepeated);
        pass(3s);
    }
    EXPECT_EQ(claude.sent.size(), 1U);
}

TEST_F(RelayWindowTest, ThePreviewGivesTheFocusBackAndAFruitlessSearchKeepsIt) {
    openPair();
    window->activateWindow();
    trigger("Show or hide preview");
    EXPECT_TRUE(editor("Preview")->hasFocus());
    trigger("Show or hide preview");
    EXPECT_TRUE(editor("Instructions")->hasFocus());
    trigger("Search");
    type("Search conversations", "nothing like it");
    auto* search = window->findChild<QWidget*>("search");
    QTest::keyClick(search, Qt::Key_Return);
    type("Search conversations", "");
    EXPECT_TRUE(search->hasFocus());
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
}

TEST_F(RelayWindowTest, NothingIsToldOfTheConversationThatWasOpenBefore) {
    openPair();
    model->notices.say("Told of the link.");
    settle();
    EXPECT_TRUE(shows("Told of the link."));
    std::filesystem::remove(folder.path(codexPath(otherCodexID)));
    for (const auto* title : {"Fuzzing", "Presets"}) {
        choose(title);
        EXPECT_FALSE(shows("Told of the link.")) << title;
    }
    EXPECT_TRUE(shows("Couldn't load the conversation."));
}

TEST_P(RelayStateTest, NoButtonIsCutInTheSmallestWindow) {
    Theme::light().apply(); // The measures are those of the style.
    GetParam().arrange(*this);
    window->resize(640, 480);
    settle();
    for (auto* button : window->findChildren<QPushButton*>()) {
        if (!button->isVisible() || qobject_cast<ConversationCard*>(button)) continue;
        const auto name = button->accessibleName().toStdString() + "/" + button->text().toStdString();
        EXPECT_GE(button->width(), button->sizeHint().width()) << name;
        EXPECT_GE(button->height(), button->sizeHint().height()) << name;
        const QRect area(button->mapTo(window.get(), QPoint()), button->size());
        EXPECT_TRUE(window->rect().contains(area)) << name;
    }
    for (auto* label : window->findChildren<QLabel*>()) {
        if (!label->isVisible() || !label->wordWrap()) continue;
        EXPECT_GE(label->height(), label->heightForWidth(label->width())) << label->text().toStdString();
    }
}

TEST_F(RelayWindowTest, ChoosingCanBeGivenUp) {
    open();
    choose("Parser");
    const auto all = rows();
    const auto escape = [this] {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QApplication::sendEvent(window->findChild<QWidget*>("search"), &event);
        settle();
    };
    for (const auto& stop : std::vector<std::function<void()>>{escape, [this] { press("Stop choosing"); }}) {
        trigger("Choose the destination…");
        EXPECT_NE(rows(), all);
        stop();
        EXPECT_EQ(rows(), all);
        EXPECT_FALSE(shown(QAccessible::Button, "Stop choosing"));
    }
}

TEST_F(RelayWindowTest, AnArrowOrItsShortcutTurnsTheRelayRound) {
    openPair();
    EXPECT_TRUE(shown(QAccessible::Button, "Codex → Claude, selected"));
    press("Claude → Codex");
    EXPECT_EQ(cards(), "Claude, From, Review | Codex, To, Parser");
    EXPECT_TRUE(shown(QAccessible::Button, "Claude → Codex, selected"));
    EXPECT_TRUE(isEnabled("Send to Codex"));
    trigger("Turn the relay round");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
}

TEST_F(RelayWindowTest, TheLinksTellWhatBecameOfTheirMessages) {
    for (const auto& [arrange, spoken] : std::vector<std::pair<std::function<void()>, const char*>>{
             {[this] { pairUp(); }, "Link, Review ↔ Parser, nothing sent yet"},
             {[this] { prepare(Agent::codex); }, "Link, Review ↔ Parser, transfer pending, on its way · "},
             {[this] { state.setRetryable("ID-2", true); },
              "Link, Review ↔ Parser, transfer failed, needs attention · "},
         }) {
        arrange();
        open();
        EXPECT_TRUE(rows()[1].startsWith(qtText(spoken))) << rows()[1].toStdString();
    }
    type("Search conversations", "parser review");
    EXPECT_EQ(rows().size(), 2);
    EXPECT_EQ(rows()[0], "Links");
}

TEST_F(RelayWindowTest, NoWordIsTypedIntoAFieldThatWouldLoseIt) {
    openPair();
    type("Instructions", "Judge this.");
    claude.failure = RelaySendError("It is closed.", true);
    auto* field = editor("Instructions");
    const auto typeKey = [&] {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, "x");
        QApplication::sendEvent(field, &event);
        settle();
    };
    trigger("Send to Claude");
    typeKey();
    EXPECT_EQ(field->toPlainText(), "Judge this.");
    pass(2s);
    EXPECT_TRUE(shows("These instructions are part of the saved message."));
    typeKey();
    EXPECT_EQ(field->toPlainText(), "Judge this.x");
    EXPECT_EQ(model->workspace.state().instruction.get(), "Judge this.x");
    EXPECT_TRUE(model->workspace.relay().noteIsForNextTransfer());

    press("Show the saved message");
    EXPECT_EQ(editor("Text of the saved message")->toPlainText(), "Judge this.\n\nme: q1\n\ncodex: a1");
    press("Copy saved message");
    EXPECT_EQ(simulated.pasteboard.text, "Judge this.\n\nme: q1\n\ncodex: a1");
    claude.failure.reset();
    trigger("Retry to Claude");
    pass(2s);
    EXPECT_EQ(claude.sent, (std::vector<std::string>(2, *simulated.pasteboard.text)));
}

TEST_F(RelayWindowTest, ARelayIntoCodexIsFollowedFromSendToReceipt) {
    SimulatedCodex codex(simulated.processes, simulated.loop, "/opt/codex", folder.path("home/.codex"));
    codex.manner.turnMilliseconds = 3'723'000;
    openPair();
    model->receipts.startReceiptPolling();
    trigger("Turn the relay round");
    trigger("Send to Codex");
    EXPECT_TRUE(shows("Sending to Codex…"));
    waitInWindow([this] { return shows("Waiting for Codex"); });
    EXPECT_TRUE(codex.complaints().empty());
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    EXPECT_TRUE(shows("Codex is working · 0:0"));
    waitInWindow([this] { return shows("Codex has it"); });
    EXPECT_TRUE(shown(QAccessible::Client, "Saved: done, Delivered: done, Seen in the transcript: done"));
    EXPECT_TRUE(rows()[1].startsWith("Link, Review ↔ Parser, arrived · ")) << rows()[1].toStdString();
    pass(10min);
    EXPECT_TRUE(shows("Codex is working · 10:"));
    TearDown(); // The processes end before their program goes.
}

// A check runs every two seconds for as long as the window is open.
TEST_F(RelayWindowTest, ChecksThatFindNothingPaintNothing) {
    struct Counter : QObject {
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::UpdateRequest || event->type() == QEvent::LayoutRequest) ++count;
            return false;
        }
        int count = 0;
    } counter;
    openPair();
    model->receipts.startReceiptPolling();
    pass(5s);
    window->installEventFilter(&counter);
    const auto checks = model->receipts.isChecking().revision();
    for (int i = 0; i < 10; ++i) pass(2s);
    EXPECT_EQ(model->receipts.isChecking().revision() - checks, 20U);
    EXPECT_EQ(counter.count, 0);
    type("Instructions", "x");
    EXPECT_GT(counter.count, 0);
}

} // namespace
} // namespace orvel
