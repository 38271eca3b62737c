// Reading ChatGPT's page: which page, which editor, and each way in which they are refused.

#include "consultation/ChatGPTDesk.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

using Desk = ChatGPTDesk;

struct Shape {
    const char* name;
    void (*change)(Desk&);
    std::string end = "done";
};

std::string unidentified(const std::string& caller, const std::string& facts) {
    return "Couldn't uniquely identify the displayed ChatGPT tab. caller=" + caller + " web_areas=" + facts;
}
const std::string unreadable = "The view could not be read completely. Attribute=",
                  kept = ". Existing content is kept.";
const std::string notVerified = "Couldn't fully verify the view structure.";

TEST(ChatGPTPageReading, FindsTheOnePageOfTheSelectedTab) {
    const std::string elsewhere = "Select an empty ChatGPT tab for the intended account in Dia. Existing "
                                  "conversations will not be edited.";
    const Shape shapes[] = {
        {"as it should be", [](Desk&) {}},
        {"the URL as a string", [](auto& d) { d.web->set("AXURL", std::string("https://chatgpt.com/")); }},
        {"pages of others", [](auto& d) { d.addArea(AXURL{"https://example.org/"}); }},
        {"a page without a URL", [](auto& d) { d.addArea(AXValue()); }},
        {"an element without a role", [](auto& d) { d.main->unset("AXRole"); }},
        {"no browser", [](auto& d) { d.desktop.applications.quit(d.dia); },
         "Couldn't uniquely identify the running Dia window. Open an empty ChatGPT tab for the intended "
         "account."},
        {"no window", [](auto& d) { d.application->unset("AXFocusedWindow"); },
         "Couldn't verify the foreground browser window. caller=selectedPage"},
        {"a window that can't be read",
         [](auto& d) { Desk::fail(d.application, "AXFocusedWindow", AXStatus::failure); },
         unreadable + "focusedWindow, AXstatus=-25200" + kept},
        {"windows that can't be read",
         [](auto& d) { Desk::fail(d.application, "AXWindows", AXStatus::apiDisabled); },
         unreadable + "windows, AXstatus=-25211" + kept},
        {"no page", [](auto& d) { d.web->remove(); },
         unidentified("selectedPage", "0 url_status=not_read url_kind=notRead")},
        {"a page of another", [](auto& d) { d.go("/", "https://example.org"); },
         unidentified("selectedPage", "1 url_status=0 url_kind=otherHost")},
        {"an address that is none", [](auto& d) { d.web->set("AXURL", true); },
         unidentified("selectedPage", "1 url_status=0 url_kind=invalid")},
        {"no URL", [](auto& d) { d.web->unset("AXURL"); },
         unidentified("selectedPage", "1 url_status=-25205 url_kind=unknown")},
        {"a URL that can't be read", [](auto& d) { Desk::fail(d.web, "AXURL", AXStatus::failure); },
         unidentified("selectedPage", "1 url_status=-25200 url_kind=unknown")},
        {"another page's URL can't be read",
         [](auto& d) { Desk::fail(d.addArea(AXValue()), "AXURL", AXStatus::failure); },
         unidentified("selectedPage", "2 url_status=-25200 url_kind=unknown")},
        {"two pages of ChatGPT", [](auto& d) { d.addArea(AXURL{"https://chatgpt.com/c/x"}); },
         unidentified("selectedPage", "2 url_status=0 url_kind=chat")},
        {"a conversation", [](auto& d) { d.go("/c/x"); }, elsewhere},
        {"a query", [](auto& d) { d.go("/?model=x"); }, elsewhere},
        {"4000 elements", [](auto& d) { d.grow(4000); }},
        {"4001 elements", [](auto& d) { d.grow(4001); }, notVerified},
        {"children that are no list", [](auto& d) { d.main->overrides["AXChildren"] = std::string("none"); },
         "The view structure reading is invalid."},
    };
    for (const auto& [name, change, end] : shapes) {
        Desk desk;
        change(desk);
        std::optional<ChatGPTPage> page;
        EXPECT_EQ(desk.run(desk.pages.selectedBrowserPage(), page), end) << name;
        EXPECT_TRUE(!page || page->web == desk.web->handle()) << name;
    }
}

