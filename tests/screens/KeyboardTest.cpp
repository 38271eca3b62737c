// The window without a mouse: keys alone, on what a screen reader names.

#include "screens/RelayWindowFixture.h"

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QTimer>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class KeyboardTest : public RelayWindowFixture {
  protected:
    static constexpr auto newClaudeID = "5b0d714f-0000-4000-8000-0000000000aa";

    void begin() {
        open();
        window->activateWindow();
        QApplication::processEvents();
    }

    static QString focusName() {
        auto* focused = QApplication::focusWidget();
        auto* element = focused ? QAccessible::queryAccessibleInterface(focused) : nullptr;
        return element ? element->text(QAccessible::Name) : QString();
    }

    void key(Qt::Key code, Qt::KeyboardModifiers modifiers = {}) {
        auto* focused = QApplication::focusWidget();
        QTest::keyClick(focused ? focused : static_cast<QWidget*>(window.get()), code, modifiers);
        settle();
    }
    void keys(const QString& text) {
        QTest::keyClicks(QApplication::focusWidget(), text);
        settle();
    }

    // Goes on with the tabulator until this has the focus.
    void tabTo(const QString& name) {
        QStringList passed;
        for (int i = 0; i < 60; ++i) {
            if (focusName().startsWith(name)) return;
            passed += focusName();
            key(Qt::Key_Tab);
        }
        FAIL() << name.toStdString() << " is not among " << passed.join(" | ").toStdString();
    }

    // Opens the menu of the button that has the focus and takes the entry.
    void chooseInMenu(const QString& entry) {
        QTimer::singleShot(0, window.get(), [&entry] {
            auto* menu = QApplication::activePopupWidget();
            ASSERT_TRUE(menu);
            for (int i = 0; i < 10; ++i) {
                QTest::keyClick(menu, Qt::Key_Down);
                if (static_cast<QMenu*>(menu)->activeAction()->text() == entry)
                    return QTest::keyClick(menu, Qt::Key_Return);
            }
            QTest::keyClick(menu, Qt::Key_Escape);
            ADD_FAILURE() << "no entry " << entry.toStdString();
        });
        key(Qt::Key_Space);
        window->activateWindow(); // As a window manager does when the menu has gone; here there is none.
        settle();
    }

    // Finds the conversation and opens or picks it.
    void pick(const QString& title) {
        ASSERT_EQ(focusName(), "Search conversations");
        keys(title);
        key(Qt::Key_Return);
    }
};

