#include "Orvel/screens/SettingsWindow.h"

#include "Orvel/screens/CommandPage.h"
#include "Orvel/screens/DeveloperPage.h"
#include "Orvel/screens/GeneralPage.h"
#include "Orvel/screens/KeyboardPage.h"
#include "Orvel/screens/SetupPage.h"
#include "Orvel/screens/Theme.h"
#include "Orvel/screens/UpdatesPage.h"
#include "Orvel/shell/OrvelApp.h"

#include <utility>

#include <QHBoxLayout>
#include <QTimer>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr int titlesWidth = 170;

} // namespace

SettingsWindow::SettingsWindow(OrvelApp& app, WindowPreferences& preferences)
    : app(app), sidebar(new QWidget), titles(new QListWidget), stack(new QStackedWidget) {
    setWindowTitle(tr("Settings"));
    setObjectName(QStringLiteral("settings"));
    titles->setObjectName(QStringLiteral("pages"));
    titles->setAccessibleName(tr("Pages of the settings"));
    titles->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(titles, &QListWidget::currentRowChanged, stack, &QStackedWidget::setCurrentIndex);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    auto* beside = new QVBoxLayout(sidebar);
    beside->setContentsMargins(10, 12, 10, 12);
    beside->addWidget(titles);
    sidebar->setFixedWidth(titlesWidth);
    sidebar->setAutoFillBackground(true);
    row->addWidget(sidebar);
    row->addWidget(stack, 1);

    if (app.canMonitor()) {
        auto* setup = new SetupPage(app);
        connect(setup, &SetupPage::restSkipped, this, &QDialog::accept);
        add(setup);
    }
    add(new CommandPage(app));
    add(new KeyboardPage(app));
    add(new GeneralPage(app, preferences));
    if (app.updates.isOffered()) add(new UpdatesPage(app.updates));
    add(new DeveloperPage(app));
    titles->setCurrentRow(app.canMonitor() ? 1 : 0);
    setMinimumSize(640, 440);
    resize(760, 600);
    subscription = app.model.changes().subscribe([this] { renderSoon(); });
}

void SettingsWindow::add(SettingsPage* page) {
    pages.push_back(page);
    titles->addItem(page->title());
    stack->addWidget(page);
}

void SettingsWindow::open() {
    app.monitoring.keybindings.refreshDisplay();
    app.consent.refresh();
    render();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
    titles->setFocus();
}

void SettingsWindow::openSetup() {
    titles->setCurrentRow(0);
    open();
}

// Many fields change in one operation; they are rendered together.
void SettingsWindow::renderSoon() {
    if (!isVisible() || std::exchange(renderIsDue, true)) return;
    QTimer::singleShot(0, this, &SettingsWindow::render);
}

void SettingsWindow::render() {
    renderIsDue = false;
    auto colors = sidebar->palette();
    colors.setColor(QPalette::Window, Theme::current().sidebar);
    sidebar->setPalette(colors);
    for (auto* page : pages) page->render();
    const auto developer = static_cast<int>(pages.size()) - 1;
    const bool isHidden = !app.showsDeveloperTools();
    if (isHidden && titles->currentRow() == developer) titles->setCurrentRow(0);
    titles->item(developer)->setHidden(isHidden);
}

void SettingsWindow::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) renderSoon();
}

} // namespace orvel
