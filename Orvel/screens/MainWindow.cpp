#include "Orvel/screens/MainWindow.h"

#include "Orvel/desktop/Settings.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/ShortcutsWindow.h"
#include "Orvel/screens/SidebarView.h"
#include "Orvel/screens/UpdatesPage.h"
#include "Orvel/screens/WorkspaceView.h"

#include <algorithm>
#include <utility>

#include <QActionGroup>
#include <QApplication>
#include <QDragEnterEvent>
#include <QFile>
#include <QMenuBar>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

namespace orvel {

namespace {

constexpr int leastWidthForBoth = 760; // Of the window, in pixels.
constexpr std::string_view geometryKey = "windowGeometry", splitterKey = "windowSplitter";

// The first local file among what is dragged.
std::optional<std::string> droppedFile(const QMimeData* data) {
    for (const auto& url : data->urls())
        if (url.isLocalFile()) return QFile::encodeName(url.toLocalFile()).toStdString();
    return std::nullopt;
}

} // namespace

MainWindow::MainWindow(OrvelModel& model, const Desktop& desktop, WindowCommands commands)
    : model(model),
      desktop(desktop),
      commands(std::move(commands)),
      chosen(desktop.settings),
      name(QStringLiteral("Orvel")),
      splitter(new QSplitter),
      sidebar(new SidebarView(model, desktop)),
      workspace(new WorkspaceView(model, desktop)) {
    setObjectName(QStringLiteral("main"));
    setAcceptDrops(true);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(1);
    splitter->addWidget(sidebar);
    splitter->addWidget(workspace);
    sidebar->lower(); // Who reads the window from its first child on meets it first.
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({268, 912});
    setCentralWidget(splitter);
    setMinimumSize(640, 480);
    resize(1180, 780);
    restorePlace();
    makeMenus();

    connectViews();
    arrange();
    subscription = model.changes().subscribe([this] { renderSoon(); });
    render();
}

MainWindow::~MainWindow() = default;

void MainWindow::connectViews() {
    connect(workspace, &WorkspaceView::openFileWanted, this, [this] { model.workspace.chooseFile(); });
    connect(workspace, &WorkspaceView::sourceWanted, this, [this] {
        showSidebar();
        sidebar->chooseSource();
    });
    connect(workspace, &WorkspaceView::destinationWanted, this, [this] {
        showSidebar();
        sidebar->chooseDestination();
    });
    connect(workspace, &WorkspaceView::memberWanted, this, [this](RelayLinkEnd end) {
        showSidebar();
        sidebar->chooseMember(end);
    });
    connect(workspace, &WorkspaceView::samplesWanted, this, [this] { commands.openSamples(); });
    connect(workspace, &WorkspaceView::sidebarWanted, this, [this] {
        showSidebar();
        sidebar->focusSearch();
    });
    connect(sidebar, &SidebarView::linkWanted, this, [this](const ConversationReference& reference) {
        leaveSidebar();
        workspace->link(reference);
        workspace->focusInstruction();
    });
    connect(sidebar, &SidebarView::left, this, &MainWindow::leaveSidebar);
    connect(sidebar, &SidebarView::selectionChanged, this, &MainWindow::renderActions);
    connect(&chosen, &WindowPreferences::changed, this, &MainWindow::renderTitle);
}

QAction* MainWindow::add(QMenu* menu, const QString& text, const QList<QKeySequence>& shortcuts,
                         std::function<void()> action) {
    auto* made = menu->addAction(text);
    made->setShortcuts(shortcuts);
    made->setAutoRepeat(false); // A key that is held acts once.
    connect(made, &QAction::triggered, this, [action = std::move(action)] { action(); });
    return made;
}

void MainWindow::addInWorkspace(QMenu* menu, const QString& text, const QKeySequence& shortcut,
                                std::function<void()> action) {
    add(menu, text, {shortcut}, [this, action = std::move(action)] {
        leaveSidebar();
        action();
    });
}

void MainWindow::makeMenus() {
    makeFileMenu();
    makeRelayMenu();
    makeViewMenu();
    makeHelpMenu();
}

void MainWindow::makeFileMenu() {
    auto* file = menuBar()->addMenu(tr("&File"));
    add(file, tr("&New link"), {Qt::CTRL | Qt::Key_N}, [this] { model.workspace.newLink(); });
    add(file, tr("Choose the &source…"), {Qt::CTRL | Qt::SHIFT | Qt::Key_S},
        [this] { emit workspace->sourceWanted(); });
    add(file, tr("Choose the &destination…"), {Qt::CTRL | Qt::SHIFT | Qt::Key_D},
        [this] { emit workspace->destinationWanted(); });
    actions.link = add(file, tr("&Link with the selected conversation"), {Qt::CTRL | Qt::SHIFT | Qt::Key_L},
                       [this] { sidebar->linkSelected(); });
    actions.startNew = add(file, tr("Start a new con&versation instead"), {Qt::CTRL | Qt::SHIFT | Qt::Key_N},
                           [this] { workspace->startNew(); });
    actions.chooseFolder = add(file, tr("Choose the &working folder…"), {},
                               [this] { model.newConversations.chooseCreationFolder(); });
    file->addSeparator();
    add(file, tr("&Open file…"), QKeySequence::keyBindings(QKeySequence::Open),
        [this] { model.workspace.chooseFile(); });
    addInWorkspace(file, tr("&Paste a conversation"), Qt::CTRL | Qt::SHIFT | Qt::Key_V,
                   [this] { workspace->pasteConversation(); });
    samples = add(file, tr("Open the s&amples"), {}, [this] { commands.openSamples(); });
    file->addSeparator();
    add(file, tr("&Ask ChatGPT about a Repository…"), {Qt::CTRL | Qt::SHIFT | Qt::Key_A},
        [this] { commands.openConsultation(); });
    if (auto* updates = commands.updates)
        actions.update = add(file, {}, {}, [updates] { UpdatesPage::act(*updates); });
    add(file, tr("S&ettings…"), {Qt::CTRL | Qt::Key_Comma}, [this] { commands.openSettings(); });
    add(file, tr("&Quit"), {Qt::CTRL | Qt::Key_Q}, [this] { commands.quit(); });
}

void MainWindow::makeViewMenu() {
    auto* view = menuBar()->addMenu(tr("&View"));
    add(view, tr("&Search"), {Qt::CTRL | Qt::Key_F}, [this] {
        showSidebar();
        sidebar->focusSearch();
    });
    addInWorkspace(view, tr("&First card"), Qt::CTRL | Qt::Key_1, [this] { workspace->focusCard(0); });
    addInWorkspace(view, tr("Se&cond card"), Qt::CTRL | Qt::Key_2, [this] { workspace->focusCard(1); });
    addInWorkspace(view, tr("&Third card"), Qt::CTRL | Qt::Key_3, [this] { workspace->focusCard(2); });
    addInWorkspace(view, tr("&Messages"), Qt::CTRL | Qt::Key_M, [this] { workspace->focusMessages(); });
    addInWorkspace(view, tr("&Instructions"), Qt::CTRL | Qt::Key_L,
                   [this] { workspace->focusInstruction(); });
    view->addSeparator();
    add(view, tr("Show or hide side&bar"), {Qt::CTRL | Qt::Key_B}, [this] { toggleSidebar(); });
    view->addSeparator();
    makeAppearanceMenu(view);
}

void MainWindow::makeAppearanceMenu(QMenu* view) {
    using Appearance = WindowPreferences::Appearance;
    auto* menu = view->addMenu(tr("&Appearance"));
    auto* group = new QActionGroup(menu);
    for (const auto& [appearance, title] :
         {std::pair(Appearance::system, tr("As the &system")), std::pair(Appearance::light, tr("&Light")),
          std::pair(Appearance::dark, tr("&Dark"))}) {
        auto* action = menu->addAction(title);
        action->setCheckable(true);
        action->setActionGroup(group);
        connect(action, &QAction::triggered, this,
                [this, wanted = appearance] { chosen.setAppearance(wanted); });
        const auto check = [this, action, shown = appearance] {
            action->setChecked(chosen.appearance() == shown);
        };
        connect(&chosen, &WindowPreferences::changed, action, check);
        check();
    }
}

void MainWindow::makeHelpMenu() {
    auto* help = menuBar()->addMenu(tr("&Help"));
    add(help, tr("&Keyboard shortcuts"), {Qt::Key_F1}, [this] {
        auto* shortcuts = new ShortcutsWindow(*menuBar(), this);
        shortcuts->show();
    });
}

void MainWindow::makeRelayMenu() {
    auto* relay = menuBar()->addMenu(tr("&Relay"));
    actions.send = add(relay, tr("Send"), {Qt::CTRL | Qt::Key_Return, Qt::CTRL | Qt::Key_Enter},
                       [this] { workspace->sendRelay(); });
    actions.copy =
        add(relay, tr("&Copy relay"), {Qt::CTRL | Qt::SHIFT | Qt::Key_C}, [this] { workspace->copyRelay(); });
    actions.turnRound =
        add(relay, tr("&Turn the relay round"), {Qt::CTRL | Qt::Key_R}, [this] { workspace->turnRound(); });
    relay->addSeparator();
    actions.showSaved = add(relay, tr("Show or hide the sa&ved message"), {Qt::CTRL | Qt::SHIFT | Qt::Key_P},
                            [this] { workspace->toggleSavedMessage(); });
    actions.copySaved = add(relay, tr("Copy s&aved message"), {Qt::CTRL | Qt::SHIFT | Qt::Key_M},
                            [this] { workspace->copySavedMessage(); });
    actions.submitDraft = add(relay, tr("S&ubmit draft"), {}, [this] { workspace->submitDraft(); });
    relay->addSeparator();
    actions.showPending = add(relay, tr("Show the &other pending transfer"),
                              {Qt::CTRL | Qt::SHIFT | Qt::Key_O}, [this] { workspace->showPending(); });
    actions.openInCodex = add(relay, tr("Open &in Codex"), {}, [this] { workspace->openInCodex(); });
    relay->addSeparator();
    addInWorkspace(relay, tr("Show or hide &preview"), Qt::CTRL | Qt::Key_P,
                   [this] { workspace->togglePreview(); });
    add(relay, tr("Start with the &first message"), {Qt::CTRL | Qt::SHIFT | Qt::Key_Home},
        [this] { model.workspace.selectRange(std::nullopt); });
    add(relay, tr("&Refresh"), {Qt::Key_F5}, [this] {
        model.workspace.refresh();
        model.catalogue.discoverConversations();
    });
}

void MainWindow::markAsSample(std::function<void()> openAgent) {
    name = tr("Orvel — sample conversations");
    renderTitle();
    samples->setText(tr("Try the typed command in &Claude's window"));
    commands.openSamples = std::move(openAgent);
    workspace->withdrawSamples();
}

void MainWindow::showSidebar() {
    wantsSidebar = isInSidebar = true;
    arrange();
}

void MainWindow::toggleSidebar() {
    if (sidebar->isHidden()) return showSidebar();
    wantsSidebar = isInSidebar = false;
    arrange();
}

// Where both stand side by side there is nothing to leave.
void MainWindow::leaveSidebar() {
    if (std::exchange(isInSidebar, false)) arrange();
}

void MainWindow::arrange() {
    const bool isNarrow = width() < leastWidthForBoth;
    sidebar->setVisible(isNarrow ? isInSidebar : wantsSidebar);
    sidebar->offerLeaving(isNarrow);
    workspace->setVisible(!isNarrow || !isInSidebar);
    workspace->offerSidebar(sidebar->isHidden());
    workspace->setNarrow(isNarrow);
}

// Many fields change in one operation; they are rendered together.
void MainWindow::renderSoon() {
    if (std::exchange(renderIsDue, true)) return;
    QTimer::singleShot(0, this, [this] { render(); });
}

void MainWindow::render() {
    renderIsDue = false;
    if (std::exchange(rendered, shownChanges()) == shownChanges()) return workspace->renderProgress();
    sidebar->render();
    workspace->render();
    renderActions();
    renderTitle();
}

// The checks for receipts come and go all the time; what they find is told by other fields.
std::uint64_t MainWindow::shownChanges() const {
    return 1 + model.changes().count() - model.receipts.isChecking().revision();
}

void MainWindow::renderTitle() {
    const auto& snapshot = workspace->snapshot();
    const bool isTold = chosen.showsStateInTitle() && snapshot.state.hasSource;
    setWindowTitle(isTold ? qtText(snapshot.statusTitle()) + QStringLiteral(" — ") + name : name);
}

void MainWindow::renderActions() {
    const auto& snapshot = workspace->snapshot();
    actions.send->setText(qtText(snapshot.primaryTitle));
    actions.send->setEnabled(snapshot.canSend);
    actions.turnRound->setEnabled(!snapshot.routes.empty());
    actions.submitDraft->setEnabled(snapshot.canSubmitDraft);
    actions.showPending->setEnabled(snapshot.state.otherPending);
    actions.openInCodex->setEnabled(snapshot.canOpenCodex);
    actions.startNew->setEnabled(std::any_of(snapshot.endpoints.begin(), snapshot.endpoints.end(),
                                             [](const auto& card) { return card.canStartNew; }));
    actions.chooseFolder->setEnabled(snapshot.workingFolder || snapshot.needsFolder);
    actions.link->setEnabled(sidebar->canLinkSelected());
    if (actions.update) {
        actions.update->setText(UpdatesPage::actionTitle(*commands.updates));
        actions.update->setEnabled(UpdatesPage::canAct(*commands.updates));
    }
    for (auto* action : {actions.copySaved, actions.showSaved})
        action->setEnabled(snapshot.pendingMessage.has_value());
}

void MainWindow::restorePlace() {
    const auto bytes = [this](std::string_view key) {
        return QByteArray::fromBase64(QByteArray::fromStdString(desktop.settings.string(key).value_or("")));
    };
    if (const auto geometry = bytes(geometryKey); !geometry.isEmpty()) restoreGeometry(geometry);
    if (const auto sizes = bytes(splitterKey); !sizes.isEmpty()) splitter->restoreState(sizes);
}

void MainWindow::savePlace() const {
    desktop.settings.setString(geometryKey, saveGeometry().toBase64().toStdString());
    desktop.settings.setString(splitterKey, splitter->saveState().toBase64().toStdString());
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (droppedFile(event->mimeData())) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    if (auto path = droppedFile(event->mimeData())) {
        event->acceptProposedAction();
        model.workspace.openFile(std::move(*path));
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    savePlace();
    model.ledger.flushDrafts();
    event->setAccepted(commands.mayClose());
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    const auto wasNarrow = event->oldSize().width() < leastWidthForBoth;
    if (!event->oldSize().isValid() || wasNarrow != (width() < leastWidthForBoth)) arrange();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        rendered = 0;
        renderSoon();
    }
}

} // namespace orvel
