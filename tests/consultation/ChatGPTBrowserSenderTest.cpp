// What becomes of a delivery into ChatGPT on a simulated Dia: what it says, what it pressed, and what
// arrived.

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/platform/simulated/SimulatedDia.h"
#include "OrvelCore/text/Digest.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Deed = SimulatedDia::Deed;
using Kind = Deed::Kind;
using Way = ChatGPTAttachingWay;
using testing::HasSubstr;
using testing::StartsWith;

const std::string question = "What is \"this\" for?\n\nAnd why? ";
const std::string delivered = "delivered";

/// How an operation ended: `delivered`, a text, or the message of its failure.
struct End {
    std::string said;
    bool sendWasPressed = false;
};

struct DiaDesk {
    explicit DiaDesk(Way way = Way::openPanel) : way(way) {
        zip = folder.write("a folder/orvel-1.zip", "PK one");
        other = folder.write("a folder/orvel-2.zip", "PK two");
        archive.fileURL = zip;
        archive.sha256 = sha256Hex({"PK one"});
        archive.archiveByteCount = 6;
        dia.addConversation("old", {"An old question"});
        if (way == Way::paste) {
            desktop.accessibility.composesWrites = true;
            desktop.accessibility.writeTime = 20ms;
        }
    }

    void start() {
        desktop.applications.start(dia);
        desktop.applications.bringToFront(SimulatedApplications::self);
        wait(100ms);
        sender.emplace(desktop.ports(), operations, way);
    }
    void wait(MainLoop::Duration duration) { desktop.loop.runFor(duration); }

    End run(Task<std::string> work) {
        std::optional<End> end;
        TaskScope tasks;
        tasks.start(take(std::move(work), end));
        desktop.loop.runUntil([&] { return end.has_value(); }, 300s);
        return end.value_or(End{"did not end"});
    }
    End send(const std::string& text = question) {
        const auto sent = [](Task<ChatGPTDeliveryResult> sending) -> Task<std::string> {
            co_await sending;
            co_return delivered;
        };
        return run(sent(sender->send(archive, text)));
    }

    int count(Kind kind) const {
        const auto& all = dia.deeds();
        return static_cast<int>(
            std::count_if(all.begin(), all.end(), [kind](const auto& deed) { return deed.kind == kind; }));
    }
    const ChatGPTDeliveryTrace& trace() const { return *operations.history().finished().back(); }

    static Task<void> take(Task<std::string> work, std::optional<End>& end) {
        try {
            const auto said = co_await work;
            end = End{said, false};
        } catch (const ChatGPTBrowserSender::Failure& failure) {
            end = End{failure.what(), failure.sendWasPressed()};
        } catch (const std::exception& failure) {
            end = End{failure.what(), false};
        }
    }

    Way way;
    TemporaryFolder folder;
    std::string zip, other;
    ChatGPTRepositoryArchive archive;
    SimulatedDesktop desktop;
    SimulatedDia dia{desktop};
    SimulatedApplication stranger{"com.example.Stranger", "1", "/Applications/Stranger.app"};
    ChatGPTOperations operations{desktop.loop};
    std::optional<ChatGPTBrowserSender> sender;
};

/// A variant of the page or of what happens, and what becomes of a send there.
struct Case {
    std::string about;
    std::function<void(DiaDesk&)> prepare;
    std::string says;
    bool sendWasPressed = false;
    Way way = Way::openPanel;
    int writes = 0;
};

/// Does something as soon as this has been done to the page.
auto when(Kind kind, std::function<void(DiaDesk&)> deed) {
    return [kind, deed](DiaDesk& desk) {
        desk.dia.onDeed = [kind, deed, &desk](const Deed& done) {
            if (done.kind != kind || done.byPerson) return;
            desk.desktop.loop.outside({}, [deed, &desk] { deed(desk); });
        };
    };
}

void changeZip(DiaDesk& desk) {
    desk.folder.write("a folder/orvel-1.zip", "PK onE");
}

