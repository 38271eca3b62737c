#pragma once
// Orvel's entry in the tray or the menu bar: whether typed commands are watched for, and the ways to the
// windows while they are closed.

#include "Orvel/runtime/Observable.h"

#include <functional>
#include <memory>

#include <QMenu>
#include <QSystemTrayIcon>

namespace orvel {

class OrvelApp;

class TrayEntry {
  public:
    struct Commands {
        std::function<void()> openWindow, openSettings, quit;
    };

    /// The application outlives the entry, which shows itself as soon as there is a tray.
    TrayEntry(OrvelApp& app, const Commands& commands);

    const QMenu& menu() const { return entries; }

    /// Has the desktop show a notification, if it can.
    void tell(const QString& title, const QString& text);

  private:
    void render();

    OrvelApp& app;
    QMenu entries;
    QSystemTrayIcon icon;
    QAction *state, *pause;
    ChangeSignal::Subscription subscription;
};

} // namespace orvel
