// What the application shows besides its main window's contents, on a simulated desktop: closing and
// quitting, the notice of a failed command, the settings.

#include "Orvel/screens/ApplicationScreens.h"
#include "Orvel/platform/qt/QtDesktop.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/screens/SettingsPage.h"
#include "Orvel/screens/Theme.h"
#include "Orvel/screens/WindowPreferences.h"
#include "Orvel/shell/OrvelApp.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "TemporaryFolder.h"
#include "samples/TranscriptWriter.h"
#include "screens/WindowFixture.h"

#include <chrono>
#include <set>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class ApplicationScreensTest : public QtFixture {
  protected:
    void open() {
        app.emplace(desktop.ports(), folders(), folder.path("data/state.json"), ClockStyle(), "1.0");
        screens.emplace(*app, desktop.ports(), [] {});
        screens->hasTray = [this] { return hasTray; };
        screens->terminate = [this] { ++terminated; };
        screens->mainWindow().show();
        app->start();
        pass(1s);
    }

    void TearDown() override {
        screens.reset();
        app.reset();
    }

    void pass(MainLoop::Duration time) {
        desktop.loop.runFor(time);
        for (int i = 0; i < 3; ++i) QApplication::processEvents();
    }

    AgentFolders folders() const {
        return AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config"));
    }

    /// Begins to send from Claude into Codex.
    void send() {
        desktop.processes.environment["PATH"] = "/tools";
        const std::string codexID = "01a1fd20-0000-7000-8000-000000000001",
                          claudeID = "5b0d714f-0000-4000-8000-000000000002";
        CodexTranscript inCodex({.id = codexID, .workingDirectory = "/code/lark"});
        folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl", inCodex.ask("q").answer("a").text());
        ClaudeTranscript inClaude({.id = claudeID, .workingDirectory = "/code/lark"});
        const auto path = "home/.claude/projects/-code-lark/" + claudeID + ".jsonl";
        folder.write(path, inClaude.ask("c").answer("d").text());
        open();
        auto& model = app->model;
        const auto found = [&](Agent agent) {
            for (const auto& reference : model.catalogue.state().catalog.get())
                if (reference.agent == agent) return reference;
            return ConversationReference();
        };
        model.workspace.chooseSource(found(Agent::claude));
        pass(1s);
        model.links.chooseEndpoint(found(Agent::codex));
        pass(1s);
        model.outbox.sendRelay();
        ASSERT_TRUE(model.messageOperation().isUnderWay());
    }

    static QMessageBox* alert() {
        for (auto* widget : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) return box;
        return nullptr;
    }

    // The settings

    QWidget& settings() { return screens->settings(); }

    void choosePage(const QString& title) {
        auto* titles = settings().findChild<QListWidget*>();
        const auto found = titles->findItems(title, Qt::MatchExactly);
        ASSERT_EQ(found.size(), 1) << title.toStdString();
        titles->setCurrentItem(found.front());
        pass(0s);
    }

    bool shows(const QString& text) {
        for (const auto* label : settings().findChildren<QLabel*>())
            if (label->isVisible() && label->text().contains(text)) return true;
        return false;
    }

    void press(const QString& name) {
        auto* element = WindowFixture::shownIn(settings(), QAccessible::Button, name);
        ASSERT_TRUE(element) << name.toStdString();
        qobject_cast<QAbstractButton*>(element->object())->click();
        pass(0s);
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedCodex codex{desktop.processes, desktop.loop, "/tools/codex", folder.path("home/.codex")};
    bool hasTray = false;
    int terminated = 0;
    std::optional<OrvelApp> app;
    std::optional<ApplicationScreens> screens;
};

TEST_F(ApplicationScreensTest, ClosingWithoutATrayIsAQuitThatWaitsForNoMessage) {
    send();
    auto& window = screens->mainWindow();
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isVisible());
    ASSERT_TRUE(alert());
    EXPECT_TRUE(alert()->informativeText().startsWith("A transfer or preparation is still running."));
    alert()->close();
    EXPECT_EQ(terminated, 0);
    pass(60s);
    window.close();
    pass(1s);
    EXPECT_EQ(terminated, 1);
    EXPECT_FALSE(alert());
}