void showConversation(DiaDesk& desk) {
    desk.dia.selectsTab(desk.dia.opensTab({.path = "/c/old"}));
}

const auto oneZip = "Couldn't confirm that exactly one ZIP finished attaching.";
const auto unequal = "The ChatGPT editor does not match the question. It was written only once and kept "
                     "without sending.";
const auto notEmpty = "Select an empty ChatGPT tab in Dia. Existing conversations will not be edited.";

const Case cases[] = {
    {"ordinary", [](DiaDesk&) {}, delivered, false, Way::openPanel, 1},
    {"by paste", [](DiaDesk&) {}, delivered, false, Way::paste, 1},
    {"by clicks, found late",
     [](DiaDesk& desk) {
         desk.dia.habits.pressesNeedPointer = true;
         desk.dia.habits.hitTestLag = 500ms;
         desk.dia.redrawsPage();
     },
     delivered, false, Way::openPanel, 1},
    {"the text shows late", [](DiaDesk& desk) { desk.dia.habits.writtenShows = 900ms; }, delivered, false,
     Way::openPanel, 1},
    {"the text shows too late", [](DiaDesk& desk) { desk.dia.habits.writtenShows = 5s; },
     "Couldn't verify the question in time. The content was kept without rewriting or sending.", false,
     Way::openPanel, 1},
    {"smart quotes", [](DiaDesk& desk) { desk.dia.habits.smartQuotes = true; }, unequal, false,
     Way::openPanel, 1},
    {"trims", [](DiaDesk& desk) { desk.dia.habits.trims = true; }, unequal, false, Way::openPanel, 1},
    {"no permission", [](DiaDesk& desk) { desk.desktop.accessibility.trusted = false; },
     "Orvel needs accessibility permission to enter content in ChatGPT."},
    {"another application in front", [](DiaDesk& desk) { desk.desktop.applications.bringToFront(0); },
     "Couldn't establish the selected Dia window and foreground state. No content was changed."},
    {"a stranger in front",
     [](DiaDesk& desk) {
         desk.desktop.applications.bringToFront(desk.desktop.applications.start(desk.stranger));
     },
     "The foreground app changed. Nothing was entered in the browser.\nstage=before_request front=other "
     "front_bundle=other"},
    {"activation is refused", [](DiaDesk& desk) { desk.desktop.applications.refusesActivation = true; },
     "Couldn't confirm activation of the selected Dia window. Nothing was entered. Activation "
     "request=false, same view=false.\nstage=activation_timeout front=Orvel"},
    {"a conversation", [](DiaDesk& desk) { desk.dia.navigates("/c/old"); }, notEmpty},
    {"signed out",
     [](DiaDesk& desk) {
         desk.dia.habits.isSignedOut = true;
         desk.dia.redrawsPage();
     },
     "Sign in to ChatGPT in Dia. Verify the intended account in the browser before continuing."},
    {"a draft", [](DiaDesk& desk) { desk.dia.setsDraft("Mine"); },
     "The ChatGPT editor has a draft. Stopped and kept the content."},
    {"a file", [](DiaDesk& desk) { desk.dia.attaches(desk.other); },
     "Couldn't verify the initial empty ChatGPT editor with no attachments. Existing content was kept."},
    {"moving controls",
     [](DiaDesk& desk) {
         desk.dia.habits.pressesNeedPointer = true;
         desk.dia.redrawsPage();
         for (auto at = 1ms; at < 5s; at += 5ms)
             desk.desktop.loop.outside(at, [&desk] { desk.dia.scrolls(0.05); });
     },
     "The control moved. Nothing was clicked."},
    {"no menu", [](DiaDesk& desk) { desk.dia.habits.ignoresPresses = true; },
     "Couldn't uniquely identify the required ChatGPT control."},
    {"no panel", [](DiaDesk& desk) { desk.dia.habits.panelOpens = 30s; },
     "Couldn't verify that the file picker belongs to this tab."},
    {"the path is not taken",
     when(Kind::pressedOther, [](DiaDesk& desk) { desk.dia.habits.ignoresWrites = true; }),
     "Couldn't verify the selected ZIP path. Return was not pressed."},
    {"another file is selected", [](DiaDesk& desk) { desk.dia.habits.selectsAnother = true; },
     "The selected file does not match the prepared ZIP. Nothing was uploaded."},
    {"the ZIP changes before the choice", when(Kind::pressedOther, changeZip),
     "The prepared ZIP contents changed. Nothing was sent."},
    {"the ZIP changes after the upload", when(Kind::written, changeZip),
     "The prepared ZIP contents changed. Nothing was sent.", false, Way::openPanel, 1},
    {"two files come", [](DiaDesk& desk) { desk.dia.habits.alsoAttaches = desk.other; }, oneZip},
    {"the upload never ends", [](DiaDesk& desk) { desk.dia.habits.spinsForever = true; }, oneZip},
    {"another tab during the upload", when(Kind::attached, showConversation),
     "The displayed ChatGPT page changed during the operation."},
    {"the paste is not taken", [](DiaDesk& desk) { desk.dia.habits.ignoresPastedFiles = true; }, oneZip,
     false, Way::paste},
    {"a file is added after the question",
     when(Kind::written,
          [](DiaDesk& desk) {
              desk.dia.habits.panelCloses = {};
              desk.dia.attaches(desk.other);
          }),
     "The editor or attachment changed while verifying the question. Nothing was sent.", false,
     Way::openPanel, 1},
    {"the editor is redrawn after the question",
     when(Kind::written, [](DiaDesk& desk) { desk.dia.redrawsComposer(); }),
     "Couldn't verify the question in time. The content was kept without rewriting or sending.", false,
     Way::openPanel, 1},
    {"somebody types after the question",
     when(Kind::written,
          [](DiaDesk& desk) { desk.desktop.loop.outside(200ms, [&desk] { desk.dia.typed("x"); }); }),
     "The question changed immediately before sending. Nothing was sent.", false, Way::openPanel, 1},
    {"Send stays disabled", [](DiaDesk& desk) { desk.dia.habits.sendEnables = 60s; },
     "ChatGPT’s Send button is disabled. The content was kept without sending.", false, Way::openPanel, 1},
    {"the page stays at the root", [](DiaDesk& desk) { desk.dia.habits.staysAtRoot = true; },
     "Send was attempted once, but the question and attachment have not been confirmed in the conversation. "
     "Check delivery again; do not resend.",
     true, Way::openPanel, 1},
    {"the file is lost", [](DiaDesk& desk) { desk.dia.habits.losesFiles = true; }, "Send was attempted once",
     true, Way::openPanel, 1},
    {"another conversation after Send", when(Kind::sent, showConversation), "Send was attempted once", true,
     Way::openPanel, 1},
    {"the press is not answered",
     [](DiaDesk& desk) {
         desk.desktop.steps.observer = [&desk](SimulatedStep& step) {
             const auto send = desk.dia.page().action;
             if (step.operation == "performAction" && send && step.element == send->number)
                 step.report = AXStatus::cannotComplete;
         };
     },
     "Couldn't confirm whether sending succeeded. Check the ChatGPT conversation. Orvel will not resend "
     "automatically.",
     true, Way::openPanel, 1},
};

