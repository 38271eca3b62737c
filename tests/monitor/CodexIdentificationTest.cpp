#include "Orvel/monitor/CodexIdentification.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/monitor/GoogleJapaneseInput.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/relay/RelayError.h"
#include "monitor/AgentWindow.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

const std::string threadID = "01a1fd20-0000-7000-8000-000000000001";
const std::string link = "codex://threads/" + threadID;
constexpr auto untouched = " The original /orvel was not removed or sent.";

struct Identification : AgentWindow, EventPosting {
    Identification() {
        desktop.accessibility.latency = {200us, 200us, 200us};
        desktop.pasteboard.copiedElsewhere("the person's own");
        // What Codex does when it is asked.
        copies = [this](int) { copyLater(60ms, link); };
    }

    // Codex's side of the keys that are posted

    struct Posted : PreparedEvents {
        explicit Posted(Identification& test) : test(test) {}
        void post() override { test.copies(++test.posts); }
        Identification& test;
    };
    std::unique_ptr<PreparedEvents> key(SyntheticKey pressed, std::optional<ProcessID> to) override {
        EXPECT_EQ(pressed, (SyntheticKey{37, SyntheticKey::command | SyntheticKey::option}));
        EXPECT_EQ(to, process);
        return refusesKeys ? nullptr : std::make_unique<Posted>(*this);
    }
    std::unique_ptr<PreparedEvents> click(AXPoint) override { return nullptr; }

    void later(MainLoop::Duration delay, std::function<void()> act) {
        timers.push_back(desktop.loop.after(delay, std::move(act)));
    }
    void copyLater(MainLoop::Duration delay, const std::string& text) {
        later(delay, [this, text] { desktop.pasteboard.copiedElsewhere(text); });
    }

    Task<ConversationReference> resolve(std::string id) {
        co_await desktop.loop.sleep(30ms);
        if (onResolve) onResolve();
        co_return ConversationReference{.agent = Agent::codex, .sessionID = id};
    }

    CapturedReturn captured() const {
        return {.id = "one",
                .agent = Agent::codex,
                .command = {"go"},
                .text = "/orvel go",
                .editor = editor->handle(),
                .window = window->handle(),
                .process = process,
                .inputGeneration = input.generation(),
                .inputSourceID = "com.apple.keylayout.ABC"};
    }

    /// Runs one identification to its end.
    void identify() {
        showCodex();
        type("/orvel go");
        start();
        desktop.loop.run();
    }

    void start() {
        found.reset();
        failure.clear();
        details.clear();
        posts = 0;
        tasks.start(run(captured()));
    }

    Task<void> run(CapturedReturn of) {
        const std::function<bool()> wanted = [this] { return isWanted; };
        try {
            found = co_await identification.identify(of, wanted);
        } catch (const CaptureFailure& failed) {
            failure = failed.message().text();
            details = failed.details().text();
        }
    }

    InputWatch input{SimulatedApplications::self};
    DiagnosticFacts facts;
    TimedReads reads{desktop.loop, desktop.accessibility, facts};
    bool isMonitored = true, isWanted = true, refusesKeys = false;
    std::optional<std::string> version = std::string(CodexCopyShortcutPolicy::supportedAppVersion);
    CodexCopyShortcutAssessment assessment = CodexCopyShortcutPolicy::assess(std::nullopt, true, false);
    std::function<void()> onResolve;
    std::function<void(int)> copies;
    int posts = 0;
    std::optional<IdentifiedCodex> found;
    std::string failure, details;
    std::vector<std::unique_ptr<Timer>> timers;
    ChangeSignal changes;
    GoogleJapaneseInput japanese{changes,
                                 {desktop.loop, desktop.sideQueue, desktop.windows, desktop.applications,
                                  desktop.inputSources, [this](Agent) { return version; },
                                  [] { return std::nullopt; }}};
    CodexIdentification identification{
        {{desktop.loop, desktop.applications, desktop.inputSources, reads, facts, input, japanese},
         desktop.accessibility,
         *this,
         desktop.pasteboard,
         [this] { return isMonitored; },
         [this] { return version; },
         [this] { return assessment; },
         [this](std::string id) { return resolve(std::move(id)); }}};
    TaskScope tasks{[](const auto& unexpected) { std::rethrow_exception(unexpected); }};
};

