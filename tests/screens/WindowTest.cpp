// The window, driven as a screen reader drives it: by the names, texts and actions that it shows.

#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/qt/QtMainLoop.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/screens/ConversationCard.h"
#include "Orvel/screens/MessageListView.h"
#include "TemporaryFolder.h"
#include "model/FakeClaudeSender.h"
#include "samples/SampleHome.h"
#include "samples/TranscriptWriter.h"
#include "screens/WindowFixture.h"

#include <set>

#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QMimeData>
#include <QTest>
#include <QUrl>

namespace orvel {
namespace {

class WindowTest : public WindowFixture {
  protected:
    void open(const AgentFolders& folders) {
        model = std::make_unique<OrvelModel>(desktop(), claude, folders, data.path("state.json"));
        window = std::make_unique<MainWindow>(*model, desktop(),
                                              WindowCommands{.openSamples = [this] { ++samplesOpened; }});
        window->resize(1000, 700);
        window->show();
        model->catalogue.discoverConversations();
        settle();
    }

    void openSamples() { open(samples.folders()); }

    Desktop desktop() { return simulated.portsOn(loop, files); }

    // Until the model is at rest and its last change is on the screen.
    void settle() override {
        waitFor([&] { return model->isIdle(); });
        for (int i = 0; i < 3; ++i) QApplication::processEvents();
    }

