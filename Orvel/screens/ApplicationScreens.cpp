#include "Orvel/screens/ApplicationScreens.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/shell/OrvelApp.h"

#include <memory>
#include <utility>

#include <QApplication>
#include <QEventLoop>
#include <QSessionManager>

namespace orvel {

ApplicationScreens::ApplicationScreens(OrvelApp& app, const Desktop& ports, std::function<void()> openSamples)
    : hasTray([this] { return tray && QSystemTrayIcon::isSystemTrayAvailable(); }),
      terminate([] { QCoreApplication::exit(); }),
      notify([this](const QString& title, const QString& text) {
          if (tray) tray->tell(title, text);
      }),
      app(app),
      ports(ports),
      window(app.model, ports,
             {.openSamples = std::move(openSamples),
              .openSettings = [this] { settingsWindow.open(); },
              .openConsultation = [this] { openConsultation(); },
              .quit = [this] { quit(); },
              .mayClose = [this] { return mayClose(); },
              .updates = app.updates.productionUpdatesEnabled() ? &app.updates : nullptr}),
      settingsWindow(app, window.preferences()),
      notice(ports.loop),
      news(app.model, [this](const QString& title, const QString& text) {
          // Who looks at the window sees it there.
          if (preferences().notifies() && !window.isActiveWindow()) notify(title, text);
      }) {
    app.screens = {.showSetup = [this] { settingsWindow.openSetup(); },
                   .showFailure =
                       [this](const std::string& message, const std::string& context) {
                           notice.tell(message, context, [this, message] { this->app.showDetails(message); });
                       },
                   .dismissFailure = [this] { notice.dismiss(); }};
    if (app.canMonitor())
        tray.emplace(app, TrayEntry::Commands{.openWindow = [this] { openWindow(); },
                                              .openSettings = [this] { settingsWindow.open(); },
                                              .quit = [this] { quit(); }});
    // What closes a window decides for itself whether that is a quit.
    QApplication::setQuitOnLastWindowClosed(false);
    qApp->installEventFilter(this);
    connect(qApp, &QGuiApplication::commitDataRequest, this, &ApplicationScreens::endSession,
            Qt::DirectConnection);
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { window.savePlace(); });
}

void ApplicationScreens::openConsultation() {
    if (!consultation) consultation.emplace(app.consultation, app.model.changes());
    consultation->open();
}

bool ApplicationScreens::mayClose() {
    if (hasTray()) return true;
    quit();
    return false;
}

void ApplicationScreens::quit() {
    app.askToQuit([this](std::optional<std::string_view> refusal) {
        if (refusal) return showTerminationError(*refusal);
        app.didAllowTermination();
        terminate();
    });
}

// The system asks the application to quit by this event, to which Qt would close the windows.
bool ApplicationScreens::eventFilter(QObject* watched, QEvent* event) {
    if (watched != qApp || event->type() != QEvent::Quit) return QObject::eventFilter(watched, event);
    event->ignore();
    quit();
    return true;
}

// The session waits for the answer, which comes within seconds. It may go on after all, so nothing is
// stopped.
void ApplicationScreens::endSession(QSessionManager& manager) {
    struct Answer {
        QEventLoop waiting;
        bool isGiven = false;
        std::optional<std::string_view> refusal;
    };
    const auto answer = std::make_shared<Answer>();
    app.askToQuit([answer](std::optional<std::string_view> refusal) {
        answer->refusal = refusal;
        answer->isGiven = true;
        answer->waiting.quit();
    });
    if (!answer->isGiven) answer->waiting.exec(QEventLoop::ExcludeUserInputEvents);
    if (!answer->refusal) return;
    if (manager.allowsErrorInteraction()) {
        showTerminationError(*answer->refusal);
        manager.release();
    }
    manager.cancel();
}

void ApplicationScreens::showTerminationError(std::string_view text) {
    if (terminationError) terminationError->close();
    const auto title = tr("Orvel can’t quit yet");
    auto* alert = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::Ok,
                                  window.isVisible() ? &window : nullptr);
    terminationError = alert;
    alert->setInformativeText(qtText(text));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowModality(Qt::ApplicationModal);
    alert->show();
}

void ApplicationScreens::openWindow() {
    ports.applications.activateSelf();
}

} // namespace orvel
