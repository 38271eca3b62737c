#include "Orvel/screens/SampleAgentWindow.h"

#include "Orvel/platform/assembly/ProgramDesktop.h"
#include "Orvel/platform/qt/QtDesktop.h"
#include "Orvel/platform/qt/QtMainLoop.h"
#include "Orvel/shell/OrvelApp.h"
#include "samples/SampleHome.h"
#include "screens/QtFixture.h"

#include <chrono>

#include <QApplication>
#include <QKeyEvent>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class SampleAgentWindowTest : public QtFixture {
  protected:
    SampleAgentWindowTest() {
        window.show();
        app.start();
        waitFor([&] {
            return app.monitoring.preparation.readyProcess(Agent::claude) && editor().isReadOnly() == false;
        });
    }

    QPlainTextEdit& editor() { return *window.findChild<QPlainTextEdit*>(); }
    void press(int code, const QString& text) {
        QKeyEvent event(QEvent::KeyPress, code, Qt::NoModifier, text);
        QApplication::sendEvent(&editor(), &event);
    }
    void type(const QString& text) {
        for (const auto letter : text) press(0, letter);
        const auto typed = loop.uptime();
        waitFor([&] { return loop.uptime() - typed > 400ms; }); // As somebody types; Send takes its time.
        press(Qt::Key_Return, QStringLiteral("\r"));
    }

    SampleHome home;
    Places places{home.folders(), home.dataFolder(), {}, home.toolFolder()};
    QtMainLoop loop;
    QtPasteboard pasteboard;
    QtPanels panels;
    QtApplications applications;
    QtSettings settings{home.dataFolder() + "/settings.ini"};
    ProgramDesktop desktop{{loop, loop, pasteboard, panels, applications, settings}, places};
    OrvelApp app{desktop.ports(), places.folders, places.statePath(), ClockStyle(), "1.0"};
    SampleAgentWindow window{app.model, *desktop.claudeOfSample()};
};

TEST_F(SampleAgentWindowTest, ACommandLeavesTheEditorForOrvelAndEverythingElseGoesToClaude) {
    type(QStringLiteral("/orvel Look at this."));
    waitFor([&] { return app.model.workspace.state().instruction.get() == "Look at this."; });
    waitFor([&] { return editor().toPlainText().isEmpty(); });

    type(QStringLiteral("Hello."));
    auto& claude = desktop.claudeOfSample()->program();
    waitFor([&] {
        const auto& received = claude.conversation(claude.shown())->received;
        return !received.empty() && received.back() == "Hello.";
    });
    waitFor([&] { return editor().toPlainText().isEmpty(); });
}

} // namespace
} // namespace orvel