TEST_F(KeyboardTest, ARelayGoesFromTheFirstChoiceToItsReceipt) {
    begin();
    key(Qt::Key_F, Qt::ControlModifier);
    pick("Parser");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, New conversation");
    tabTo("Claude, To, New conversation");
    key(Qt::Key_Return);
    pick("Review");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    EXPECT_EQ(focusName(), "Instructions") << "what comes next has the focus";
    keys("Judge this.");
    tabTo("Messages");
    key(Qt::Key_End);
    key(Qt::Key_Return);
    tabTo("Preview");
    key(Qt::Key_Space);
    EXPECT_EQ(editor("Preview")->toPlainText(), "Judge this.\n\ncodex: a1");
    tabTo("Instructions");
    claude.during = [this] {
        claudeTranscript.ask(claude.sent.back()).answer("Done.");
        write();
    };
    tabTo("Send to Claude");
    key(Qt::Key_Space);
    pass(5s);
    EXPECT_EQ(claude.sent, std::vector<std::string>{"Judge this.\n\ncodex: a1"});
    EXPECT_TRUE(rows()[1].contains("arrived")) << rows()[1].toStdString();
    // The reply is what comes next, and the way back is one key.
    EXPECT_EQ(cards(), "Claude, From, Review | Codex, To, Parser");
    key(Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
}

TEST_F(KeyboardTest, AChainGrowsAndItsMiddleSendsToItsNewEnd) {
    pairUp();
    begin();
    tabTo("Add a conversation at the end");
    chooseInMenu("Choose a conversation…");
    pick("Fuzzing");
    EXPECT_EQ(cards(), "Claude, Review | Codex, From, Parser | Claude 2, Fuzzing");
    EXPECT_TRUE(shows("Choose a destination"));
    tabTo("Codex → Claude 2");
    key(Qt::Key_Space);
    EXPECT_EQ(cards(), "Claude, Review | Codex, From, Parser | Claude 2, To, Fuzzing");
    tabTo("Instructions");
    keys("Fuzz this.");
    key(Qt::Key_Return, Qt::ControlModifier);
    pass(5s);
    EXPECT_EQ(claude.sent, std::vector<std::string>{"Fuzz this.\n\nme: q1\n\ncodex: a1"});
    EXPECT_TRUE(shown(QAccessible::Client, "Saved: done, Delivered: done, Seen in the transcript: not yet"));
    key(Qt::Key_3, Qt::ControlModifier);
    EXPECT_TRUE(focusName().startsWith("Claude 2, From, Fuzzing")) << focusName().toStdString();
}

TEST_F(KeyboardTest, ANewConversationIsStarted) {
    begin();
    key(Qt::Key_F, Qt::ControlModifier);
    pick("Parser");
    tabTo("Instructions");
    keys("Begin.");
    claude.during = [this] {
        ClaudeTranscript made({.id = newClaudeID, .workingDirectory = "/code/compiler"});
        made.ask(claude.sent.back()).answer("Begun.");
        folder.write(claudePath(newClaudeID), made.text());
        claude.started = reference(newClaudeID);
    };
    tabTo("Start in Claude");
    key(Qt::Key_Space);
    pass(5s);
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_TRUE(QByteArray::fromStdString(cards()).contains("Codex, To, Parser")) << cards();
}

// What a screen reader goes through

TEST_F(KeyboardTest, TheSidebarComesBeforeTheWorkspaceAndAllThatTakesTheFocusIsMetOnce) {
    pairUp();
    begin();
    key(Qt::Key_F, Qt::ControlModifier);
    QStringList met;
    for (int i = 0; i < 60 && !met.contains(focusName()); ++i) {
        met += focusName();
        key(Qt::Key_Tab);
    }
    EXPECT_EQ(focusName(), "Search conversations") << "round and round";
    const QStringList inOrder{"Search conversations", "Links and conversations",
                              "Codex, From, Parser",  "Codex → Claude, selected",
                              "Claude, To, Review",   "Messages",
                              "Instructions",         "Preview",
                              "Copy relay",           "Send to Claude"};
    QStringList found;
    for (const auto& name : met)
        if (inOrder.contains(name)) found += name;
    EXPECT_EQ(found, inOrder) << met.join(" | ").toStdString();

    // And in the tree.
    QStringList tree;
    const std::function<void(QAccessibleInterface*)> walk = [&](QAccessibleInterface* element) {
        if (!element || element->state().invisible) return;
        if (element->role() == QAccessible::List || element->role() == QAccessible::EditableText)
            tree += element->text(QAccessible::Name);
        for (int i = 0; i < element->childCount(); ++i) walk(element->child(i));
    };
    walk(QAccessible::queryAccessibleInterface(window.get()));
    EXPECT_EQ(tree,
              QStringList({"Search conversations", "Links and conversations", "Messages", "Instructions"}));
}

TEST_F(KeyboardTest, ARowOfTheSidebarCanBeOpenedAndLinkedByItsActions) {
    begin();
    const auto act = [this](const QString& row, const QString& action) {
        auto* element = shown(QAccessible::ListItem, row);
        ASSERT_TRUE(element && element->actionInterface()) << row.toStdString();
        QStringList names;
        for (const auto& name : element->actionInterface()->actionNames())
            names += element->actionInterface()->localizedActionName(name);
        ASSERT_TRUE(names.contains(action)) << names.join(" | ").toStdString();
        for (const auto& name : element->actionInterface()->actionNames())
            if (element->actionInterface()->localizedActionName(name) == action)
                element->actionInterface()->doAction(name);
        settle();
    };
    EXPECT_TRUE(shown(QAccessible::Heading, "Conversations"));
    act("Codex, Parser", "Open");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, New conversation");
    EXPECT_FALSE(
        shown(QAccessible::ListItem, "Codex, Presets")->actionInterface()->actionNames().contains("Link"));
    act("Claude, Review", "Link");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    act("Codex, Presets", "Open");
    act("Link, Review ↔ Parser", "Open");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
}

} // namespace
} // namespace orvel
