// What proves a receipt, how long it is looked for, how a capture repeats, and where a click would go.

#include "consultation/ChatGPTDesk.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

using Element = SimulatedElement::Shared;

const std::string question = "Why does it fail?", zip = "orvel.zip";

struct ReceiptDesk : ChatGPTDesk {
    ReceiptDesk() {
        go("/c/x");
        asked = add(main, "AXStaticText", "AXValue", question);
        shown = add(main, "AXButton", "AXTitle", zip);
    }
    std::string read(bool requireForeground = true) {
        received.reset();
        const auto end = run(receipts.readReceipt(attempt, requireForeground), received);
        return end != "done" ? end : *received ? "received" : "nothing yet";
    }
    std::string poll(bool requireForeground = true) {
        received.reset();
        const auto end = run(receipts.pollReceipt(attempt, requireForeground), received);
        return end != "done" ? end : *received ? "received" : "nothing";
    }
    /// Moves the question below so many groups.
    void bury(int levels) {
        asked->remove();
        auto lowest = main;
        for (int level = 0; level < levels; ++level) lowest = add(lowest, "AXGroup");
        asked = add(lowest, "AXStaticText", "AXValue", question);
    }
    int stages() {
        const auto text = report();
        int count = 0;
        for (auto at = text.find("receipt_read_stage=page"); at != text.npos;
             at = text.find("receipt_read_stage=page", at + 1))
            ++count;
        return count;
    }

    Element asked, shown;
    ChatGPTDeliveryAttempt attempt{question, zip, page(), "Selected model: Pro", true, std::nullopt};
    std::optional<std::optional<ChatGPTDeliveryResult>> received;
};

struct Shape {
    const char* name;
    void (*change)(ReceiptDesk&);
    std::string end = "received";
};

TEST(ChatGPTReceipt, IsTheQuestionAndTheNameOutsideTheComposerOfANewConversation) {
    const std::string unowned =
                          "Couldn't verify that the receipt and editor belong to the same conversation. No "
                          "automatic resend.",
                      tooFar = "Couldn't fully verify receipt ownership. No automatic resend.",
                      noConversation = "Couldn't verify the new conversation.", nothing = "nothing yet";
    const Shape shapes[] = {
        {"as it should be", [](ReceiptDesk&) {}},
        {"the name as a text",
         [](auto& d) { d.shown->remove(), d.add(d.main, "AXStaticText", "AXValue", zip); }},
        {"the name of a group",
         [](auto& d) { d.shown->remove(), d.add(d.main, "AXGroup", "AXDescription", zip); }},
        {"the name in a help", [](auto& d) { d.shown->remove(), d.add(d.main, "AXButton", "AXHelp", zip); }},
        {"the question in the composer as well",
         [](auto& d) { d.add(d.region, "AXStaticText", "AXValue", question); }},
        {"an element without a role", [](auto& d) { d.add(d.main, "AXGroup")->unset("AXRole"); }},
        {"a draft in the composer", [](auto& d) { d.type(question); }},

        {"the question in the composer only",
         [](auto& d) {
             d.asked->remove(), d.add(d.add(d.region, "AXGroup"), "AXStaticText", "AXValue", question);
         },
         nothing},
        {"the name in the composer only", [](auto& d) { d.shown->remove(), d.attach(zip); }, nothing},
        {"the region itself has the name", [](auto& d) { d.shown->remove(), d.region->set("AXTitle", zip); },
         nothing},
        {"a longer question", [](auto& d) { d.asked->set("AXValue", question + " "); }, nothing},
        {"a question that is no text", [](auto& d) { d.asked->set("AXRole", std::string("AXHeading")); },
         nothing},
        {"a longer name", [](auto& d) { d.shown->set("AXTitle", zip + " "); }, nothing},
        {"a link of the name", [](auto& d) { d.shown->set("AXRole", std::string("AXLink")); }, nothing},
        {"the page did not move", [](auto& d) { d.go("/"); }, nothing},
        {"a query", [](auto& d) { d.go("/c/x?model=y"); }, noConversation},
        {"another page", [](auto& d) { d.go("/library"); }, noConversation},
        {"another conversation", [](auto& d) { d.attempt.conversationURL = "https://chatgpt.com/c/y"; },
         "The conversation changed while checking delivery."},
        {"back at the beginning",
         [](auto& d) { d.attempt.conversationURL = "https://chatgpt.com/c/x", d.go("/"); },
         "The conversation changed while checking delivery."},
        {"another window", [](auto& d) { d.openAnotherWindow(); },
         "The selected Dia window changed during inspection. Other views will not be read."},
        {"another application",
         [](auto& d) { d.desktop.applications.bringToFront(SimulatedApplications::self); },
         "The foreground app changed. Input was stopped."},
        {"another application meanwhile",
         [](auto& d) {
             d.onStep = [&d](SimulatedStep& step) {
                 if (step.element == d.shown->number && step.name == "AXTitle")
                     d.desktop.applications.bringToFront(SimulatedApplications::self);
             };
         },
         "The foreground app changed. Input was stopped."},
        {"another conversation meanwhile",
         [](auto& d) {
             d.onStep = [&d](SimulatedStep& step) {
                 if (step.element == d.shown->number && step.name == "AXTitle") d.go("/c/y");
             };
         },
         "The ChatGPT tab changed during the operation."},
        {"no editor", [](auto& d) { d.editor->remove(); }, "Couldn't uniquely identify the ChatGPT editor."},
        {"no region", [](auto& d) { d.region->below().front()->remove(); },
         "Couldn't verify the same editor containing the question and attachment."},
        {"a question of no page", [](auto& d) { ReceiptDesk::fail(d.asked, "AXParent", AXStatus::noValue); },
         unowned},
        {"39 groups deep", [](auto& d) { d.bury(38); }},
        {"40 groups deep", [](auto& d) { d.bury(39); }, tooFar},
    };
    for (const auto& [name, change, end] : shapes) {
        for (const bool isFetchedAhead : {false, true}) {
            ReceiptDesk desk;
            desk.desktop.accessibility.supportsReadAhead = isFetchedAhead;
            change(desk);
            EXPECT_EQ(desk.read(), end) << name;
            EXPECT_EQ(desk.writes, 0) << name;
        }
    }
}