TEST_F(ApplicationScreensTest, WithATrayTheMessageGoesOnBehindTheClosedWindow) {
    hasTray = true;
    send();
    auto& window = screens->mainWindow();
    QEvent quit(QEvent::Quit);
    QApplication::sendEvent(qApp, &quit);
    EXPECT_TRUE(window.isVisible()) << "the system's quit follows the rules of every quit";
    ASSERT_TRUE(alert());
    alert()->close();
    EXPECT_TRUE(window.close());
    EXPECT_FALSE(window.isVisible());
    EXPECT_FALSE(alert());
    pass(60s);
    app->model.receipts.checkRelayReceipts();
    pass(1s);
    EXPECT_EQ(app->model.ledger.state().relayState->transfers.back().status, RelayTransfer::Status::received);
    EXPECT_EQ(terminated, 0);
    QtApplications applications;
    applications.setWindow(&window);
    applications.activateSelf(); // As a second start does.
    EXPECT_TRUE(window.isVisible());
}

TEST_F(ApplicationScreensTest, TheNoticeOfAFailureStandsAtTheTopRightAndTakesNoFocus) {
    open();
    auto& notice = screens->failureNotice();
    app->screens.showFailure("An earlier one.", "");
    pass(11s);
    const std::string message = "Couldn't verify whether composition is pending. /orvel was kept.";
    app->screens.showFailure(message, "14:32:07 / Codex / Return");
    pass(11s);
    ASSERT_TRUE(notice.isVisible()) << "a second failure has its own time";
    EXPECT_TRUE(WindowFixture::shownIn(notice, QAccessible::StaticText, "composition"));
    EXPECT_FALSE(WindowFixture::shownIn(notice, QAccessible::StaticText, "earlier"));
    // The platform of the tests gives every window the focus, so that only the wishes can be looked at.
    EXPECT_TRUE(notice.windowFlags() & Qt::WindowDoesNotAcceptFocus);
    EXPECT_TRUE(notice.testAttribute(Qt::WA_ShowWithoutActivating));
    for (const auto* inside : notice.findChildren<QWidget*>()) EXPECT_EQ(inside->focusPolicy(), Qt::NoFocus);
    const auto room = QApplication::primaryScreen()->availableGeometry();
    EXPECT_EQ(notice.geometry().topRight(), room.topRight() + QPoint(-20, 20));
    pass(2s);
    EXPECT_FALSE(notice.isVisible());

    app->screens.showFailure(message, "");
    app->screens.dismissFailure();
    EXPECT_FALSE(notice.isVisible());
    app->screens.showFailure(message, "");
    auto* view = WindowFixture::shownIn(notice, QAccessible::Button, "View in Orvel");
    qobject_cast<QAbstractButton*>(view->object())->click();
    EXPECT_FALSE(notice.isVisible());
    EXPECT_EQ(app->model.notices.error(), message);
    EXPECT_EQ(desktop.applications.activations, 1);
}

TEST_F(ApplicationScreensTest, TheSettingsShowHowMonitoringStandsAndSwitchIt) {
    desktop.accessibility.trusted = false;
    desktop.keyboard.granted = false;
    open();
    EXPECT_TRUE(settings().isVisible()) << "the setup is offered";
    EXPECT_TRUE(shows("Grant accessibility permission. Monitoring will start automatically."));
    WindowFixture::expectNames(settings());
    desktop.accessibility.trusted = true;
    pass(2s);
    EXPECT_TRUE(shows("Accessibility: Granted"));
    choosePage("Command");
    EXPECT_TRUE(shows("Codex / Claude /orvel: On"));
    EXPECT_TRUE(shows("Input Monitoring: Unconfirmed (monitoring is working)"));
    press("Request Input Monitoring");
    EXPECT_TRUE(shows("Input Monitoring permission is still unconfirmed."));
    QStringList asked;
    const TrayEntry tray(*app, {.openWindow = [&] { asked += "window"; },
                                .openSettings = [&] { asked += "settings"; },
                                .quit = [&] { asked += "quit"; }});
    const auto texts = [&] {
        QStringList shown;
        for (const auto* action : tray.menu().actions())
            if (!action->isSeparator()) shown += action->text();
        return shown;
    };
    EXPECT_EQ(texts(), QStringList({"Codex / Claude /orvel: On", "Pause monitoring", "Open Orvel",
                                    "Settings…", "Quit"}));
    press("Pause monitoring");
    EXPECT_EQ(texts().first(2), QStringList({"Codex / Claude /orvel: Off", "Resume monitoring"}));
    for (auto* action : tray.menu().actions())
        if (action->isEnabled()) action->trigger();
    EXPECT_EQ(asked, QStringList({"window", "settings", "quit"}));
    EXPECT_TRUE(app->monitoring.lifecycle.isMonitoring());
    pass(0s);
    press("Pause monitoring");
    EXPECT_TRUE(shows("Monitoring paused until you resume it or restart Orvel."));
    pass(5s);
    EXPECT_FALSE(app->monitoring.lifecycle.isMonitoring());
    press("Resume monitoring");
    EXPECT_TRUE(shows("Codex / Claude /orvel: On"));
    WindowFixture::expectNames(settings());
}