TEST_F(Identification, IsTheConversationThatTwoCopiesNameAndLeavesTheClipboard) {
    for (const auto delay : {1ms, 60ms, 900ms}) {
        copies = [&, delay](int) { copyLater(delay, link); };
        identify();
        ASSERT_TRUE(found) << failure << details;
        EXPECT_EQ(found->reference.sessionID, threadID);
        EXPECT_EQ(posts, 2);
        EXPECT_EQ(desktop.pasteboard.text, "the person's own");
        EXPECT_EQ(typed(), "/orvel go") << "not its business";
    }
}

struct StopCase {
    const char* name;
    std::function<void()> prepare;
    const char* message;
    int posts;
    const char* clipboard = "the person's own";
};

TEST_F(Identification, StopsAtWhateverIsInDoubt) {
    const auto atCopy = [&](int number, std::function<void()> act) {
        return [&, number, act = std::move(act)] {
            copies = [&, number, act](int count) {
                if (count == number)
                    act();
                else
                    copyLater(60ms, link);
            };
        };
    };
    const std::string other = "codex://threads/01a1fd20-0000-7000-8000-000000000009";
    const StopCase cases[] = {
        {"an unknown version", [&] { version = "1.0"; }, "has not been verified for this Codex version", 0},
        {"no version", [&] { version.reset(); }, "has not been verified for this Codex version", 0},
        {"no shortcut", [&] { assessment = CodexCopyShortcutPolicy::assess("[", true, false); }, "", 0},
        {"keys are refused", [&] { refusesKeys = true; }, "Couldn't prepare key events", 0},
        {"a clipboard that can't be kept",
         [&] {
             desktop.pasteboard.copiedElsewhere({{{"public.data", std::string(8'388'609, 'x')}}});
         },
         "Couldn't save the original clipboard.", 0, nullptr},
        {"the first copy never comes", atCopy(1, [] {}), "No fresh conversation URL copy arrived.", 1},
        {"the second copy never comes", atCopy(2, [] {}), "No fresh conversation URL copy arrived.", 2},
        {"two conversations", atCopy(2, [&] { copyLater(60ms, other); }), "different conversations", 2},
        {"another program copies", atCopy(1, [&] { copyLater(60ms, "foreign"); }),
         "The clipboard changed in another operation.", 1, "foreign"},
        {"the person types", atCopy(1, [&] { later(30ms, [&] { input.swallows({.keyCode = 1}); }); }),
         "became unverifiable", 1},
        {"the text changes", atCopy(2, [&] { later(30ms, [&] { type("/orvel gone"); }); }),
         "became unverifiable", 2},
        {"the text changes before a copy comes",
         atCopy(2,
                [&] {
                    copyLater(60ms, link);
                    later(10ms, [&] { type("/orvel gone"); });
                }),
         "became unverifiable", 2},
        {"the focus moves",
         atCopy(1, [&] { later(30ms, [&] { application->set("AXFocusedUIElement", submit->handle()); }); }),
         "became unverifiable", 1},
        {"another window",
         atCopy(1,
                [&] {
                    later(30ms, [&] {
                        application->set("AXFocusedWindow", add(application, "AXWindow")->handle());
                    });
                }),
         "became unverifiable", 1},
        {"another application",
         atCopy(
             1,
             [&] { later(30ms, [&] { desktop.applications.bringToFront(SimulatedApplications::self); }); }),
         "became unverifiable", 1},
        {"another input method",
         atCopy(1, [&] { later(30ms, [&] { desktop.inputSources.useGoogleHiragana(); }); }),
         "became unverifiable", 1},
        {"monitoring stops", atCopy(2, [&] { later(30ms, [&] { isMonitored = false; }); }),
         "became unverifiable", 2},
        {"the shortcut changes",
         atCopy(1,
                [&] {
                    copyLater(60ms, link);
                    assessment.shortcut->shift = true;
                }),
         "shortcut changed", 1},
        {"the conversation is unknown",
         [&] {
             onResolve = [] { throw ConversationCatalogError(ConversationCatalogError::Case::notFound); };
         },
         "No conversation on this machine has its ID.", 2},
        {"its file holds another one",
         [&] { onResolve = [] { throw RelayError(RelayError::Case::conversationMismatch); }; },
         "do not match. Stopped.", 2},
        {"the person types during the search", [&] { onResolve = [&] { input.swallows({.keyCode = 1}); }; },
         "changed during conversation verification", 2},
    };
    const auto standing = copies;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        timers.clear();
        desktop.inputSources.useABC();
        desktop.pasteboard.copiedElsewhere("the person's own");
        isMonitored = true, refusesKeys = false, onResolve = nullptr, copies = standing;
        version = std::string(CodexCopyShortcutPolicy::supportedAppVersion);
        assessment = CodexCopyShortcutPolicy::assess(std::nullopt, true, false);
        test.prepare();
        identify();
        EXPECT_FALSE(found);
        EXPECT_THAT(failure, HasSubstr(test.message));
        EXPECT_THAT(failure, testing::EndsWith(untouched));
        EXPECT_EQ(posts, test.posts);
        if (test.clipboard) {
            EXPECT_EQ(desktop.pasteboard.text, test.clipboard);
        }
        EXPECT_THAT(failure + details, Not(HasSubstr(threadID)));
    }
}

