#pragma once
// The one main window: sidebar and workspace, the menus, and files dropped on it.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/screens/WindowPreferences.h"

#include <cstdint>
#include <functional>

#include <QAction>
#include <QMainWindow>
#include <QSplitter>

namespace orvel {

class OrvelUpdateController;
class SidebarView;
class WorkspaceView;

/// What the window leaves to the application around it.
struct WindowCommands {
    /// Starts Orvel on its sample conversations.
    std::function<void()> openSamples = [] {};
    std::function<void()> openSettings = [] {};
    std::function<void()> openConsultation = [] {};
    std::function<void()> quit = [] {};
    /// Whether the window may close now.
    std::function<bool()> mayClose = [] { return true; };
    /// Null where this build receives no updates, of which the menu then says nothing. Outlives the window.
    OrvelUpdateController* updates = nullptr;
};

class MainWindow : public QMainWindow {
    Q_OBJECT

  public:
    /// The model and the ports outlive the window.
    MainWindow(OrvelModel& model, const Desktop& desktop, WindowCommands commands);
    ~MainWindow() override;

    WindowPreferences& preferences() { return chosen; }

    /// Keeps where the window is, for the next run.
    void savePlace() const;

    /// Says in the title that these are sample conversations, and offers the sample's window of an agent.
    void markAsSample(std::function<void()> openAgent);

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    // The entries whose text or state follows what is shown.
    struct RelayActions {
        QAction *send, *copy, *turnRound, *copySaved, *submitDraft, *showSaved, *showPending, *openInCodex,
            *startNew, *chooseFolder, *link, *update;
    };

    void connectViews();
    void makeMenus();
    void makeFileMenu();
    void makeViewMenu();
    void makeAppearanceMenu(QMenu* view);
    void makeHelpMenu();
    void renderTitle();
    void makeRelayMenu();
    QAction* add(QMenu* menu, const QString& text, const QList<QKeySequence>& shortcuts,
                 std::function<void()> action);
    void addInWorkspace(QMenu* menu, const QString& text, const QKeySequence& shortcut,
                        std::function<void()> action);
    void showSidebar();
    void toggleSidebar();
    void leaveSidebar();
    void arrange();
    void renderActions();
    void renderSoon();
    void render();
    std::uint64_t shownChanges() const;
    void restorePlace();

    OrvelModel& model;
    Desktop desktop;
    WindowCommands commands;
    WindowPreferences chosen;
    QString name; // Of the window, without how things stand.
    QSplitter* splitter;
    SidebarView* sidebar;
    WorkspaceView* workspace;
    RelayActions actions{};
    QAction* samples = nullptr;
    bool wantsSidebar = true; // Beside the workspace, where there is room.
    bool isInSidebar = false; // Where there is none, it stands in the workspace's place.
    bool renderIsDue = false;
    std::uint64_t rendered = 0; // The changes that have been rendered.
    ChangeSignal::Subscription subscription;
};

} // namespace orvel