TEST_F(ApplicationScreensTest, WithoutATapTheSettingsSaySoAndTheRestWorks) {
    desktop.keyboard.exists = false;
    open();
    EXPECT_FALSE(settings().isVisible());
    screens->settings().open();
    EXPECT_TRUE(shows("Orvel can't watch for /orvel on this system yet."));
    EXPECT_FALSE(shows("Accessibility"));
    choosePage("General");
    auto* tools = WindowFixture::shownIn(settings(), QAccessible::CheckBox, "Show developer tools");
    ASSERT_TRUE(tools);
    const auto developer = settings().findChild<QListWidget*>()->findItems("Developer", Qt::MatchExactly);
    EXPECT_TRUE(developer.front()->isHidden());
    qobject_cast<QCheckBox*>(tools->object())->click();
    pass(0s);
    EXPECT_FALSE(developer.front()->isHidden());
    choosePage("Developer");
    EXPECT_TRUE(shows("Open a link in the main window first."));
}

TEST_F(ApplicationScreensTest, TheToolsForChatGPTTellWhatTheyCameTo) {
    open();
    app->showDeveloperTools(true);
    screens->settings().open();
    choosePage("Developer");
    const auto report = [&] {
        const auto* shown = WindowFixture::shownIn(settings(), QAccessible::EditableText, "The report");
        return shown ? qobject_cast<QPlainTextEdit*>(shown->object())->toPlainText().toStdString() : "";
    };
    const auto isOffered = [&](const char* title) {
        auto* button = WindowFixture::shownIn(settings(), QAccessible::Button, title);
        return button && qobject_cast<QPushButton*>(button->object())->isEnabled();
    };
    press("Watch ChatGPT's page");
    pass(1s);
    EXPECT_EQ(report(), "Couldn't uniquely identify Dia.");
    press("Look for the question");
    pass(1s);
    EXPECT_EQ(report(),
              "Check the expected question, ZIP filename, and conversation ID for the receipt inspection.");
    EXPECT_FALSE(isOffered("Prepare without sending"));
    EXPECT_TRUE(shows("Nothing is packed yet, so nothing can be prepared."));

    app->consultation.archive = ChatGPTRepositoryArchive();
    app->consultation.isSending = true;
    pass(1s);
    EXPECT_FALSE(isOffered("Watch ChatGPT's page"));
    app->consultation.isSending = false;
    pass(1s);
    press("Prepare without sending");
    pass(1s);
    EXPECT_THAT(report(), testing::StartsWith("Prepare a question and ZIP attachment."));
}

TEST_F(ApplicationScreensTest, ACountdownOfThePreparationTouchesNothingButItsLine) {
    SimulatedApplication agent{std::string(OrvelCommandPolicy::bundleID(Agent::codex)), "1.0", "/apps/one"};
    desktop.applications.install(agent);
    open();
    screens->settings().open();
    choosePage("Command");
    desktop.applications.start(agent);
    pass(20s); // By now a look comes once a minute.
    const auto changes = app->model.changes().count();
    std::set<QString> told;
    for (int second = 0; second < 5; ++second) {
        pass(1s);
        for (const auto* label : settings().findChildren<QLabel*>())
            if (label->isVisible() && label->text().contains("read check in")) told.insert(label->text());
    }
    EXPECT_GE(told.size(), 4U);
    EXPECT_EQ(app->model.changes().count(), changes);
}

