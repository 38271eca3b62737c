#include "Orvel/screens/MainWindow.h"

#include "Orvel/desktop/Settings.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SidebarView.h"
#include "Orvel/screens/WorkspaceView.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QFile>
#include <QMenuBar>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

namespace orvel {

namespace {

constexpr std::string_view geometryKey = "windowGeometry", splitterKey = "windowSplitter";

// The first local file among what is dragged.
std::optional<std::string> droppedFile(const QMimeData* data) {
    for (const auto& url : data->urls())
        if (url.isLocalFile()) return QFile::encodeName(url.toLocalFile()).toStdString();
    return std::nullopt;
}

} // namespace

MainWindow::MainWindow(OrvelModel& model, const Desktop& desktop, std::function<void()> openSamples)
    : model(model),
      desktop(desktop),
      openSamples(std::move(openSamples)),
      splitter(new QSplitter),
      sidebar(new SidebarView(model, desktop.applications)),
      workspace(new WorkspaceView(model, desktop.pasteboard)) {
    setWindowTitle(QStringLiteral("Orvel"));
    setObjectName(QStringLiteral("main"));
    setAcceptDrops(true);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(1);
    splitter->addWidget(sidebar);
    splitter->addWidget(workspace);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({268, 912});
    setCentralWidget(splitter);
    setMinimumSize(640, 480);
    resize(1180, 780);
    restorePlace();
    makeMenus();

    connect(workspace, &WorkspaceView::openFileWanted, this, [this] { this->model.chooseFile(); });
    connect(workspace, &WorkspaceView::chooseConversationWanted, this, [this] {
        sidebar->show();
        sidebar->focusSearch();
    });
    connect(workspace, &WorkspaceView::samplesWanted, this, [this] { this->openSamples(); });
    subscription = model.changes().subscribe([this] { renderSoon(); });
    render();
}

MainWindow::~MainWindow() = default;

void MainWindow::makeMenus() {
    const auto add = [this](QMenu* menu, const QString& text, const QKeySequence& shortcut, auto action) {
        auto* made = menu->addAction(text);
        made->setShortcut(shortcut);
        connect(made, &QAction::triggered, this, action);
        return made;
    };
    auto* file = menuBar()->addMenu(tr("&File"));
    add(file, tr("&New link"), QKeySequence(Qt::CTRL | Qt::Key_N), [this] { model.newLink(); });
    add(file, tr("&Open file…"), QKeySequence::Open, [this] { model.chooseFile(); });
    add(file, tr("&Paste a conversation"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V),
        [this] { workspace->pasteConversation(); });
    add(file, tr("Open the &samples"), {}, [this] { openSamples(); });
    file->addSeparator();
    add(file, tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), [this] { close(); });

    auto* relay = menuBar()->addMenu(tr("&Relay"));
    add(relay, tr("&Copy relay"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C),
        [this] { workspace->copyRelay(); });
    add(relay, tr("Show or hide &preview"), QKeySequence(Qt::CTRL | Qt::Key_P),
        [this] { workspace->togglePreview(); });
    add(relay, tr("Start with the &first message"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Home),
        [this] { model.selectRange(std::nullopt); });
    add(relay, tr("&Refresh"), QKeySequence(Qt::Key_F5), [this] {
        model.refresh();
        model.discoverConversations();
    });

    auto* view = menuBar()->addMenu(tr("&View"));
    add(view, tr("&Search"), QKeySequence(Qt::CTRL | Qt::Key_F), [this] {
        sidebar->show();
        sidebar->focusSearch();
    });
    add(view, tr("Source &card"), QKeySequence(Qt::CTRL | Qt::Key_1), [this] { workspace->focusCard(); });
    add(view, tr("&Messages"), QKeySequence(Qt::CTRL | Qt::Key_M), [this] { workspace->focusMessages(); });
    add(view, tr("&Instructions"), QKeySequence(Qt::CTRL | Qt::Key_L),
        [this] { workspace->focusInstruction(); });
    view->addSeparator();
    add(view, tr("Show or hide side&bar"), QKeySequence(Qt::CTRL | Qt::Key_B),
        [this] { sidebar->setVisible(sidebar->isHidden()); });
}

void MainWindow::markAsSample() {
    setWindowTitle(tr("Orvel — sample conversations"));
}

// Many fields change in one operation; they are rendered together.
void MainWindow::renderSoon() {
    if (std::exchange(renderIsDue, true)) return;
    QTimer::singleShot(0, this, [this] { render(); });
}

void MainWindow::render() {
    renderIsDue = false;
    sidebar->render();
    workspace->render();
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
        model.openFile(std::move(*path));
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    savePlace();
    QMainWindow::closeEvent(event);
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) renderSoon();
}

} // namespace orvel
