#include "Orvel/screens/ShortcutsWindow.h"

#include <QAction>
#include <QGridLayout>
#include <QLabel>
#include <QMenu>

namespace orvel {

namespace {

QString plain(QString text) {
    return text.remove(QLatin1Char('&'));
}

} // namespace

ShortcutsWindow::ShortcutsWindow(const QMenuBar& menus, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Keyboard shortcuts"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(20, 16, 20, 16);
    grid->setHorizontalSpacing(20);
    int line = 0, column = 0;
    for (const auto* entry : menus.actions()) {
        auto* heading = new QLabel(plain(entry->text()));
        auto bold = heading->font();
        bold.setWeight(QFont::Bold);
        heading->setFont(bold);
        grid->addWidget(heading, line++, column, 1, 2);
        for (const auto* action : entry->menu()->actions()) {
            if (action->shortcut().isEmpty()) continue;
            auto* keys = new QLabel(action->shortcut().toString(QKeySequence::NativeText));
            keys->setForegroundRole(QPalette::PlaceholderText);
            grid->addWidget(new QLabel(plain(action->text())), line, column);
            grid->addWidget(keys, line++, column + 1);
        }
        // Two menus a column keep the list low enough for a small screen.
        if (column == 0 && line > 14) {
            line = 0;
            column = 2;
        }
    }
}

} // namespace orvel