TEST(ChatGPTReceipt, TheResultNamesTheConversationAndTheTraceTheEvidence) {
    ReceiptDesk desk;
    desk.type("Another draft");
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
    EXPECT_EQ(desk.read(false), "received") << "a recheck works behind other applications";
    EXPECT_EQ(**desk.received, (ChatGPTDeliveryResult{"https://chatgpt.com/c/x", "Selected model: Pro"}));
    EXPECT_EQ(desk.attempt.conversationURL, "https://chatgpt.com/c/x");
    EXPECT_TRUE(desk.tells("question_outside=true archive_outside=true composer_empty=false "
                           "attachments_consumed=true receipt_confirmed=true"));
    desk.attach(zip);
    desk.type("Ask ChatGPT");
    desk.read(false);
    EXPECT_TRUE(desk.tells("composer_empty=unknown attachments_consumed=false receipt_confirmed=true"));
    desk.add(desk.region, "AXProgressIndicator");
    ReceiptDesk::fail(desk.editor, "AXValue", AXStatus::failure);
    EXPECT_EQ(desk.read(false), "received") << "the composer has no vote";
    EXPECT_TRUE(desk.tells("composer_empty=unknown attachments_consumed=unknown receipt_confirmed=true"));
}

TEST(ChatGPTReceipt, IsLookedForAHundredTimesAndNoLongerThanItCanBeRead) {
    struct Look {
        const char* name;
        void (*begin)(ReceiptDesk&);
        void (*later)(ReceiptDesk&); // At the uptime of 1 s.
        std::string end;
        MainLoop::Duration took;
        bool isStopped = false;
    };
    const auto nothing = [](ReceiptDesk&) {};
    const auto busy = [](ReceiptDesk& d) {
        ReceiptDesk::fail(d.application, "AXWindows", AXStatus::cannotComplete);
    };
    const Look looks[] = {
        {"there at once", nothing, nothing, "received", 300ms},
        {"the page stays at the root", [](auto& d) { d.go("/"); }, nothing, "nothing", 30s},
        {"the page moves later", [](auto& d) { d.go("/"); }, [](auto& d) { d.go("/c/x"); }, "received",
         1200ms},
        {"a busy browser", busy, [](auto& d) { d.application->statuses.clear(); }, "received", 1200ms},
        {"a page that comes back", [](auto& d) { d.web->unset("AXURL"); }, [](auto& d) { d.go("/c/x"); },
         "received", 1200ms},
        {"never readable", busy, nothing, "nothing", 30s},
        {"another conversation", [](auto& d) { d.asked->remove(); }, [](auto& d) { d.go("/c/y"); }, "nothing",
         1200ms, true},
        {"a view that can't be read", [](auto& d) { ReceiptDesk::fail(d.main, "AXRole", AXStatus::failure); },
         nothing, "nothing", 300ms, true},
        {"another application", [](auto& d) { d.asked->remove(); },
         [](auto& d) { d.desktop.applications.bringToFront(SimulatedApplications::self); }, "nothing", 1200ms,
         true},
    };
    for (const auto& [name, begin, later, end, took, isStopped] : looks) {
        ReceiptDesk desk;
        begin(desk);
        desk.loop.outside(1s, [&desk, later = later] { later(desk); });
        EXPECT_EQ(desk.poll(), end) << name;
        EXPECT_EQ(desk.tells("receipt_read_stopped=true"), isStopped) << name;
        EXPECT_EQ(std::chrono::duration_cast<std::chrono::milliseconds>(desk.loop.uptime()), took) << name;
    }
}