TEST(ChatGPTBrowserSenderTest, SaysWhatBecameOfASend) {
    for (const auto& [about, prepare, says, sendWasPressed, way, writes] : cases) {
        SCOPED_TRACE(about);
        DiaDesk desk(way);
        desk.start();
        prepare(desk);
        desk.wait(100ms);
        const auto clipboard = desk.desktop.pasteboard.contents();
        const auto end = desk.send();
        EXPECT_THAT(end.said.substr(0, end.said.find("\nattempt=")), StartsWith(says));
        EXPECT_EQ(end.sendWasPressed, sendWasPressed);
        EXPECT_EQ(desk.count(Kind::written), writes);
        const bool isDelivered = says == delivered;
        EXPECT_EQ(desk.count(Kind::sent),
                  isDelivered || (sendWasPressed && about != "the press is not answered"));
        EXPECT_EQ(desk.trace().sendWasPressed(), isDelivered || sendWasPressed);
        EXPECT_FALSE(desk.operations.isRunning());
        EXPECT_EQ(desk.desktop.pasteboard.contents(), clipboard);
        for (const auto& secret : {question, desk.zip, std::string("orvel-1.zip")})
            EXPECT_THAT(end.said + desk.trace().report().text(), testing::Not(HasSubstr(secret)));
        if (!isDelivered) continue;
        const auto& message = desk.dia.conversations().back().messages.back();
        EXPECT_EQ(message.text, question);
        ASSERT_EQ(message.files.size(), 1u);
        EXPECT_EQ(message.files.front().bytes, "PK one");
    }
}