TEST(ChatGPTPageReading, ThePageStaysTheSame) {
    const std::string changed = "The ChatGPT tab changed during the operation.";
    const Shape shapes[] = {
        {"as it was", [](Desk&) {}},
        {"another URL", [](auto& d) { d.go("/c/x"); }, changed},
        {"another fragment", [](auto& d) { d.go("/#x"); }, changed},
        {"another window", [](auto& d) { d.openAnotherWindow(); },
         "The selected Dia window changed during inspection. Other views will not be read."},
        {"another tab", [](auto& d) { d.go("/", "https://example.org"); },
         unidentified("verifySamePage", "1 url_status=0 url_kind=otherHost")},
        {"a page drawn anew",
         [](auto& d) {
             d.web->set("AXURL", AXURL{"https://example.org/"}), d.addArea(AXURL{"https://chatgpt.com/"});
         },
         "The displayed ChatGPT page changed during the operation."},
    };
    for (const auto& [name, change, end] : shapes) {
        Desk desk;
        ASSERT_EQ(desk.run(desk.pages.verifySamePage(desk.page())), "done");
        change(desk);
        EXPECT_EQ(desk.run(desk.pages.verifySamePage(desk.page())), end) << name;
        EXPECT_EQ(desk.tells("outcome=windowChanged"), end.starts_with("The selected Dia window")) << name;
    }
}

TEST(ChatGPTPageReading, TheTraceTellsWhatWasSeenOfThePage) {
    Desk desk;
    desk.run(desk.pages.verifySamePage(desk.page()));
    EXPECT_TRUE(
        desk.tells("caller=verifySamePage phase=initialPage windows=1 windows_status=0 focus_status=0 "
                   "same_window=true web_areas=1 url_status=0 url_kind=root same_web=true truncated=false"));
    desk.go("/", "https://example.org");
    desk.addArea(AXURL{"https://chatgpt.com/c/x"});
    desk.application->statuses = {{"AXWindows", AXStatus::noValue}};
    desk.run(desk.pages.verifySamePage(desk.page()));
    EXPECT_TRUE(desk.tells("windows=0 windows_status=-25212 focus_status=0 same_window=true web_areas=2 "
                           "url_status=0 url_kind=chat same_web=false truncated=false"));
    desk.grow(4001);
    Desk::fail(desk.window, "AXTitle", AXStatus::failure);
    desk.run(desk.pages.verifySamePage(desk.page()));
    desk.run(desk.elements.labels(desk.window->handle()));
    EXPECT_TRUE(
        desk.tells("web_areas=0 url_status=not_read url_kind=notRead same_web=unknown truncated=true"));
    EXPECT_TRUE(desk.tells("ax_attribute=other status=-25200 truncated=true"));
}

// What happens while the page is waited for, at the uptime of 1 s.
struct Wait {
    const char* name;
    void (*begin)(Desk&);
    void (*later)(Desk&);
    std::string end = "done";
    int reads = 6;
};

