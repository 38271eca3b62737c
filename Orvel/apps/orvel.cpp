// The window program: chooses the platform, makes the application and its screens, and takes in what the
// desktop hands over.

#include "Orvel/platform/assembly/ProgramDesktop.h"
#include "Orvel/platform/posix/DataFolderLock.h"
#include "Orvel/platform/posix/Places.h"
#include "Orvel/platform/posix/StandardStreams.h"
#include "Orvel/platform/qt/QtDesktop.h"
#include "Orvel/platform/qt/QtMainLoop.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/platform/qt/SingleInstance.h"
#include "Orvel/platform/qt/SystemAppearance.h"
#include "Orvel/platform/qt/TerminationSignals.h"
#include "Orvel/screens/ApplicationScreens.h"
#include "Orvel/screens/SampleAgentWindow.h"
#include "Orvel/shell/OrvelApp.h"
#include "OrvelCore/files/FilePath.h"
#include "samples/SampleHome.h"

#ifdef ORVEL_WITH_MAC_DESKTOP
#include "Orvel/platform/mac/MacFailureNotice.h"
#endif

#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <QApplication>
#include <QCommandLineParser>
#include <QDateTime>
#include <QFile>
#include <QFileOpenEvent>
#include <QIcon>
#include <QLocale>
#include <QMessageBox>
#include <QProcess>
#include <QScreen>
#include <QStyleFactory>
#include <QUrl>

