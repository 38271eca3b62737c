// Draws the windows in every state, light and dark and at three sizes, and a page that shows all pictures:
// for people to look at. The folder for them is in ORVEL_PICTURES.

#include "Orvel/platform/simulated/SimulatedDia.h"
#include "Orvel/screens/ChatGPTConsultationView.h"
#include "Orvel/screens/FailureNotice.h"
#include "Orvel/screens/SettingsWindow.h"
#include "Orvel/screens/Theme.h"
#include "Orvel/screens/WindowPreferences.h"
#include "Orvel/shell/OrvelApp.h"
#include "screens/RelayWindowFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <QListWidget>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class Pictures;

struct Scene {
    const char* name;
    std::function<void(Pictures&)> arrange;

    friend void PrintTo(const Scene& scene, std::ostream* stream) { *stream << scene.name; }
};

// What somebody would read there.
class Pictures : public RelayWindowFixture, public testing::WithParamInterface<Scene> {
  public:
    Pictures() {
        simulated.loop.setNow(1'795'185'000 - referenceDateInUnixTime); // 20 November 2026, 14:30 UTC.
        stamp.now = simulated.loop.now() - 600;
        codexTranscript =
            CodexTranscript({.id = codexID, .workingDirectory = "/code/lark", .startedAt = anHourAgo()});
        codexTranscript.ask("Rewrite the expression parser by hand. Keep the error positions.")
            .answer(
                "The parser is hand-written now; 214 tests pass, and the error positions are those of the "
                "first digit.\n\nUnary minus is its own rule, so that `-2147483648` is one literal.")
            .ask("Keep unary minus as it was, even if it costs a special case.")
            .answer(
                "It is as it was. Three cases pin it down:\n\n```\n-2147483648       folds to the smallest "
                "integer\n-(2147483648)     out of range, at the first digit\n- 2147483648      folds; "
                "blanks do not count\n```\n\nThe old parser fails the second one.");
        claudeTranscript =
            ClaudeTranscript({.id = claudeID, .workingDirectory = "/code/lark", .startedAt = anHourAgo()});
        claudeTranscript.ask("Read the grammar and the old parser first.")
            .answer("Read. Unary minus before a literal and the power operator are the two places where I "
                    "would look twice: the old parser folds the first one while it is still reading.");
    }

    std::int64_t anHourAgo() const {
        return static_cast<std::int64_t>(simulated.loop.now() + referenceDateInUnixTime) - 3600;
    }

    void startNew() {
        open();
        choose("Review");
        model->workspace.setCreationFolder("/code/lark");
        type("Instructions", "Write the failing cases as tests first.");
    }

    void copyStart() {
        startNew();
        trigger("Copy relay");
        settle();
    }

    void openFailed(bool canRetry) {
        failToSend(canRetry);
        settle();
    }

    // The other windows stand on the whole application.
    void openApplication() {
        write();
        folder.write("data/relay-state.json", encodeRelayState(state));
        app.emplace(simulated.ports(), folders(), folder.path("data/state.json"), ClockStyle(), "1.0");
        app->start();
        pass(1s);
    }

    void openSettings(const QString& page, bool isSetup = false) {
        openApplication();
        app->showDeveloperTools(page == "Developer");
        auto& made = show<SettingsWindow>(*app, preferences);
        if (isSetup)
            made.openSetup();
        else
            made.open();
        auto* titles = made.findChild<QListWidget*>();
        if (const auto found = titles->findItems(page, Qt::MatchExactly); !found.isEmpty())
            titles->setCurrentItem(found.front());
        settle();
    }

    void openConsultation(const std::function<void(ChatGPTConsultationModel&)>& arrange) {
        const std::vector<std::pair<const char*, std::size_t>> files{{"CMakeLists.txt", 4'100},
                                                                     {"README.md", 11'800},
                                                                     {"docs/grammar.md", 38'200},
                                                                     {"docs/ranges.md", 9'600},
                                                                     {"samples/large.lark", 6'200'000},
                                                                     {"src/fold/fold.cpp", 22'400},
                                                                     {"src/fold/fold.h", 3'000},
                                                                     {"src/fold/range.cpp", 8'700},
                                                                     {"src/parse/expr.cpp", 14'900},
                                                                     {".env.local", 20},
                                                                     {".npmrc", 20},
                                                                     {"deploy/credentials.json", 20},
                                                                     {"deploy/signing.p12", 20},
                                                                     {"tests/tls/server.key", 20}};
        for (const auto& [path, size] : files)
            folder.write(std::string("lark/") + path, std::string(size, 'x'));
        simulated.applications.start(dia);
        simulated.applications.bringToFront(SimulatedApplications::self);
        openApplication();
        auto& model = app->consultation;
        auto& made = show<ChatGPTConsultationView>(model, app->model.changes());
        made.open();
        arrange(model);
        settle();
    }
    void pack(ChatGPTConsultationModel& model) {
        model.prepare(folder.path("lark"));
        pass(5s);
        model.question =
            "Where does the parser decide that an integer is out of range, and what would break if "
            "that check came after constant folding? Name the files.";
    }

    void openNotice() {
        auto made = std::make_unique<FailureNotice>(simulated.loop);
        made->tell("Claude has a draft, attachment, or reply in progress. Nothing was changed.",
                   "Instructions: Write these three cases as tests first.", [] {});
        other = std::move(made);
        settle();
    }

    void TearDown() override {
        other.reset();
        app.reset();
        WindowFixture::TearDown();
    }

    template <typename Window>
    Window& show(auto&... arguments) {
        auto made = std::make_unique<Window>(arguments...);
        auto& shown = *made;
        other = std::move(made);
        return shown;
    }

    QWidget& shownWindow() { return other ? *other : *window; }
    /// Only the main window can have any size.
    bool hasSizes() const { return !other; }

    WindowPreferences preferences{simulated.settings};
    SimulatedDia dia{simulated};
    std::optional<OrvelApp> app;
    std::unique_ptr<QWidget> other;
};

const Scene scenes[] = {
    {"empty", [](auto& test) { test.open(); }},
    {"no-conversations",
     [](auto& test) {
         std::filesystem::remove_all(test.folder.path("home"));
         std::filesystem::remove_all(test.folder.path("config"));
         test.open();
     }},
    {"loaded", [](auto& test) { test.open(), test.choose("Parser"); }},
    {"ready", [](auto& test) { test.openPair(), test.type("Instructions", "Judge the special case."); }},
    {"relayed",
     [](auto& test) {
         test.receive(Agent::claude, "Please judge only the folding of the smallest integer.",
                      "The fold is right for every integer but the smallest: `-2147483648` is read as a "
                      "minus and a literal that does not fit, so the range check refuses it before the "
                      "fold can see the sign.\n\nI would change `fold.cpp` and leave the parser alone.");
         test.open(), test.type("Instructions", "Write these cases as tests first.");
     }},
    {"busy",
     [](auto& test) { test.codexTranscript.ask("And the power operator?"), test.write(), test.openPair(); }},
    {"linked",
     [](auto& test) {
         test.open(), test.choose("Parser"), test.trigger("Choose the destination…"), test.choose("Review");
     }},
    {"choosing", [](auto& test) { test.openPair(), test.trigger("Choose the destination…"); }},
    {"pending-copied", [](auto& test) { test.prepare(Agent::codex), test.open(); }},
    {"pending-delivered", [](auto& test) { test.openSubmitted(Agent::codex); }},
    {"pending-sending",
     [](auto& test) { test.openPair(), test.trigger("Send to Claude"), test.pass(500ms); }},
    {"pending-from-the-other-side", [](auto& test) { test.openSubmitted(Agent::claude); }},
    {"pending-outdated",
     [](auto& test) {
         test.state.setRetryable(test.prepare(Agent::codex), true), test.codexTranscript.ask("q").answer("a"),
             test.write(), test.open();
     }},
    {"failed-retry", [](auto& test) { test.openFailed(true); }},
    {"failed-unconfirmed", [](auto& test) { test.openFailed(false); }},
    {"failed-banner",
     [](auto& test) { test.openPair(), test.model->commandInbox.open("orvel://nowhere"), test.settle(); }},
    {"too-long",
     [](auto& test) {
         test.openPair(), test.trigger("Turn the relay round"),
             test.type("Instructions", QString(131'072, QLatin1Char('x')));
     }},
    {"chain-choose", [](auto& test) { test.openChain(), test.press("Codex, To, Parser"); }},
    {"chain-right", [](auto& test) { test.openChain(), test.press("Codex → Claude 2"); }},
    {"chain-left", [](auto& test) { test.openChain(), test.press("Codex → Claude"); }},
    {"chain-pending",
     [](auto& test) {
         test.chainUp(), test.prepare(Agent::codex), test.open(), test.press("Codex → Claude 2");
     }},
    {"start-in-codex", [](auto& test) { test.startNew(); }},
    {"start-without-folder", [](auto& test) { test.open(), test.choose("Review"); }},
    {"start-copied", [](auto& test) { test.copyStart(); }},
    {"closed-links",
     [](auto& test) {
         test.pairUp(), test.state.archivePair(test.pairID, 2), test.open(),
             test.choose("▸ Closed links (1)");
     }},
    {"preview", [](auto& test) { test.openPair(), test.trigger("Show or hide preview"); }},
    {"settings-command", [](auto& test) { test.openSettings("Command"); }},
    {"settings-general", [](auto& test) { test.openSettings("General"); }},
    {"settings-developer", [](auto& test) { test.openSettings("Developer"); }},
    {"setup", [](auto& test) { test.openSettings("Setup", true); }},
    {"notice", [](auto& test) { test.openNotice(); }},
    {"consultation-empty", [](auto& test) { test.openConsultation([](auto&) {}); }},
    {"consultation-ready",
     [](auto& test) { test.openConsultation([&test](auto& model) { test.pack(model); }); }},
    {"consultation-sending",
     [](auto& test) {
         test.openConsultation([&test](auto& model) { test.pack(model), model.send(), test.pass(4s); });
     }},
    {"consultation-unconfirmed",
     [](auto& test) {
         test.dia.habits.hidesMessages = true;
         test.openConsultation([&test](auto& model) { test.pack(model), model.send(), test.pass(90s); });
     }},
    {"consultation-delivered",
     [](auto& test) {
         test.openConsultation([&test](auto& model) { test.pack(model), model.send(), test.pass(30s); });
     }},
};

class PicturesTest : public Pictures {};

TEST_P(PicturesTest, AreDrawn) {
    const char* given = std::getenv("ORVEL_PICTURES");
    ASSERT_TRUE(given) << "ORVEL_PICTURES names the folder for the pictures";
    const std::filesystem::path target = given;
    std::filesystem::create_directories(target);
    GetParam().arrange(*this);
    std::ofstream page(target / "index.html", std::ios::app);
    page << "<h2>" << GetParam().name << "</h2>\n";
    const std::vector<QSize> sizes = hasSizes() ? std::vector<QSize>{{640, 480}, {1180, 780}, {1440, 900}}
                                                : std::vector<QSize>{shownWindow().size()};
    for (const auto* theme : {&Theme::light(), &Theme::dark()}) {
        theme->apply();
        for (const auto& size : sizes) {
            shownWindow().resize(size);
            pass(0s);
            const auto name = std::string(GetParam().name) + (theme->isDark ? "-dark-" : "-light-") +
                              std::to_string(size.width()) + ".png";
            ASSERT_TRUE(shownWindow().grab().save(qtText((target / name).string())));
            page << "<img src=\"" << name << "\" alt=\"" << name << "\" loading=\"lazy\">\n";
        }
    }
    Theme::light().apply();
}

std::string sceneName(const testing::TestParamInfo<Scene>& info) {
    std::string name;
    for (const char each : std::string(info.param.name))
        if (each != '-') name += each;
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenes, PicturesTest, testing::ValuesIn(scenes), sceneName);

} // namespace
} // namespace orvel