TEST(ChatGPTPageReading, WaitsForThePageInOneWindow) {
    const std::string changed =
                          "The foreground app or selected Dia window changed during preparation. No content "
                          "was changed.",
                      timedOut =
                          "ChatGPT did not become ready in the same Dia window in time. No content was "
                          "changed.",
                      elsewhere =
                          "Select an empty ChatGPT tab in Dia. Existing conversations will not be edited.",
                      unestablished =
                          "Couldn't establish the selected Dia window and foreground state. No content "
                          "was changed.";
    const auto nothing = [](Desk&) {};
    const auto unload = [](Desk& d) { Desk::fail(d.web, "AXURL", AXStatus::failure); };
    const auto load = [](Desk& d) { d.web->statuses.clear(); };
    const Wait waits[] = {
        {"there at once", nothing, nothing, "done", 1},
        {"an unreadable URL", unload, load},
        {"a view that is being drawn",
         [](auto& d) { Desk::fail(d.main, "AXRole", AXStatus::cannotComplete); },
         [](auto& d) { d.main->statuses.clear(); }},
        {"elements that go", [](auto& d) { Desk::fail(d.web, "AXURL", AXStatus::invalidElement); }, load},
        {"no URL yet", [](auto& d) { d.web->set("AXURL", AXValue()); }, [](auto& d) { d.go("/"); }},
        {"a busy browser", [](auto& d) { Desk::fail(d.application, "AXWindows", AXStatus::cannotComplete); },
         [](auto& d) { d.application->statuses.clear(); }},
        {"never", unload, nothing, timedOut, 24},
        {"slow reads",
         [](auto& d) {
             d.main->remove(), Desk::fail(d.web, "AXURL", AXStatus::failure), d.web->slowness = 400ms;
         },
         nothing, timedOut, 4},
        {"a conversation", [](auto& d) { d.go("/c/x"); }, nothing, elsewhere, 1},
        {"a query", [](auto& d) { d.go("/?model=x"); }, nothing, elsewhere, 1},
        {"two pages", [](auto& d) { d.addArea(AXURL{"https://chatgpt.com/"}); }, nothing,
         unidentified("selectedPage", "2 url_status=0 url_kind=root"), 1},
        {"another page", [](auto& d) { d.go("/", "https://example.org"); }, nothing,
         unidentified("selectedPage", "1 url_status=0 url_kind=otherHost"), 1},
        {"too large", [](auto& d) { d.grow(4001); }, nothing, notVerified, 1},
        {"a window without a role", [](auto& d) { d.window->unset("AXRole"); }, nothing,
         "Stopped waiting because the view role is unknown. No content was changed.", 1},
        {"a view that can't be read", [](auto& d) { Desk::fail(d.main, "AXRole", AXStatus::failure); },
         nothing, unreadable + "role, AXstatus=-25200" + kept, 1},
        {"another window meanwhile", unload, [](auto& d) { d.openAnotherWindow(); }, changed},
        {"another application meanwhile", unload,
         [](auto& d) { d.desktop.applications.bringToFront(SimulatedApplications::self); }, changed},
        {"nothing in front", [](auto& d) { d.desktop.applications.bringToFront(0); }, nothing, unestablished,
         0},
        {"no window", [](auto& d) { d.application->unset("AXFocusedWindow"); }, nothing, unestablished, 0},
        {"no browser", [](auto& d) { d.desktop.applications.quit(d.dia); }, nothing,
         "Couldn't uniquely verify the running Dia instance.", 0},
    };
    for (const auto& [name, begin, later, end, reads] : waits) {
        Desk desk;
        begin(desk);
        desk.loop.outside(1s, [&desk, later = later] { later(desk); });
        EXPECT_EQ(desk.run(desk.pages.selectedBrowserPageWhenReady()), end) << name;
        for (const int number : {reads, reads + 1})
            EXPECT_EQ(desk.tells("initial_read_attempt=" + std::to_string(number) + "\n"),
                      number == reads && reads > 0)
                << name << number;
        EXPECT_LE(desk.loop.uptime(), 5s + 2s) << name;
    }
}

TEST(ChatGPTPageReading, ASelectionThatChangesDuringTheReadIsNotedBehindIt) {
    Desk desk;
    desk.onStep = [&](SimulatedStep& step) {
        if (step.name == "AXURL") desk.desktop.applications.bringToFront(SimulatedApplications::self);
    };
    EXPECT_EQ(
        desk.run(desk.pages.selectedBrowserPageWhenReady()),
        "The foreground app or selected Dia window changed during preparation. No content was changed.");
}

TEST(ChatGPTPageReading, FindsTheEditorAndItsRegion) {
    const std::string noEditor = "Couldn't uniquely identify the ChatGPT editor.",
                      noRegion = "Couldn't verify the same editor containing the question and attachment.";
    const Shape shapes[] = {
        {"as it should be", [](Desk&) {}},
        {"a label in the help",
         [](auto& d) {
             d.editor->unset("AXDescription"), d.editor->set("AXHelp", std::string("Ask ChatGPT"));
         }},
        {"another text area", [](auto& d) { d.add(d.main, "AXTextArea", "AXTitle", "Search"); }},
        {"a page of another language",
         [](auto& d) { d.editor->set("AXDescription", std::string("Frag ChatGPT")); }, noEditor},
        {"a second editor", [](auto& d) { d.add(d.main, "AXTextArea", "AXTitle", "Ask ChatGPT"); }, noEditor},
        {"a label that is none", [](auto& d) { d.editor->set("AXTitle", 1.0); },
         "Couldn't verify the text attribute type."},
        {"nothing that adds files", [](auto& d) { d.region->below().front()->remove(); }, noRegion},
        {"two that add files", [](auto& d) { d.add(d.region, "AXButton", "AXTitle", "Add files and more"); },
         noRegion},
        {"a region that is no group",
         [](auto& d) {
             d.region->set("AXRole", std::string("AXList")), d.main->set("AXRole", std::string("AXList"));
         },
         noRegion},
        {"nothing between editor and page", [](auto& d) { d.region->moveChildren(*d.web); }, noRegion},
        {"an editor without a page", [](auto& d) { Desk::fail(d.main, "AXParent", AXStatus::noValue); },
         noRegion},
    };
    for (const auto& [name, change, end] : shapes) {
        Desk desk;
        change(desk);
        std::optional<AXElement> editor, region;
        auto ended = desk.run(desk.composers.composer(desk.web->handle()), editor);
        if (editor) ended = desk.run(desk.composers.composerRegion(*editor, desk.web->handle()), region);
        EXPECT_EQ(ended, end) << name;
        EXPECT_TRUE(!region || *region == desk.region->handle()) << name;
    }
    for (const auto& [levels, end] : {std::pair{6, std::string("done")}, std::pair{7, noRegion}}) {
        Desk desk;
        auto lowest = desk.region;
        for (int level = 0; level <= levels; ++level) lowest = desk.add(lowest, "AXGroup");
        lowest->append(desk.editor);
        EXPECT_EQ(desk.run(desk.composers.composerRegion(desk.editor->handle(), desk.web->handle())), end)
            << levels;
    }
}