namespace {

using namespace orvel;

// What a start was asked for on its command line.
struct Options {
    bool sample = false, isInBackground = false;
    std::optional<std::string> home, data;
    std::optional<bool> dark;
    SingleInstance::Request toOpen;
};

// An argument that is no URL is a file, named from the folder in which the program was started.
std::string openable(const QString& argument) {
    if (argument.startsWith(QStringLiteral("orvel:"))) return utf8Text(argument);
    const auto url = QUrl(argument);
    return standardizedPath(
        QFile::encodeName(url.isLocalFile() ? url.toLocalFile() : argument).toStdString());
}

Options parsedOptions(const QCoreApplication& application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Carries the substance of one agent conversation into another."));
    const auto help = parser.addHelpOption();
    const auto version = parser.addVersionOption();
    const QCommandLineOption sample(QStringLiteral("sample"),
                                    QStringLiteral("Run on sample conversations, made fresh."));
    const QCommandLineOption home(QStringLiteral("home"), QStringLiteral("Take this folder for the home."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption data(QStringLiteral("data"),
                                  QStringLiteral("Keep Orvel's own files in this folder."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption appearance(QStringLiteral("appearance"),
                                        QStringLiteral("light, dark or system (the default)."),
                                        QStringLiteral("MODE"), QStringLiteral("system"));
    const QCommandLineOption background(QStringLiteral("background"),
                                        QStringLiteral("Start without the window, as a session does."));
    parser.addOptions({sample, home, data, appearance, background});
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("A conversation file or an orvel: URL to open."),
                                 QStringLiteral("[FILE|URL]"));
    if (!parser.parse(application.arguments())) {
        std::fprintf(stderr, "orvel: %s\n", qPrintable(parser.errorText()));
        std::exit(2);
    }
    if (parser.isSet(help)) parser.showHelp();
    if (parser.isSet(version)) parser.showVersion();

    const auto folder = [&](const QCommandLineOption& option) {
        return parser.isSet(option) ? std::optional(QFile::encodeName(parser.value(option)).toStdString())
                                    : std::nullopt;
    };
    const auto mode = parser.value(appearance);
    if (mode != u"light" && mode != u"dark" && mode != u"system") {
        std::fprintf(stderr, "orvel: --appearance is light, dark or system.\n");
        std::exit(2);
    }
    Options options{.sample = parser.isSet(sample),
                    .isInBackground = parser.isSet(background),
                    .home = folder(home),
                    .data = folder(data)};
    if (mode != u"system") options.dark = mode == u"dark";
    for (const auto& argument : parser.positionalArguments()) options.toOpen.push_back(openable(argument));
    return options;
}

bool hasDisplay() {
#ifdef Q_OS_MACOS
    return true;
#else
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
           qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
#endif
}

// How the person's system writes times of day.
ClockStyle localClock() {
    return {.secondsFromUTC = QDateTime::currentDateTime().offsetFromUtc(),
            .isTwelveHour = QLocale().timeFormat().contains(QLatin1String("AP"), Qt::CaseInsensitive)};
}

// Opens files and URLs that the desktop sends to a running application.
class DesktopRequests : public QObject {
  public:
    explicit DesktopRequests(OrvelApp& app) : app(app) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::FileOpen) return QObject::eventFilter(watched, event);
        app.open({openable(static_cast<QFileOpenEvent*>(event)->url().toString())});
        return true;
    }

  private:
    OrvelApp& app;
};

// What was typed last is not in the file yet. A disk that takes no more is not waited for.
void saveDrafts(OrvelModel& model, QtMainLoop& loop) {
    constexpr std::chrono::seconds timeout{5};
    model.ledger.flushDrafts();
    const auto deadline = loop.uptime() + timeout;
    while (!model.ledger.isIdle() && loop.uptime() < deadline)
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents | QEventLoop::WaitForMoreEvents, 50);
}

// At the right edge of the screen, where it hides least of the main window.
void showBeside(QWidget& window) {
    const auto room = window.screen()->availableGeometry();
    window.move(room.right() - window.frameGeometry().width(), room.top() + room.height() / 8);
    window.show();
    window.raise();
    window.activateWindow();
}

// Another home or data folder is for trying things out, not for every session.
std::vector<std::string> autostartCommand(const Options& options) {
    if (options.home || options.data || options.sample) return {};
    return {QFile::encodeName(QApplication::applicationFilePath()).toStdString(), "--background"};
}

// At the start of a session nobody has asked for the window: it stays closed, or where no tray shows that
// Orvel runs, minimised.
void showFirst(QWidget& window, const Options& options, bool hasTray) {
    if (!options.isInBackground)
        window.show();
    else if (!hasTray)
        window.showMinimized();
}

int run(QApplication& application, const Options& options) {
    std::optional<SampleHome> sampleHome;
    if (options.sample) sampleHome.emplace();
    const auto places =
        sampleHome ? Places{sampleHome->folders(), sampleHome->dataFolder(), {}, sampleHome->toolFolder()}
                   : Places::fromEnvironment(options.home, options.data);

    SingleInstance instance(places.dataFolder);
    if (instance.handOver(options.toOpen)) return 0;
    const DataFolderLock lock(places.dataFolder, "orvel");

    QtMainLoop loop;
    QtPasteboard pasteboard;
    QtPanels panels;
    QtApplications applications;
    QtSettings settings(joinedPath(places.dataFolder, "settings.ini"));
    ProgramDesktop desktop({.loop = loop,
                            .descriptors = loop,
                            .pasteboard = pasteboard,
                            .panels = panels,
                            .applications = applications,
                            .settings = settings,
                            .isLasting = true,
                            .autostart = autostartCommand(options)},
                           places);
    const auto& ports = desktop.ports();
#ifdef ORVEL_WITH_MAC_DESKTOP
    MacFailureNotice notice;
#endif
    OrvelApp app(ports, places.folders, places.statePath(), localClock(), ORVEL_VERSION);
    DesktopRequests requests(app);
    application.installEventFilter(&requests);

    const bool systemIsDark = SystemAppearance::paletteIsDark(); // Before a theme stands in its place.
    ApplicationScreens screens(app, ports, [] {
        QProcess::startDetached(QApplication::applicationFilePath(), {QStringLiteral("--sample")});
    });
#ifdef ORVEL_WITH_MAC_DESKTOP
    // Qt's own windows take the keyboard there, or go when the application is not in front.
    app.screens.showFailure = [&app, &notice](const std::string& message, const std::string& context) {
        notice.tell(message, context, [&app, message] { app.showDetails(message); });
    };
    app.screens.dismissFailure = [&notice] { notice.dismiss(); };
#endif
    auto& preferences = screens.preferences();
    preferences.followSystem(systemIsDark);
    if (options.dark) preferences.overrideAppearance(*options.dark);
    const SystemAppearance appearance([&preferences](bool isDark) { preferences.followSystem(isDark); });
    auto& window = screens.mainWindow();
    panels.setWindow(&window);
    applications.setWindow(&window);
    std::optional<SampleAgentWindow> agentWindow;
    if (auto* claude = desktop.claudeOfSample()) {
        agentWindow.emplace(app.model, *claude);
        app.monitoring.keybindings.confirm(joinedPath(places.folders.codex, "keybindings.json"));
        window.markAsSample([&agentWindow] { showBeside(*agentWindow); });
        screens.hasTray = [] { return false; }; // Closing its window ends a sample.
    }

    const bool listens = instance.listen([&](const SingleInstance::Request& request) {
        app.open(request);
        applications.activateSelf();
    });
    if (!listens)
        throw std::runtime_error("Orvel is already running on " + places.dataFolder +
                                 " but doesn't answer. Nothing was opened.");
    const TerminationSignals endings;
    showFirst(window, options, screens.hasTray());
    if (agentWindow) showBeside(*agentWindow);
    app.start();
    app.open(options.toOpen);
    const int status = QApplication::exec();
    saveDrafts(app.model, loop);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    holdStandardStreams();
    QApplication::setApplicationName(QStringLiteral("Orvel"));
    QApplication::setApplicationVersion(QStringLiteral(ORVEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("orvel"));
    // The options need no display, so that help and complaints do without one.
    const auto options = parsedOptions(QCoreApplication(argc, argv));
    if (!hasDisplay()) {
        std::fputs("orvel: There is no display for the window. orvel-cli does the same work in a terminal.\n",
                   stderr);
        return 1;
    }
    QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("orvel")));
#ifndef Q_OS_MACOS
    if (auto* style = QStyleFactory::create(QStringLiteral("Fusion"))) QApplication::setStyle(style);
#endif
    try {
        return run(application, options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "orvel: %s\n", failure.what());
        QMessageBox::critical(nullptr, QStringLiteral("Orvel"), qtText(failure.what()));
        return 1;
    }
}