TEST_F(ApplicationScreensTest, UpdatesAreOfferedWhereThereAreAnyAndInstalledByAQuitThatWaitsForMessages) {
    const auto entries = [this] {
        QStringList texts;
        for (const auto* action : screens->mainWindow().findChildren<QAction*>())
            if (action->text().contains("pdate")) texts += action->text();
        return texts;
    };
    const auto pages = [this] {
        return settings().findChild<QListWidget*>()->findItems("Updates", Qt::MatchExactly).size();
    };
    open();
    EXPECT_EQ(entries(), QStringList());
    EXPECT_EQ(pages(), 0);
    TearDown();

    desktop.hasUpdater = true;
    desktop.updater.isProduction = false;
    open();
    EXPECT_EQ(entries(), QStringList());
    screens->settings().open();
    choosePage("Updates");
    EXPECT_TRUE(shows("Updates are disabled in this local development build."));
    EXPECT_FALSE(shows("Update checks connect"));
    TearDown();

    desktop.updater.isProduction = true;
    send();
    pass(0s);
    EXPECT_EQ(entries(), QStringList("Check for Updates…"));
    screens->settings().open();
    choosePage("Updates");
    EXPECT_TRUE(shows("Update checks connect to updates.example."));
    EXPECT_FALSE(shows("Updates are disabled"));
    press("Check for Updates…");
    EXPECT_EQ(desktop.updater.checks, 1);
    auto* downloads = WindowFixture::shownIn(settings(), QAccessible::CheckBox, "Download updates");
    ASSERT_TRUE(downloads);
    qobject_cast<QCheckBox*>(downloads->object())->click();
    EXPECT_TRUE(desktop.updater.state().automaticallyDownloads);
    desktop.updater.download([] {
        QEvent quit(QEvent::Quit);
        QApplication::sendEvent(qApp, &quit);
    });
    pass(0s);
    EXPECT_TRUE(shows("Update ready."));
    EXPECT_EQ(entries(), QStringList("Install Update and Relaunch…"));
    press("Install Update and Relaunch…");
    ASSERT_TRUE(alert());
    EXPECT_TRUE(alert()->informativeText().endsWith("then quit or install the update again."));
    alert()->close();
    EXPECT_EQ(terminated, 0);
    pass(60s);
    press("Install Update and Relaunch…");
    pass(1s);
    EXPECT_EQ(terminated, 1);
}

// What the person has chosen for the windows

struct News {
    bool isWanted, isSeen;
    QStringList told;
};

class MessageNewsTest : public ApplicationScreensTest, public testing::WithParamInterface<News> {};

TEST_P(MessageNewsTest, TheDesktopTellsOfAMessageWhereThatIsWantedAndNotSeenAnyway) {
    send();
    QStringList told;
    screens->notify = [&](const QString& title, const QString& text) { told += title + ": " + text; };
    screens->preferences().setNotifies(GetParam().isWanted);
    auto& window = screens->mainWindow();
    window.setVisible(GetParam().isSeen);
    if (GetParam().isSeen) window.activateWindow();
    QApplication::processEvents();
    pass(5s);
    ASSERT_EQ(window.isActiveWindow(), GetParam().isSeen);
    EXPECT_EQ(told, GetParam().told);
    EXPECT_TRUE(window.windowTitle().endsWith(" — Orvel")) << window.windowTitle().toStdString();
    screens->preferences().setShowsStateInTitle(false);
    EXPECT_EQ(window.windowTitle(), "Orvel");
    // Into Claude, which has no window here.
    told.clear();
    app->model.workspace.setInstruction("Again.");
    app->model.outbox.sendRelay();
    pass(15s);
    EXPECT_EQ(told.filter("A message needs attention: c ↔ q").size(), GetParam().told.size());
}

INSTANTIATE_TEST_SUITE_P(News, MessageNewsTest,
                         testing::Values(News{true, false, {"The message has arrived: c ↔ q"}},
                                         News{false, false, {}}, News{true, true, {}}));

TEST_F(ApplicationScreensTest, TheAppearanceFollowsTheSystemUntilOneIsChosen) {
    open();
    auto& preferences = screens->preferences();
    const auto choose = [this](const QString& text) {
        for (auto* action : screens->mainWindow().findChildren<QAction*>())
            if (action->text().remove('&') == text) action->trigger();
    };
    preferences.followSystem(true);
    EXPECT_TRUE(Theme::current().isDark);
    choose("Light");
    EXPECT_FALSE(Theme::current().isDark);
    preferences.followSystem(true);
    EXPECT_FALSE(Theme::current().isDark);
    WindowPreferences nextRun(desktop.settings);
    nextRun.followSystem(true);
    EXPECT_FALSE(Theme::current().isDark) << "it is kept";
    choose("As the system");
    EXPECT_TRUE(Theme::current().isDark);
    Theme::light().apply();
}

} // namespace
} // namespace orvel