TEST(ChatGPTPageReading, TheHeldEditorStaysInItsRegion) {
    const std::string replaced = "The retained editor was replaced.",
                      moved = "The retained editor or attachment region changed ownership.";
    const Shape shapes[] = {
        {"as it was", [](Desk&) {}},
        {"an editor that is none", [](auto& d) { d.editor->set("AXRole", std::string("AXTextField")); },
         replaced},
        {"a region that is none", [](auto& d) { d.region->set("AXRole", std::string("AXList")); }, replaced},
        {"a second editor", [](auto& d) { d.add(d.region, "AXTextArea"); }, replaced},
        {"another editor in its place",
         [](auto& d) {
             d.editor->overrides["AXRole"] = std::string("AXTextArea"),
             d.region->overrides["AXChildren"] = AXElements{d.add(d.main, "AXTextArea")->handle()};
         },
         replaced},
        {"an editor elsewhere", [](auto& d) { d.editor->overrides["AXParent"] = d.main->handle(); }, moved},
        {"a region elsewhere", [](auto& d) { d.region->overrides["AXParent"] = d.window->handle(); }, moved},
        {"an endless climb", [](auto& d) { d.main->overrides["AXParent"] = d.main->handle(); },
         "Couldn't fully verify element ownership."},
        {"too many elements",
         [](auto& d) { d.region->overrides["AXChildren"] = AXElements(4000, d.editor->handle()); },
         notVerified},
    };
    for (const auto& [name, change, end] : shapes) {
        Desk desk;
        change(desk);
        EXPECT_EQ(desk.run(desk.composers.verifyHeldComposer(desk.editor->handle(), desk.region->handle(),
                                                             desk.page())),
                  end)
            << name;
    }
}

TEST(ChatGPTPageReading, TellsAnEmptyEditorFromOneWithAText) {
    const std::string draft = "The ChatGPT editor has a draft. Stopped and kept the content.",
                      unproven = "Couldn't verify an empty ChatGPT editor. Existing content was kept. Value "
                                 "characters=";
    const Shape shapes[] = {
        {"the placeholder", [](Desk&) {}},
        {"nothing", [](auto& d) { d.type(""); }},
        {"a draft", [](auto& d) { d.type("Why?"); }, draft},
        {"blanks", [](auto& d) { d.type(" \n"); }, draft},
        {"the placeholder and more", [](auto& d) { d.type("Ask ChatGPT\nWhy?"); }, draft},
        {"the placeholder's words, typed", [](auto& d) { d.type("Ask ChatGPT"); },
         unproven + "11, AX characters=11"},
        {"and with a line feed", [](auto& d) { d.type("Ask ChatGPT\n"); }, unproven + "12, AX characters=12"},
        {"a count that can't be read",
         [](auto& d) { Desk::fail(d.editor, "AXNumberOfCharacters", AXStatus::failure); },
         unproven + "12, AX characters=Unavailable"},
        {"a count that is none", [](auto& d) { d.editor->set("AXNumberOfCharacters", 11.5); },
         unproven + "12, AX characters=Unavailable"},
        {"an editor that tells nothing", [](auto& d) { d.editor->unset("AXValue"); },
         "Couldn't read the editor content. Stopped without treating it as empty."},
        {"an editor too large for a placeholder",
         [](auto& d) {
             for (int i = 0; i < 200; ++i) d.add(d.editor, "AXGroup");
         },
         unproven + "12, AX characters=12"},
        {"a text that is typed meanwhile",
         [](auto& d) {
             d.onStep = [&d, looks = 0](SimulatedStep& step) mutable {
                 const bool isRead = step.operation == "attribute" && step.name == "AXValue";
                 if (isRead && step.element == d.editor->number && ++looks == 3)
                     d.editor->set("AXValue", std::string("Why?"));
             };
         },
         unproven + "12, AX characters=12"},
    };
    for (const auto& [name, change, end] : shapes) {
        Desk desk;
        change(desk);
        EXPECT_EQ(desk.run(desk.composers.requireEmptyComposer(desk.editor->handle(), true)), end) << name;
        EXPECT_EQ(desk.writes, 0) << name;
    }
    Desk desk;
    EXPECT_EQ(desk.run(desk.composers.requireEmptyComposer(desk.editor->handle(), false)),
              unproven + "12, AX characters=12");
}

