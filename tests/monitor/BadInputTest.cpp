// What other programs and people give that makes no sense: trees of any shape, values of any type, keys in
// any order. Nothing of it may be taken for a command or a composer, hold a key for long, or end the program.

#include "Orvel/monitor/DesktopCommandMonitor.h"
#include "Orvel/monitor/GoogleJapaneseInput.h"

#include "monitor/AgentWindow.h"

#include <set>
#include <string_view>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view roles[] = {"AXGroup",       "AXForm",       "AXToolbar",
                                      "AXRadioGroup",  "AXStaticText", "AXImage",
                                      "AXLink",        "AXCheckBox",   "AXSheet",
                                      "AXDialog",      "AXTextField",  "AXSearchField",
                                      "AXPopUpButton", "AXMenuButton", "AXRadioButton",
                                      "AXWindow",      "AXWebArea",    "AXApplication",
                                      "AXButton",      "AXTextArea",   "",
                                      "AXÄ\xff"};

class BadInput : public AgentWindow {
  protected:
    BadInput() { desktop.accessibility.latency = {20us, 100us, 400us}; }

    std::string_view anyRole() { return roles[chance.below(std::size(roles))]; }

    /// A value of any type for an attribute that has another.
    AXValue anyValue() {
        switch (chance.below(9)) {
        case 0: return {};
        case 1: return true;
        case 2: return 1e300;
        case 3: return std::string(chance.below(3) * 1'000, '/') + "\xff";
        case 4: return AXURL{"claude.ai/epitaxy/local_"};
        case 5: return AXRange{-1, 1'000'000'000};
        case 6: return AXElements(chance.below(4), page->handle());
        case 7: return std::vector<std::string>{"ProseMirror", "", "_composer_"};
        default: return editor->handle();
        }
    }

    /// Elements of any role at any place of the window.
    void growAnything(std::uint64_t count) {
        std::vector<Element> all{window, page, editor->parent()->shared_from_this()};
        for (; count > 0; --count) {
            const auto made = add(all[chance.below(all.size())], anyRole());
            if (chance.below(3) == 0) made->set("AXDescription", std::string("Send"));
            all.push_back(made);
        }
    }

    void breakAnything(std::uint64_t count) {
        static constexpr const char* names[] = {"AXRole",  "AXSubrole",      "AXParent",      "AXChildren",
                                                "AXTitle", "AXDOMClassList", "AXDescription", "AXURL",
                                                "AXHelp",  "AXValue",        "AXIsEditable"};
        const std::array<Element, 6> elements{window, page,        editor,
                                              submit, application, editor->parent()->shared_from_this()};
        for (; count > 0; --count) {
            const auto& element = elements[chance.below(elements.size())];
            const auto* name = names[chance.below(std::size(names))];
            element->overrides[name] = anyValue();
        }
    }

    SimulatedChance chance{7};
    DiagnosticFacts facts;
    TimedReads reads{desktop.loop, desktop.accessibility, facts};
};

TEST_F(BadInput, NoTreeHoldsAKeyLongerThanItsBudget) {
    std::set<ComposerRecognition> seen;
    for (int run = 0; run < 600; ++run)
        for (const auto kind : {Kind::codex, Kind::code, Kind::chat}) {
            SCOPED_TRACE(testing::Message() << run);
            show(kind);
            growAnything(chance.below(2) * chance.below(60));
            breakAnything(chance.below(3));
            reads.open();
            const auto started = desktop.loop.uptime();
            const auto before = desktop.accessibility.reads();
            const auto found = recognizeEditor(reads, facts, editor->handle(), agentOf(kind));
            seen.insert(found.recognition);
            EXPECT_LE(desktop.loop.uptime() - started, TimedReads::budget);
            EXPECT_LE(desktop.accessibility.reads() - before, 1'200U);
            EXPECT_LE(facts.text().text().size(), 20'000U);
            facts.clear();
        }
    EXPECT_EQ(seen.size(), 3U) << "some trees are as they should be, and some in doubt";
}

TEST_F(BadInput, TreesWithoutEndAreNoComposers) {
    const std::pair<const char*, std::function<void()>> shapes[] = {
        {"its own parent", [&] { editor->overrides["AXParent"] = editor->handle(); }},
        {"a circle above", [&] { editor->parent()->overrides["AXParent"] = editor->handle(); }},
        {"a circle further up", [&] { page->overrides["AXParent"] = editor->parent()->handle(); }},
        {"its own child",
         [&] {
             auto* group = editor->parent();
             group->overrides["AXChildren"] = AXElements{group->handle(), editor->handle(), submit->handle()};
         }},
        {"100,000 children",
         [&] { editor->parent()->overrides["AXChildren"] = AXElements(100'000, submit->handle()); }},
    };
    for (const auto& [name, change] : shapes)
        for (const auto kind : {Kind::codex, Kind::code, Kind::chat}) {
            SCOPED_TRACE(name);
            show(kind);
            change();
            reads.open();
            const auto started = desktop.loop.uptime();
            EXPECT_FALSE(recognizeEditor(reads, facts, editor->handle(), agentOf(kind)).isKnown());
            EXPECT_LE(desktop.loop.uptime() - started, TimedReads::budget);
        }
}

// Keys of all kinds in any order, each perhaps twice; the person's Return on a command never gets through.
TEST_F(BadInput, KeysInAnyOrderSwallowNothingButReturnsOnCommands) {
    struct Row {
        const char* text;
        bool isCommand;
    };
    ChangeSignal changes;
    GoogleJapaneseInput japanese(changes, {desktop.loop, desktop.sideQueue, desktop.windows,
                                           desktop.applications, desktop.inputSources,
                                           [](Agent) { return std::nullopt; }, [] { return std::nullopt; }});
    DesktopCommandMonitor monitor(
        changes,
        {desktop.loop,
         desktop.accessibility,
         desktop.applications,
         desktop.inputSources,
         japanese,
         [] { return true; },
         [](Agent, ProcessID) { return true; },
         [](const CapturedReturn&, const std::function<bool()>&) -> Task<std::optional<IdentifiedCodex>> {
             throw std::runtime_error("never");
         },
         [](const CapturedCommand&) -> Task<void> { throw std::runtime_error("never"); },
         {}});
    monitor.onCommand = [](const auto&) { FAIL() << "nothing was kept"; };
    showChat();
    int swallowed = 0;
    for (const auto& [text, isCommand] : {Row{"/orvel go", true}, Row{"go", false}, Row{"/orvelle", false}}) {
        type(text);
        std::set<std::int64_t> held; // Whose fresh press was swallowed.
        TapEvent event;
        for (int i = 0; i < 4'000; ++i) {
            constexpr TapEventType types[] = {TapEventType::keyDown, TapEventType::keyUp,
                                              TapEventType::flagsChanged, TapEventType::leftMouseDown,
                                              static_cast<TapEventType>(77)};
            constexpr std::int64_t codes[] = {KeyCode::returnKey, KeyCode::keypadEnter, 0, 55, -1};
            if (chance.below(4) > 0) // Else the same once more.
                event = {.type = types[chance.below(std::size(types))],
                         .keyCode = codes[chance.below(std::size(codes))],
                         .flags = chance.below(3) == 0 ? chance.next() : 0,
                         .isRepeat = chance.below(4) == 0};
            const bool isSwallowed = monitor.handle(event) == TapAnswer::swallow;
            const bool isKey = event.type == TapEventType::keyDown || event.type == TapEventType::keyUp;
            const bool isFresh = event.type == TapEventType::keyDown && !event.isRepeat;
            const bool isRest = isKey && !isFresh && held.contains(event.keyCode);
            const bool isPlain = (event.flags & 0x9E0000) == 0;
            if (isFresh && isPlain && KeyCode::isReturn(event.keyCode)) {
                EXPECT_EQ(isSwallowed, isCommand);
            }
            if (isKey && !isFresh) {
                EXPECT_EQ(isSwallowed, isRest) << "the rest of a press goes the way of its beginning";
            }
            if (isSwallowed) {
                EXPECT_TRUE(isRest || (isFresh && isCommand && KeyCode::isReturn(event.keyCode)));
                ++swallowed;
            }
            if (isFresh && isSwallowed) held.insert(event.keyCode);
            if ((isFresh && !isSwallowed) || event.type == TapEventType::keyUp) held.erase(event.keyCode);
            if (i % 100 == 0) desktop.loop.run();
        }
        monitor.forget();
        desktop.loop.run();
        EXPECT_EQ(typed(), text);
    }
    EXPECT_GT(swallowed, 200);
}

} // namespace
} // namespace orvel