TEST(ChatGPTReceipt, AStageThatRepeatsIsWrittenOnce) {
    ReceiptDesk desk;
    desk.go("/");
    for (int i = 0; i < 3; ++i) desk.read();
    EXPECT_EQ(desk.stages(), 1);
}

TEST(ChatGPTReceipt, TheSnapshotIsTakenOnlyForAQuestion) {
    ChatGPTDesk desk;
    bool isTaken = false;
    const auto take = [](bool& taken) -> Task<ChatGPTDeliverySnapshot> {
        taken = true;
        co_return ChatGPTDeliverySnapshot{true, " ", {{zip}}, true};
    };
    EXPECT_EQ(desk.run(ChatGPTDeliveryAttempt::validate(" ", zip, take(isTaken))),
              "The question is empty. A ZIP cannot be sent on its own.");
    EXPECT_FALSE(isTaken);
    EXPECT_EQ(desk.run(ChatGPTDeliveryAttempt::validate(question, zip, take(isTaken))),
              "Couldn't verify the question and exactly one ZIP in the same conversation. Nothing was sent.");
    EXPECT_TRUE(isTaken);
}

TEST(ChatGPTOperations, OneAtATimeAndEachEndsWithItsTask) {
    SimulatedLoop loop;
    ChatGPTOperations operations(loop);
    const auto sleep = [](ChatGPTOperations& owner, SimulatedLoop& clock) -> Task<void> {
        const auto operation = owner.begin(ChatGPTDeliveryTrace::Kind::send);
        co_await clock.sleep(1h);
    };
    {
        TaskScope tasks;
        tasks.start(sleep(operations, loop));
        EXPECT_THROW(static_cast<void>(operations.begin(ChatGPTDeliveryTrace::Kind::receiptCheck)),
                     RelaySendError);
        EXPECT_TRUE(operations.isRunning());
    }
    EXPECT_FALSE(operations.isRunning()) << "cancelled";
    operations.begin(ChatGPTDeliveryTrace::Kind::preparation).discardTrace();
    ASSERT_EQ(operations.history().finished().size(), 1U);
    EXPECT_EQ(operations.history().finished().front()->kind(), ChatGPTDeliveryTrace::Kind::send);
}

// A read that ends as its number says.
enum class End { value, nothing, transient, pending, failure, gone };

struct ChatGPTStableSnapshotTest : testing::Test {
    Task<std::optional<int>> read(int number) {
        last = number;
        co_await loop.sleep(readTime);
        switch (ends.at(static_cast<std::size_t>(number - 1))) {
        case End::value: co_return number;
        case End::nothing: break;
        case End::transient: throw ChatGPTAXReadFailure("AXRole", AXStatus::cannotComplete);
        case End::gone: throw ChatGPTAXReadFailure("AXRole", AXStatus::invalidElement);
        case End::pending: throw ChatGPTPointerHit::Failure();
        case End::failure: throw ChatGPTAXReadFailure("AXRole", AXStatus::failure);
        }
        co_return std::nullopt;
    }
    static Task<void> keep(Task<int> work, std::string& end) {
        try {
            const auto value = co_await work;
            end = std::to_string(value);
        } catch (const Failure& failure) {
            end = std::string(failure.caseName());
        }
    }
    std::string capture(int reads, MainLoop::Duration timeout) {
        last = 0;
        std::string end;
        TaskScope tasks;
        const ChatGPTStableSnapshot::Read<int> reading = [this](int number) { return read(number); };
        tasks.start(keep(ChatGPTStableSnapshot::capture<int>(loop, {reads, timeout}, reading), end));
        const auto began = loop.uptime();
        loop.run();
        took = loop.uptime() - began;
        return end;
    }

    SimulatedLoop loop;
    std::vector<End> ends;
    MainLoop::Duration readTime{0}, took{0};
    int last = 0;
};

