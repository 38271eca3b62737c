#pragma once
// All that the application shows: the main window, the settings, the entry in the tray, the notice of a
// failed command, and the refusal to quit. It decides what closing a window means.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/screens/ChatGPTConsultationView.h"
#include "Orvel/screens/FailureNotice.h"
#include "Orvel/screens/MainWindow.h"
#include "Orvel/screens/MessageNews.h"
#include "Orvel/screens/SettingsWindow.h"
#include "Orvel/screens/TrayEntry.h"

#include <functional>
#include <optional>
#include <string_view>

#include <QMessageBox>
#include <QObject>
#include <QPointer>

class QSessionManager;

namespace orvel {

class OrvelApp;

/// Belongs to the main thread.
class ApplicationScreens : public QObject {
    Q_OBJECT

  public:
    /// The application and the ports outlive the screens. `openSamples` is as WindowCommands has it.
    ApplicationScreens(OrvelApp& app, const Desktop& ports, std::function<void()> openSamples);

    MainWindow& mainWindow() { return window; }
    SettingsWindow& settings() { return settingsWindow; }
    FailureNotice& failureNotice() { return notice; }
    WindowPreferences& preferences() { return window.preferences(); }

    /// Ends the event loop if the application may quit, and says why not otherwise.
    void quit();

    /// Whether the entry in the tray can be seen, through which the closed window comes back.
    std::function<bool()> hasTray;
    /// Ends the event loop.
    std::function<void()> terminate;
    /// Has the desktop show a notification.
    MessageNews::Tell notify;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    bool mayClose();
    void endSession(QSessionManager& manager);
    void showTerminationError(std::string_view text);
    void openWindow();
    void openConsultation();

    OrvelApp& app;
    Desktop ports;
    MainWindow window;
    SettingsWindow settingsWindow;
    std::optional<ChatGPTConsultationView> consultation; ///< Once it was asked for.
    FailureNotice notice;
    std::optional<TrayEntry> tray;
    MessageNews news;
    QPointer<QMessageBox> terminationError;
};

} // namespace orvel