    const TemporaryFolder data;
    const SampleHome samples;
    SimulatedDesktop simulated;
    QtMainLoop loop;
    PosixFileStore files{loop};
    FakeClaudeSender claude{loop};
    int samplesOpened = 0;
};

TEST_F(WindowTest, FromAConversationInTheListToItsTextOnTheClipboard) {
    openSamples();
    EXPECT_TRUE(shows("Choose a conversation"));
    choose("Review of the parser rewrite");
    EXPECT_TRUE(shows("Ready"));
    auto* list = shown(QAccessible::List, "Messages");
    ASSERT_TRUE(list);
    const auto& messages = model->workspace.state().conversation.get()->messages;
    ASSERT_EQ(list->childCount(), static_cast<int>(messages.size()));

    auto* last = list->child(list->childCount() - 1);
    EXPECT_TRUE(last->state().selected);
    last->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    settle();
    EXPECT_FALSE(list->child(0)->state().selected);
    EXPECT_TRUE(last->text(QAccessible::Name).contains("the range starts here"));

    type("Instructions", "Judge only this.");
    const auto expected = "Judge only this.\n\nclaude: " + messages.back().text;
    trigger("Show or hide preview");
    EXPECT_EQ(editor("Preview")->toPlainText().toStdString(), expected);
    EXPECT_TRUE(shows(QLocale().toString(static_cast<qulonglong>(expected.size())) + " bytes"));

    press("Copy relay");
    EXPECT_EQ(simulated.pasteboard.text, expected);
    EXPECT_TRUE(shows("Paste into a new conversation"));
}

TEST_F(WindowTest, AConversationWhoseAgentStillWorksCanBeReadButNotCopied) {
    openSamples();
    choose("Flaky upload test");
    EXPECT_TRUE(shows("Waiting for Claude"));
    EXPECT_TRUE(shows("Claude is still working"));
    EXPECT_TRUE(shown(QAccessible::Button, "Copy")->state().disabled);
    trigger("Copy relay");
    EXPECT_EQ(simulated.pasteboard.text, std::nullopt);
}

TEST_F(WindowTest, WithoutConversationsItSaysWhereItLookedAndOffersThreeWaysOn) {
    const TemporaryFolder empty;
    open(AgentFolders::of(empty.path(), std::nullopt, std::nullopt, empty.path("config")));
    EXPECT_TRUE(shows("No conversations found"));
    EXPECT_TRUE(shows("~/.codex/sessions\n~/.claude/projects"));
    press("Open file");
    EXPECT_EQ(simulated.panels.shown.size(), 1U);
    press("Open the samples");
    EXPECT_EQ(samplesOpened, 1);
    press("Paste a conversation");
    // A no-break space is one of the characters that editors like to change.
    type("Pasted conversation", "a\u00A0b\n\nc");
    press("Copy relay");
    EXPECT_EQ(simulated.pasteboard.text, "me: a\u00A0b\n\nc");
}

TEST_F(WindowTest, AFailureStaysInAFullTextBannerUntilItIsDismissed) {
    openSamples();
    model->commandInbox.open("orvel://nowhere");
    settle();
    EXPECT_TRUE(shows("Couldn't read the Orvel URL."));
    EXPECT_TRUE(shows("Couldn't complete the action"));
    press("Dismiss the failure");
    EXPECT_FALSE(shows("Couldn't read the Orvel URL."));
}

TEST_F(WindowTest, WhatHasNoTitleIsListedAndFoundByItsWords) {
    const TemporaryFolder home;
    const auto write = [&](const std::string& name, const std::string& question, const std::string& answer) {
        CodexTranscript transcript({.id = name, .workingDirectory = "/code/plain"});
        transcript.ask(question).answer(answer);
        home.write(".codex/sessions/rollout-" + name + ".jsonl", transcript.text());
    };
    write("01a1fd20-1", "Why is the parser slow?", "It copies every token.");
    write("01a1fd20-2", "Which tests fail?", "None.");
    open(AgentFolders::of(home.path(), std::nullopt, std::nullopt, home.path("config")));
    const auto lists = [&](const char* title) {
        return rows().filter(QStringLiteral("Codex, ") + QLatin1String(title)).size();
    };
    EXPECT_EQ(lists("Why is the parser slow?"), 1);
    EXPECT_EQ(lists("plain · "), 0);
    const auto searchFor = [&](const char* query) {
        type("Search conversations", QLatin1String(query));
        settle();
    };
    searchFor("SLOW parser");
    EXPECT_EQ(lists("Why"), 1);
    EXPECT_EQ(lists("Which"), 0);
    searchFor("token");
    EXPECT_EQ(lists("Why"), 0); // Its messages are not loaded yet.
    EXPECT_TRUE(shows("No conversation matches “token”."));
    searchFor("");
    choose("Why is the parser slow?");
    searchFor("token copies");
    EXPECT_EQ(lists("Why"), 1);
    EXPECT_EQ(lists("Which"), 0);
}

TEST_F(WindowTest, AnIdentifierIsNoHeadline) {
    const std::string id = "01a1fd20-0000-7000-8000-00000000000e";
    CodexTranscript transcript({.id = id});
    openSamples();
    const auto headlines = [&] {
        QStringList shown = rows();
        for (const auto* label : window->findChildren<QLabel*>())
            if (label->isVisible()) shown += label->text();
        for (const auto* card : window->findChildren<ConversationCard*>())
            if (card->isVisible()) shown += card->accessibleName();
        return shown;
    };
    const auto path =
        data.write("rollout-" + id + ".jsonl",
                   transcript.ask("<turn_aborted>\n</turn_aborted>").answer("So be it.").text());
    model->workspace.openFile(path);
    settle();
    EXPECT_EQ(headlines().filter(qtText(id)), QStringList());
    EXPECT_EQ(headlines().filter("Codex, From, Untitled").size(), 1);
    EXPECT_TRUE(shown(QAccessible::Button, "Codex, From, Untitled")
                    ->text(QAccessible::Description)
                    .contains(qtText(path)));
    data.write("rollout-" + id + ".jsonl", transcript.ask("Why is it slow?").answer("It copies.").text());
    trigger("Refresh");
    settle();
    EXPECT_EQ(headlines().filter(qtText(id)), QStringList());
    EXPECT_EQ(headlines().filter("Codex, From, Why is it slow?").size(), 1);
    EXPECT_EQ(headlines().filter("Codex, Why is it slow?").size(), 1) << "among the recent ones";
}

TEST_F(WindowTest, WhatAProgramWroteUnderTheUsersNameIsFolded) {
    openSamples();
    ClaudeTranscript transcript({.id = "folded"});
    transcript.ask("question").answer("answer").ask("<system-reminder>\nhidden\n</system-reminder>");
    model->workspace.openFile(data.write("folded.jsonl", transcript.text()));
    settle();
    auto* list = shown(QAccessible::List, "Messages");
    ASSERT_TRUE(list);
    ASSERT_EQ(list->childCount(), 3);
    const auto spoken = [&] { return list->child(2)->text(QAccessible::Name); };
    EXPECT_TRUE(spoken().startsWith("program: Reminder · "));
    EXPECT_FALSE(spoken().contains("hidden"));
    auto* widget = qobject_cast<MessageListView*>(list->object());
    widget->setCurrentRow(2);
    const auto folded = widget->rowRect(2).height();
    QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
    QApplication::sendEvent(widget, &space);
    EXPECT_TRUE(spoken().contains("hidden"));
    EXPECT_GT(widget->rowRect(2).height(), folded);
    // What is relayed is what the transcript holds.
    EXPECT_NE(model->workspace.relay().preview().find("me: <system-reminder>\nhidden"), std::string::npos);
}

TEST_F(WindowTest, WhatIsReadStaysWhileTheConversationGrows) {
    CodexTranscript transcript({.id = "growing"});
    transcript.ask(std::string(2'000, 'w'));
    for (int i = 0; i < 40; ++i) transcript.answer("answer " + std::to_string(i)).ask("question");
    open(samples.folders());
    model->workspace.openFile(data.write("growing.jsonl", transcript.text()));
    settle();
    auto* list = shown(QAccessible::List, "Messages");
    ASSERT_TRUE(list);
    auto* messages = qobject_cast<MessageListView*>(list->object());
    const auto grow = [&] {
        transcript.answer("one").ask("two").answer("three").ask("four");
        data.write("growing.jsonl", transcript.text());
        trigger("Refresh");
        messages->grab();
    };
    const auto last = [&] { return messages->rowRect(messages->messageCount() - 1); };
    grow(); // Who reads the end goes on reading it.
    EXPECT_EQ(messages->messageCount(), 85U);
    EXPECT_TRUE(messages->viewport()->rect().contains(last().center()));
    EXPECT_FALSE(shown(QAccessible::Button, "new messages below"));

    messages->setCurrentRow(0);
    QTest::keyClick(messages, Qt::Key_Space);
    messages->grab();
    const auto unfolded = messages->rowRect(0);
    EXPECT_GT(unfolded.height(), 200);
    grow();
    EXPECT_EQ(messages->rowRect(0), unfolded);
    EXPECT_EQ(messages->currentRow(), 0U);
    press("4 new messages below");
    EXPECT_TRUE(messages->viewport()->rect().contains(last().center()));
    EXPECT_FALSE(shown(QAccessible::Button, "new messages below"));
}

TEST_F(WindowTest, TextIsSelectedWithTheMouseAndCodeStandsWithoutItsFences) {
    ClaudeTranscript transcript({.id = "code"});
    transcript.ask("question").answer("So:\n```cpp\nint a;\n```\nThat is it.");
    open(samples.folders());
    model->workspace.openFile(data.write("code.jsonl", transcript.text()));
    settle();
    auto* messages = qobject_cast<MessageListView*>(shown(QAccessible::List, "Messages")->object());
    const auto row = messages->rowRect(1);
    const auto copied = [&](const QPoint& from, const QPoint& to) {
        QTest::mousePress(messages->viewport(), Qt::LeftButton, {}, from);
        QTest::mouseMove(messages->viewport(), to);
        QTest::mouseRelease(messages->viewport(), Qt::LeftButton, {}, to);
        QTest::keyClick(messages, Qt::Key_C, Qt::ControlModifier);
        return QGuiApplication::clipboard()->text();
    };
    constexpr int textLeft = 86;
    const QPoint start(textLeft, row.top() + 12), end(textLeft + 500, row.bottom() - 12);
    EXPECT_EQ(copied(start, end), "So:\nint a;\nThat is it.");
    EXPECT_EQ(copied(QPoint(textLeft, end.y()), start), "So:\nint a;\n");
    EXPECT_EQ(copied(start, QPoint(textLeft + 500, row.top() + 12)), "So:");
    // Without a selection it is the message as the transcript holds it.
    EXPECT_EQ(copied(start, start), "So:\n```cpp\nint a;\n```\nThat is it.");
}

TEST_F(WindowTest, ADroppedTranscriptOpens) {
    openSamples();
    ClaudeTranscript transcript({.id = "dropped"});
    transcript.ask("question").answer("answer");
    const auto path = data.write("dropped.jsonl", transcript.text());
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(qtText(path))});
    QDragEnterEvent enter({5, 5}, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent event({5, 5}, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window.get(), &event);
    settle();
    EXPECT_EQ(model->workspace.relay().preview(), "me: question\n\nclaude: answer");
    EXPECT_TRUE(shown(QAccessible::List, "Messages"));
}

TEST_F(WindowTest, EverythingThatTakesTheFocusHasANameAndEveryShortcutOneMeaning) {
    openSamples();
    choose("Review of the parser rewrite");
    expectNames(*window);
    std::set<QString> shortcuts;
    for (const auto* action : window->findChildren<QAction*>()) {
        const auto shortcut = action->shortcut().toString();
        if (!shortcut.isEmpty()) {
            EXPECT_TRUE(shortcuts.insert(shortcut).second) << shortcut.toStdString();
        }
    }
    EXPECT_GE(shortcuts.size(), 10U);
}

TEST_F(WindowTest, AConversationOfAnyLengthScrollsToItsEndsAndBack) {
    CodexTranscript transcript({.id = "long"});
    for (int i = 0; i < 3000; ++i)
        transcript.ask("question " + std::to_string(i))
            .answer(std::string(static_cast<std::size_t>(i % 900), 'w'));
    open(samples.folders());
    model->workspace.openFile(data.write("long.jsonl", transcript.text()));
    settle();
    auto* list = shown(QAccessible::List, "Messages");
    ASSERT_TRUE(list);
    auto* widget = qobject_cast<QWidget*>(list->object());
    const auto isVisible = [&](int row) { return !list->child(row)->state().offscreen; };
    const auto key = [&](int code) {
        QKeyEvent event(QEvent::KeyPress, code, Qt::NoModifier);
        QApplication::sendEvent(widget, &event);
        widget->grab(); // Paints, which measures what is visible.
        QApplication::processEvents();
    };
    const auto last = list->childCount() - 1;
    widget->grab();
    EXPECT_TRUE(isVisible(last)); // The newest is what a person has in mind.
    key(Qt::Key_Home);
    EXPECT_TRUE(isVisible(0));
    EXPECT_FALSE(isVisible(last));
    for (int i = 1; i <= 40; ++i) {
        key(Qt::Key_Down);
        EXPECT_TRUE(isVisible(i)) << i;
    }
    key(Qt::Key_End);
    EXPECT_TRUE(isVisible(last));
    for (int i = 1; i <= 40; ++i) {
        key(Qt::Key_Up);
        EXPECT_TRUE(isVisible(last - i)) << i;
    }
}

TEST_F(WindowTest, ThePlaceOfTheWindowOutlivesIt) {
    openSamples();
    window->resize(911, 611);
    window->close();
    window = std::make_unique<MainWindow>(*model, desktop(), WindowCommands());
    EXPECT_EQ(window->size(), QSize(911, 611));
}

} // namespace
} // namespace orvel