TEST_F(ChatGPTStableSnapshotTest, RepeatsWithinItsBoundsAndTrustsNoLateValue) {
    ends = {End::nothing, End::transient, End::pending, End::gone, End::value};
    EXPECT_EQ(capture(5, 2s), "5");
    EXPECT_EQ(took, 400ms);
    EXPECT_EQ(capture(4, 2s), "timedOut");
    EXPECT_EQ(took, 300ms) << "nothing is waited for after the last read";
    EXPECT_EQ(capture(5, 400ms), "timedOut");
    EXPECT_EQ(last, 4);
    EXPECT_EQ(capture(0, 2s), "timedOut");
    EXPECT_EQ(capture(5, 0s), "timedOut");
    EXPECT_EQ(last, 0);
    ends = {End::failure, End::value};
    EXPECT_EQ(capture(5, 2s), "axReadFailed");
    EXPECT_EQ(last, 1);
    ends = {End::value};
    readTime = 2s;
    EXPECT_EQ(capture(5, 2s), "timedOut") << "late";
    EXPECT_EQ(capture(5, 2001ms), "1");
}

// Gives the element the place that is clicked.
void at(const Element& element) {
    element->set("AXPosition", AXPoint{10, 10});
    element->set("AXSize", AXSize{20, 20});
}

TEST(ChatGPTPointerProof, OnlyTheControlIsClicked) {
    using Desk = ChatGPTDesk;
    struct Case {
        const char* name;
        void (*change)(Desk&);
        std::string end;
        const char* line = nullptr;
    };
    const std::string other =
        "Couldn't verify that the click position is the same ChatGPT control. Stopped without "
        "clicking another element.";
    const Case cases[] = {
        {"the control", [](auto& d) { at(d.voice); }, "done", "hit_same_target=true"},
        {"its label", [](auto& d) { at(d.voice), at(d.add(d.voice, "AXStaticText")); }, "done",
         "hit_child=true"},
        {"its group", [](auto& d) { at(d.region); },
         "Couldn't verify the exact position of the same control in time. Nothing was clicked.",
         "hit_role=AXGroup hit_decision=pendingAncestor"},
        {"the window", [](Desk&) {}, other,
         "hit_ancestor=true hit_in_web=false hit_role=AXWindow hit_decision=rejected"},
        {"something over it", [](auto& d) { at(d.voice), at(d.add(d.region, "AXButton")); }, other,
         "hit_decision=rejected"},
        {"a control that is no button",
         [](auto& d) { at(d.voice), d.voice->set("AXRole", std::string("AXLink")); }, other,
         "hit_role=other"},
        {"another application",
         [](auto& d) {
             const auto app = d.desktop.accessibility.makeElement("AXApplication");
             at(app);
             d.desktop.accessibility.setApplication(9'000, app);
         },
         "The click position belongs to another app. Nothing was clicked.", "hit_same_process=false"},
        {"nothing", [](auto& d) { d.window->unset("AXSize"); },
         "Couldn't verify the element at the click position."},
        {"no role", [](auto& d) { at(d.voice), d.voice->unset("AXRole"); },
         "Couldn't verify the role at the click position."},
        {"no answer",
         [](auto& d) {
             d.onStep = [](SimulatedStep& step) {
                 if (step.operation == "elementAtPosition") step.report = AXStatus::cannotComplete;
             };
         },
         "The view could not be read completely. Attribute=other, AXstatus=-25204. Existing content is "
         "kept."},
    };
    for (const auto& [name, change, end, line] : cases) {
        Desk desk;
        change(desk);
        EXPECT_EQ(desk.run(verifyChatGPTPointerHit(desk.elements, desk.operations, {20, 20},
                                                   desk.voice->handle(), desk.page())),
                  end)
            << name;
        EXPECT_TRUE(!line || desk.tells(line)) << name;
    }
    Desk desk;
    std::optional<ChatGPTPointerHit::Frame> frame;
    EXPECT_EQ(desk.run(desk.elements.frame(desk.voice->handle())),
              "Couldn't read the control’s position and size.");
    at(desk.voice);
    EXPECT_EQ(desk.run(desk.elements.frame(desk.voice->handle()), frame), "done");
    EXPECT_EQ(chatGPTPointerPoint(*frame, {0, 0, 400, 300}), (AXPoint{20, 20}));
    EXPECT_THROW(chatGPTPointerPoint(*frame, {15, 0, 400, 300}), RelaySendError);
    desk.voice->set("AXSize", AXPoint{20, 20});
    EXPECT_EQ(desk.run(desk.elements.frame(desk.voice->handle())), "Couldn't verify the control’s position.");
}

} // namespace
} // namespace orvel