// Before anything is done.
TEST(ChatGPTBrowserSenderTest, RefusesWhatCouldNotBeTold) {
    DiaDesk desk;
    desk.start();
    EXPECT_THAT(desk.send("Ask ChatGPT\n").said, StartsWith("Couldn't distinguish the question"));
    EXPECT_THAT(desk.send(" \n").said, StartsWith("Prepare a question and ZIP attachment."));
    changeZip(desk);
    EXPECT_THAT(desk.send().said, StartsWith("The prepared ZIP contents changed."));
    EXPECT_TRUE(desk.dia.deeds().empty());
}

TEST(ChatGPTBrowserSenderTest, ClicksNothingThatLiesUnderSomethingElse) {
    DiaDesk desk;
    desk.dia.habits.pressesNeedPointer = true;
    desk.start();
    const auto page = desk.dia.page();
    const auto banner = desk.desktop.accessibility.makeElement("AXGroup");
    for (const auto* name : {"AXPosition", "AXSize"}) banner->set(name, *page.add->find(name));
    page.toolbar->append(banner);
    EXPECT_THAT(desk.send().said, StartsWith("Couldn't verify that the click position is the same ChatGPT "
                                             "control. Stopped without clicking another element."));
    EXPECT_TRUE(desk.dia.deeds().empty());
}

TEST(ChatGPTBrowserSenderTest, PastesOnlyIntoTheEditor) {
    for (const bool keepsFocus : {false, true}) {
        DiaDesk desk(Way::paste);
        desk.dia.habits.keepsFocus = keepsFocus;
        desk.start();
        desk.dia.movesFocus(false);
        const auto refusal = "Couldn't move the keyboard into the ChatGPT editor. Nothing was attached.";
        EXPECT_THAT(desk.send().said, StartsWith(keepsFocus ? refusal : delivered));
        EXPECT_EQ(desk.count(Kind::attached), keepsFocus ? 0 : 1);
    }
}

TEST(ChatGPTBrowserSenderTest, LeavesWhatSomebodyCopiesMeanwhile) {
    DiaDesk desk(Way::paste);
    when(Kind::attached, [](DiaDesk& there) { there.desktop.pasteboard.copiedElsewhere("Mine"); })(desk);
    desk.start();
    EXPECT_EQ(desk.send().said, delivered);
    EXPECT_EQ(desk.desktop.pasteboard.text, "Mine");
}

TEST(ChatGPTBrowserSenderTest, PreparesWithoutSending) {
    DiaDesk desk;
    desk.start();
    const auto end = desk.run(desk.sender->verifyPreparationWithoutSending(desk.archive, question));
    EXPECT_THAT(end.said, HasSubstr("outcome=preparedWithoutSend phase=preSend"));
    EXPECT_THAT(end.said, HasSubstr("Send was not pressed."));
    EXPECT_EQ(desk.count(Kind::pressedSend), 0);
    EXPECT_EQ(desk.dia.page().editor->text("AXValue"), question);
}

