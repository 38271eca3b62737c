#include "bench/WindowBench.h"

#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/qt/QtMainLoop.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/screens/ApplicationScreens.h"
#include "Orvel/screens/MainWindow.h"
#include "Orvel/screens/MessageListView.h"
#include "Orvel/screens/Theme.h"
#include "Orvel/shell/OrvelApp.h"
#include "bench/ChildProcess.h"
#include "bench/SampleTranscripts.h"
#include "samples/TranscriptWriter.h"
#include "tests/model/FakeClaudeSender.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QScrollBar>
#include <benchmark/benchmark.h>

namespace orvel::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int messageCount = 20'000;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A window over the many transcripts, and one long conversation to open in it. Without a display: what is
// measured is Orvel's work up to the finished picture.
class BenchWindow {
  public:
    BenchWindow() {
        Theme::light().apply();
        for (const int number : {0, 1}) writeLong(number);
        window.resize(1180, 780);
        window.show();
        model.catalogue.discoverConversations();
        settle();
    }

    // Opens one of two conversations and gives the seconds from the end of its load to the finished picture.
    double show(int number) {
        std::optional<Clock::time_point> loaded;
        const auto subscription = model.changes().subscribe([&] {
            if (!loaded && model.workspace.state().conversation.get()) loaded = Clock::now();
        });
        model.workspace.openFile(longPaths[static_cast<std::size_t>(number)]);
        while (!model.isIdle()) QApplication::processEvents(QEventLoop::AllEvents, 10);
        QApplication::processEvents();
        window.repaint();
        return secondsSince(*loaded);
    }

    void settle() {
        while (!model.isIdle()) QApplication::processEvents(QEventLoop::AllEvents, 10);
        for (int i = 0; i < 3; ++i) QApplication::processEvents();
    }

    MessageListView& messages() { return *window.findChild<MessageListView*>(); }
    QLineEdit& search() { return *window.findChild<QLineEdit*>(QStringLiteral("search")); }
    QListView& sidebar() { return *window.findChild<QListView*>(QStringLiteral("sidebarList")); }

    static BenchWindow& shared() {
        static auto* const shared = new BenchWindow; // Lives to the end, as Qt's own objects do.
        return *shared;
    }

  private:
    void writeLong(int number) {
        CodexTranscript transcript({.id = "long-" + std::to_string(number)});
        for (int i = 0; i < messageCount / 2; ++i) {
            std::string answer;
            for (int word = 0; word < 20 + i % 200; ++word) answer += word % 12 == 11 ? "words\n" : "some ";
            transcript.ask("Question " + std::to_string(i)).answer(answer);
        }
        const auto path = data + "/long-" + std::to_string(number) + ".jsonl";
        std::filesystem::create_directories(data);
        std::ofstream(path) << transcript.text();
        longPaths.push_back(path);
    }

    SimulatedDesktop simulated;
    QtMainLoop loop;
    PosixFileStore files{loop};
    const std::string data = samples().many().home + "/data";
    Desktop desktop = simulated.portsOn(loop, files);
    FakeClaudeSender claude{loop};
    OrvelModel model{desktop, claude, samples().many(), data + "/state.json"};
    MainWindow window{model, desktop, {}};
    std::vector<std::string> longPaths;
};

void showLongConversation(benchmark::State& state) {
    auto& window = BenchWindow::shared();
    int number = 0;
    for (auto _ : state) state.SetIterationTime(window.show(number++ % 2));
}

// Turns the wheel through a part of the list, up and down, and takes the slowest picture.
void scrollLongConversation(benchmark::State& state) {
    auto& window = BenchWindow::shared();
    window.show(0);
    auto& bar = *window.messages().verticalScrollBar();
    bar.setValue(bar.maximum() / 2);
    for (auto _ : state) {
        double slowest = 0;
        for (int frame = 0; frame < 400; ++frame) {
            const auto start = Clock::now();
            bar.setValue(bar.value() + (frame < 200 ? 150 : -300));
            window.messages().viewport()->repaint();
            slowest = std::max(slowest, secondsSince(start));
        }
        state.SetIterationTime(slowest);
    }
}

// Types a word letter by letter and takes the slowest answer.
void typeInSearch(benchmark::State& state) {
    auto& window = BenchWindow::shared();
    for (auto _ : state) {
        double slowest = 0;
        for (const auto* text : {u"l", u"lo", u"lon", u"long", u"lon", u"lo", u"l", u""}) {
            const auto start = Clock::now();
            window.search().setText(QString::fromUtf16(text));
            window.sidebar().viewport()->repaint();
            slowest = std::max(slowest, secondsSince(start));
        }
        state.SetIterationTime(slowest);
    }
}

// Each start is a process of its own.
void startWindow(benchmark::State& state) try {
    const auto& home = samples().many().home;
    for (auto _ : state) {
        std::filesystem::remove_all(home + "/start");
        const auto now = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
        std::istringstream output(outputOf({thisProgram(), "--once", "window", home, std::to_string(now)}));
        double seconds = 0, bytes = 0;
        output >> seconds >> bytes;
        state.SetIterationTime(seconds);
        state.counters["megabytes"] = bytes / 1e6;
    }
} catch (const std::runtime_error& failure) {
    state.SkipWithError(failure.what());
}

} // namespace

void startWindowOnce(const std::string& home, double begunAt) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int count = 1;
    char name[] = "orvel";
    char* arguments[] = {name, nullptr};
    const QApplication application(count, arguments);
    SimulatedDesktop simulated;
    simulated.keyboard.exists = false;
    QtMainLoop loop;
    PosixFileStore files{loop};
    const auto ports = simulated.portsOn(loop, files);
    OrvelApp app(ports, AgentFolders::of(home, std::nullopt, std::nullopt, home + "/.config"),
                 home + "/start/state.json", ClockStyle(), "1.0");
    ApplicationScreens screens(app, ports, [] {});
    auto& window = screens.mainWindow();
    Theme::light().apply();
    window.resize(1180, 780);
    window.show();
    app.start();
    QApplication::processEvents();
    window.repaint();
    const auto now = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
    std::printf("%f\n", now - begunAt);
    do QApplication::processEvents(QEventLoop::AllEvents, 10);
    while (!app.model.isIdle());
    window.repaint();
}

void registerWindowBenchmarks() {
    const auto add = [](const char* name, void (*run)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, run)->UseManualTime()->Iterations(1)->Unit(
            benchmark::kMillisecond);
    };
    add("window/start/10000", startWindow);
    add("window/show/20000", showLongConversation);
    add("window/scroll/20000", scrollLongConversation);
    add("window/search/10000", typeInSearch);
}

} // namespace orvel::bench
