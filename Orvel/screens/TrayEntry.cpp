#include "Orvel/screens/TrayEntry.h"

#include "Orvel/screens/MonitoringWords.h"
#include "Orvel/screens/Theme.h"
#include "Orvel/shell/OrvelApp.h"

#include <QPainter>

namespace orvel {

namespace {

// For where no icon of the program is installed: two conversations, joined.
QIcon drawnIcon() {
    QPixmap picture(64, 64);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::dark().accent, 7));
    painter.drawEllipse(QRectF(6, 18, 30, 30));
    painter.drawEllipse(QRectF(28, 18, 30, 30));
    return picture;
}

} // namespace

TrayEntry::TrayEntry(OrvelApp& app, const Commands& commands)
    : app(app), icon(QIcon::fromTheme(QStringLiteral("orvel"), drawnIcon())) {
    state = entries.addAction(QString());
    state->setEnabled(false);
    pause = entries.addAction(QString(), [&app] { toggleMonitoring(app); });
    entries.addSeparator();
    entries.addAction(QMenu::tr("Open Orvel"), commands.openWindow);
    entries.addAction(QMenu::tr("Settings…"), commands.openSettings);
    entries.addSeparator();
    entries.addAction(QMenu::tr("Quit"), commands.quit);
    icon.setContextMenu(&entries);
    QObject::connect(&icon, &QSystemTrayIcon::activated, &entries,
                     [open = commands.openWindow](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::DoubleClick) open();
                     });
    subscription = app.model.changes().subscribe([this] { render(); });
    render();
    icon.show();
}

void TrayEntry::tell(const QString& title, const QString& text) {
    if (QSystemTrayIcon::supportsMessages()) icon.showMessage(title, text, QSystemTrayIcon::NoIcon);
}

void TrayEntry::render() {
    const auto words = monitoringWords(app);
    if (state->text() == words.state && pause->text() == words.toggle) return;
    state->setText(words.state);
    pause->setText(words.toggle);
    icon.setToolTip(words.state);
}

} // namespace orvel