TEST(ChatGPTBrowserSenderTest, LooksWithoutChanges) {
    DiaDesk desk;
    desk.start();
    desk.dia.habits.switching = 700ms; // The browser shows no page until then.
    desk.dia.selectsTab(desk.dia.opensTab({}));
    EXPECT_EQ(desk.run(desk.sender->checkConnection()).said,
              "Verified the same ChatGPT window in Dia, an empty editor, and no attachments. Selected model: "
              "Pro (unchanged by Orvel). Nothing was entered or sent.");
    EXPECT_TRUE(desk.operations.history().finished().empty());
    EXPECT_THAT(desk.run(desk.sender->inspectComposerWithoutChanges(question)).said,
                HasSubstr("editor_value_kind=prompt_with_LF editor_utf16_length=12 value_is_question=false"));
    EXPECT_THAT(desk.run(desk.sender->inspectFilePanelWithoutChanges(desk.archive)).said,
                HasSubstr("open_panels=0"));
    EXPECT_THAT(desk.run(desk.sender->inspectPageStabilityWithoutChanges()).said,
                HasSubstr("kind=pageStability"));
    EXPECT_TRUE(desk.dia.deeds().empty());
}

// Whatever was sent is looked for as often as somebody asks, and never sent again.
TEST(ChatGPTBrowserSenderTest, ChecksTheReceiptAgain) {
    DiaDesk desk;
    desk.dia.habits.newRoute = 40s;
    desk.start();
    const auto recheck = [&] {
        const auto checked = [](Task<ChatGPTDeliveryResult> checking) -> Task<std::string> {
            const auto result = co_await checking;
            co_return result.conversationURL;
        };
        return desk.run(checked(desk.sender->recheckReceiptWithoutChanges())).said;
    };
    EXPECT_EQ(recheck(), "There is no send record for this app session.");
    EXPECT_TRUE(desk.send().sendWasPressed);
    desk.wait(20s);
    const auto& id = desk.dia.conversations().back().id;
    EXPECT_EQ(recheck(), "https://chatgpt.com/c/" + id);
    const auto inspect = [&](const std::string& text) {
        return desk.run(desk.sender->inspectReceiptWithoutChanges(text, "orvel-1.zip", id)).said;
    };
    EXPECT_THAT(inspect(question), StartsWith("Receipt inspection (read only) received=true"));
    EXPECT_THAT(inspect("Another"), StartsWith("Receipt inspection (read only) received=false"));
    showConversation(desk);
    desk.wait(1s);
    EXPECT_THAT(recheck(), StartsWith("The question and attachment have not been confirmed yet."));
    EXPECT_THAT(inspect(question), StartsWith("The selected conversation does not match"));
    EXPECT_EQ(desk.count(Kind::pressedSend), 1);
    EXPECT_EQ(desk.count(Kind::written), 1);
}

// A task that is destroyed ends its operation, and gives back what it had borrowed.
TEST(ChatGPTBrowserSenderTest, EndsWhereItIsCancelled) {
    DiaDesk desk(Way::paste);
    desk.dia.habits.spinsForever = true;
    desk.start();
    {
        std::optional<End> end;
        TaskScope tasks;
        const auto sent = [](Task<ChatGPTDeliveryResult> sending) -> Task<std::string> {
            co_await sending;
            co_return delivered;
        };
        tasks.start(DiaDesk::take(sent(desk.sender->send(desk.archive, question)), end));
        desk.wait(8s);
        EXPECT_EQ(desk.count(Kind::attached), 1);
        EXPECT_THAT(desk.send().said, StartsWith("Another ChatGPT operation is running."));
        EXPECT_FALSE(desk.desktop.pasteboard.contents().empty());
    }
    EXPECT_FALSE(desk.operations.isRunning());
    EXPECT_TRUE(desk.desktop.pasteboard.contents().empty());
    EXPECT_EQ(desk.count(Kind::written), 0);
}

} // namespace
} // namespace orvel