TEST_F(Identification, ReadsPastAWindowThatDoesNotAnswerForAMoment) {
    copies = [this](int) {
        copyLater(60ms, link);
        later(10ms, [this] { editor->statuses = {{"AXValue", AXStatus::cannotComplete}}; });
        later(75ms, [this] { editor->statuses.clear(); });
    };
    identify();
    EXPECT_TRUE(found) << failure << details;

    copies = [this](int) {
        copyLater(60ms, link);
        later(10ms, [this] { editor->statuses = {{"AXValue", AXStatus::invalidElement}}; });
    };
    identify();
    EXPECT_THAT(failure, HasSubstr("became unverifiable"));
    EXPECT_EQ(desktop.pasteboard.text, "the person's own");
}

TEST_F(Identification, ANewerCommandEndsItWithoutAWordAndTheClipboardComesBack) {
    showCodex();
    type("/orvel go");
    for (const auto moment : {30ms, 90ms, 150ms}) {
        isWanted = true;
        desktop.pasteboard.copiedElsewhere("the person's own");
        start();
        desktop.loop.runFor(moment);
        isWanted = false;
        desktop.loop.run();
        EXPECT_FALSE(found);
        EXPECT_EQ(failure, "");
        // A copy that is still to come is Codex's doing; the next capture takes it back.
        isWanted = true;
        start();
        desktop.loop.run();
        EXPECT_TRUE(found) << failure;
        EXPECT_EQ(desktop.pasteboard.text, "the person's own");
    }
}

TEST_F(Identification, ALinkOfThePersonsOwnIsNotTakenForALateCopy) {
    copies = [](int) {}; // Never comes.
    identify();
    EXPECT_THAT(failure, HasSubstr("No fresh conversation URL copy arrived."));
    desktop.loop.runFor(30s);
    desktop.pasteboard.copiedElsewhere(link);
    copies = [this](int) { copyLater(60ms, link); };
    identify();
    EXPECT_TRUE(found) << failure;
    EXPECT_EQ(desktop.pasteboard.text, link) << "what the person copied half a minute later stays";
}

} // namespace
} // namespace orvel