TEST(ChatGPTPageReading, ReadsWhatIsAttached) {
    const std::string notEmpty =
        "Couldn't verify the initial empty ChatGPT editor with no attachments. Existing "
        "content was kept.";
    const Shape shapes[] = {
        {"nothing", [](Desk&) {}},
        {"an attachment", [](auto& d) { d.attach("a.zip"); }, notEmpty},
        {"Send", [](auto& d) { d.voice->set("AXTitle", std::string("Send")); }, notEmpty},
        {"a voice that is disabled", [](auto& d) { d.voice->set("AXEnabled", false); }, notEmpty},
        {"a voice that doesn't tell", [](auto& d) { d.voice->unset("AXEnabled"); }, notEmpty},
        {"something without a role", [](auto& d) { d.region->below().front()->unset("AXRole"); }, notEmpty},
        {"200 elements",
         [](auto& d) {
             while (d.region->below().size() < 196) d.add(d.region, "AXGroup");
         }},
        {"201 elements",
         [](auto& d) {
             while (d.region->below().size() < 197) d.add(d.region, "AXGroup");
         },
         notEmpty},
    };
    for (const auto& [name, change, end] : shapes) {
        for (const bool isFetchedAhead : {false, true}) {
            Desk desk;
            desk.desktop.accessibility.supportsReadAhead = isFetchedAhead;
            change(desk);
            EXPECT_EQ(desk.run(desk.composers.requireInitialEmptyRegion(desk.region->handle())), end) << name;
        }
    }
    Desk desk;
    desk.attach("a.zip");
    std::optional<std::optional<std::vector<std::string>>> names;
    EXPECT_EQ(desk.run(desk.composers.attachmentNames(desk.region->handle(), "a.zip"), names), "done");
    EXPECT_EQ(**names, std::vector<std::string>{"a.zip"});
    EXPECT_EQ(desk.run(desk.composers.composerShapeSnapshot(desk.region->handle(), 10)),
              "Couldn't read the entire attachment region.");
}

TEST(ChatGPTPageReading, FindsTheOpenPanelsOfTheWindow) {
    Desk desk;
    const auto panel = desk.add(desk.window, "AXSheet", "AXIdentifier", "open-panel");
    desk.add(desk.window, "AXSheet", "AXIdentifier", "save-panel");
    desk.add(desk.window, "AXGroup", "AXIdentifier", "open-panel");
    desk.add(panel, "AXSheet", "AXIdentifier", "open-panel");
    std::optional<AXElements> panels;
    desk.run(desk.pages.openPanels(desk.window->handle()), panels);
    EXPECT_EQ(*panels, AXElements{panel->handle()});
}

TEST(ChatGPTPageReading, HoldsTheLoopNoLongerThanAPace) {
    Desk desk;
    desk.grow(1000);
    desk.desktop.accessibility.latency = {};
    const std::optional<std::string> noFile;
    EXPECT_EQ(desk.run(desk.pages.selectedBrowserPageWhenReady()), "done");
    EXPECT_EQ(desk.run(desk.composers.requireEmptyComposer(desk.editor->handle(), true)), "done");
    desk.run(desk.composers.attachmentNames(desk.region->handle(), noFile));
    desk.run(desk.receipts.receiptEvidence("q", "a.zip", desk.page(), desk.editor->handle()));
    EXPECT_LT(desk.loop.longestHold().own(), 10ms);
}

} // namespace
} // namespace orvel
