// Reading a program's window over a real accessibility bus, whatever the program answers.

#include "AccessibleProgram.h"
#include "AtSpiTrees.h"
#include "PrivateBus.h"

#include "Orvel/platform/linux/AtSpiAccessibility.h"
#include "Orvel/platform/posix/PollLoop.h"

#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr unsigned active = 1, editable = 7, enabled = 8, focused = 12, multiLine = 17, showing = 25;

// By way of the bus, or on a connection of the program's own.
class AtSpiAccessibilityTest : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        if (const auto missing = PrivateBus::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        session = std::make_unique<PrivateBus>();
        bus = std::make_unique<AccessibilityBus>(session->address());
        access = std::make_unique<AtSpiAccessibility>(
            *bus, AtSpiSurroundings{.hasWindows = [this](ProcessID) { return hasWindows.load(); },
                                    .joinLimit = joinLimit});
        program =
            std::make_unique<AccessibleProgram>(session->address(), session->folder().string(), GetParam());
        {
            const auto held = program->hold();
            window = &program->add(program->root(), {.role = 23,
                                                     .states = {active, enabled, showing},
                                                     .name = "Window",
                                                     .extents = {0, 0, 400, 300}});
            page = &program->add(*window, {.role = 95, .uri = "https://example.org/chat/1"});
            group = &program->add(*page,
                                  {.role = 85, .attributes = {{"class", "composer wide"}, {"tag", "div"}}});
            editor = &program->add(*group, {.role = 79,
                                            .states = {editable, enabled, focused, multiLine},
                                            .name = "Prompt",
                                            .attributes = {{"name-from", "attribute"}},
                                            .text = "\uFFFC\uFFFC",
                                            .caret = 1});
            first = &program->add(*editor, {.role = 73, .attributes = {{"display", "block"}}, .text = "one"});
            program->add(*editor,
                         {.role = 73, .attributes = {{"display", "block"}}, .text = "語", .caret = 1});
        }
        ASSERT_TRUE(comes([&] { return read(app(), "AXRole").status == AXStatus::success; }));
    }

    AXElement app() { return access->application(getpid()); }
    AXReading read(const AXElement& element, std::string_view name) {
        return access->attribute(element, name);
    }
    AXElement only(const AXElement& element, std::size_t place = 0) {
        return read(element, "AXChildren").as<AXElements>()->at(place);
    }
    AXElement editorElement() { return only(only(only(only(app())))); }
    AXStatus statusOf(const AXElement& element, std::string_view name) { return read(element, name).status; }

    std::unique_ptr<PrivateBus> session;
    std::unique_ptr<AccessibilityBus> bus;
    std::unique_ptr<AtSpiAccessibility> access;
    std::unique_ptr<AccessibleProgram> program;
    static constexpr auto joinLimit = 50ms;
    std::atomic<bool> hasWindows = false;
    AccessibleObject *window = nullptr, *page = nullptr, *group = nullptr, *editor = nullptr,
                     *first = nullptr;
};

TEST_P(AtSpiAccessibilityTest, readsAWindowWithItsEditor) {
    const auto box = editorElement();
    EXPECT_EQ(*read(box, "AXRole").as<std::string>(), "AXTextArea");
    EXPECT_EQ(*read(box, "AXDescription").as<std::string>(), "Prompt");
    EXPECT_EQ(*read(box, "AXValue").as<std::string>(), "one\n語");
    EXPECT_EQ(*read(box, "AXSelectedTextRange").as<AXRange>(), (AXRange{5, 0}));
    EXPECT_EQ(statusOf(box, "AXTextInputMarkedTextMarkerRange"), AXStatus::attributeUnsupported);
    EXPECT_TRUE(access->isSettable(box, "AXValue").isSettable);
    EXPECT_EQ(access->setAttribute(box, "AXValue", std::string("x")), AXStatus::attributeUnsupported);
    const auto around = *read(box, "AXParent").as<AXElement>();
    EXPECT_EQ(*read(around, "AXDOMClassList").as<std::vector<std::string>>(),
              (std::vector<std::string>{"composer", "wide"}));
    EXPECT_EQ(read(*read(around, "AXParent").as<AXElement>(), "AXURL").as<AXURL>()->text,
              "https://example.org/chat/1");
    EXPECT_EQ(*read(app(), "AXFocusedUIElement").as<AXElement>(), box);
    EXPECT_EQ(*read(box, "AXWindow").as<AXElement>(), *read(app(), "AXFocusedWindow").as<AXElement>());
    EXPECT_EQ(access->setAttribute(app(), "AXManualAccessibility", true), AXStatus::success);
    EXPECT_EQ(program->directCalls() > 30, GetParam());
}

TEST_P(AtSpiAccessibilityTest, anInputMethodTellsWhatIsMarkedWhereTheFocusIs) {
    using State = PendingComposition::State;
    struct Method : CompositionSource {
        PendingComposition current(BusDeadline /*deadline*/) override { return composition; }
        PendingComposition composition;
    } method;
    AtSpiAccessibility listening(*bus, {.compositions = &method});
    const auto box = editorElement();
    const auto marked = [&](PendingComposition composition) {
        method.composition = composition;
        return listening.attribute(box, "AXTextInputMarkedTextMarkerRange");
    };
    EXPECT_EQ(marked({State::unknown}).status, AXStatus::attributeUnsupported);
    EXPECT_EQ(marked({State::none}).status, AXStatus::noValue);
    const auto one = marked({State::pending, 1}), same = marked({State::pending, 1});
    EXPECT_EQ(one.status, AXStatus::success);
    EXPECT_FALSE(isNothing(one.value));
    EXPECT_EQ(one.value, same.value);
    EXPECT_NE(one.value, marked({State::pending, 2}).value);
    EXPECT_EQ(listening.attribute(box, "AXSomething").status, AXStatus::attributeUnsupported);
    {
        const auto held = program->hold();
        std::erase(editor->states, focused);
    }
    EXPECT_EQ(marked({State::pending, 3}).status, AXStatus::attributeUnsupported);
}

TEST_P(AtSpiAccessibilityTest, theFocusIsSearchedForOnlyWhereNobodyToldOfIt) {
    const auto isOf = [this](const AXElement& element) {
        return *read(app(), "AXFocusedUIElement").as<AXElement>() == element;
    };
    const auto move = [this](AccessibleObject& from, AccessibleObject& to, bool isTold) {
        const auto held = program->hold();
        std::erase(from.states, focused);
        to.states.push_back(focused);
        if (isTold) program->tell(to, "focused", true);
    };
    const auto box = editorElement(), paragraph = only(box);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(isOf(box));
    EXPECT_EQ(program->callsOf("GetMatches"), 1);
    move(*editor, *first, false);
    EXPECT_TRUE(isOf(paragraph));
    EXPECT_EQ(program->callsOf("GetMatches"), 2);

    // Once its word has come in, a program is not searched again.
    EXPECT_TRUE(comes([&] {
        move(*first, *editor, true);
        std::this_thread::sleep_for(20ms);
        const auto before = program->callsOf("GetMatches");
        const bool isFound = isOf(box);
        move(*editor, *first, false);
        EXPECT_TRUE(isOf(paragraph));
        return isFound && program->callsOf("GetMatches") == before + 1;
    }));
    {
        const auto held = program->hold();
        program->tell(*editor, "focused", true); // Which is not so.
    }
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(isOf(paragraph));
}

// A search that takes longer than a key may wait is made by another thread, for the next key.
TEST_P(AtSpiAccessibilityTest, aFocusThatIsFoundTooLateIsThereTheNextTime) {
    access->setMessagingTimeout(app(), 15ms);
    const auto box = editorElement();
    const auto direct = [&](int delay) {
        const auto held = program->hold();
        window->slow = {{"GetMatches", delay}};
    };
    direct(60);
    EXPECT_EQ(statusOf(app(), "AXFocusedUIElement"), AXStatus::cannotComplete);
    EXPECT_TRUE(comes([&] { return read(app(), "AXFocusedUIElement").value == AXValue(box); }));
    direct(0);
}

// What reads and searches with and without hints come to. The reads keep their order, the searches theirs.
TEST_P(AtSpiAccessibilityTest, hintsGiveWhatReadsGive) {
    {
        const auto held = program->hold();
        for (int i = 0; i < 70; ++i) {
            auto& each = program->add(*page, {.role = 85, .attributes = {{"tag", "div"}}});
            program->add(each, {.role = 43,
                                .states = {enabled, 42},
                                .name = "Menu",
                                .attributes = {{"haspopup", i % 2 ? "menu" : "dialog"}}});
            program->add(each, {.role = 7, .states = {4}});
            program->add(program->add(each, {.role = 95, .uri = "https://example.org/inner"}),
                         {.role = 79, .states = {editable, multiLine}, .text = "draft"});
            program->add(each, {.role = 116, .name = "words " + std::to_string(i)});
            if (i % 7 == 0) program->add(each, {.role = 79, .attributes = {{"text-input-type", "search"}}});
        }
    }
    PollLoop loop;
    AtSpiAccessibility hinted(*bus, {.loop = &loop});
    UnhintedAccessibility plain(*bus);
    const auto root = only(only(app()));
    const auto expected = finished(loop, readTree(loop, plain, root, 4'000));
    ASSERT_GT(expected.size(), 400U);
    const auto oneByOne = program->callsOf("GetState");
    EXPECT_EQ(finished(loop, readTree(loop, hinted, root, 4'000)), expected);
    EXPECT_LT(program->callsOf("GetState") - oneByOne, oneByOne / 2) << "nothing was read ahead";
    EXPECT_TRUE(finished(loop, readTree(loop, hinted, root, 100)).empty());

    for (const std::string role : {"AXWebArea", "AXTextArea", "AXPopUpButton", "AXGroup", "AXLink"}) {
        const auto byWalk = finished(loop, readRole(loop, plain, root, role, 4'000));
        EXPECT_EQ(finished(loop, readRole(loop, hinted, root, role, 4'000)), byWalk) << role;
        const auto searched = finished(loop, hinted.search(root, {role}, 4'000));
        EXPECT_EQ(searched.has_value(), role == "AXLink") << role << ": too many elsewhere";
    }
    {
        const auto held = program->hold();
        while (page->children.size() > 12) program->remove(*page->children.back());
    }
    const auto areas = finished(loop, hinted.search(root, {"AXWebArea", "AXTextArea"}, 4'000));
    ASSERT_TRUE(areas);
    EXPECT_EQ(areas->size(), 24U);
    EXPECT_EQ(*read(areas->at(1), "AXRole").as<std::string>(), "AXTextArea") << "nearer than the others";
    EXPECT_EQ(*read(areas->at(3), "AXRole").as<std::string>(), "AXWebArea")
        << "not what is in the one before";
    EXPECT_FALSE(finished(loop, hinted.search(root, {"AXLink"}, 50))) << "more elements than the limit";
    EXPECT_FALSE(finished(loop, hinted.search(root, {"AXUnknown"}, 4'000)));
    {
        const auto held = program->hold();
        program->toolkit = "another";
    }
    EXPECT_FALSE(finished(loop, hinted.search(root, {"AXTextArea"}, 4'000))) << "may leave something out";
}

TEST_P(AtSpiAccessibilityTest, aProgramThatHangsCostsNoMoreThanTheTimeout) {
    const auto box = editorElement();
    access->setMessagingTimeout(box, 15ms);
    {
        const auto held = program->hold();
        const auto began = std::chrono::steady_clock::now();
        for (const auto* name : {"AXRole", "AXValue", "AXChildren"})
            EXPECT_EQ(statusOf(box, name), AXStatus::cannotComplete) << name;
        EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
    }
    EXPECT_TRUE(comes([&] { return statusOf(box, "AXRole") == AXStatus::success; }))
        << "answers that came too late are dropped";
    EXPECT_EQ(*read(box, "AXRole").as<std::string>(), "AXTextArea");
}

TEST_P(AtSpiAccessibilityTest, otherThreadsDontWaitForAReadThatHangs) {
    const auto box = editorElement();
    access->setMessagingTimeout(box, 3s);
    auto held = program->hold();
    std::thread other([&] { EXPECT_EQ(statusOf(box, "AXRole"), AXStatus::success); });
    EXPECT_TRUE(access->isTrusted());
    EXPECT_EQ(access->application(getpid()), access->application(getpid()));
    held.unlock();
    other.join();
}

TEST_P(AtSpiAccessibilityTest, whatIsGoneIsInvalidAndWhatComesBackIsAnother) {
    const auto box = editorElement();
    {
        const auto held = program->hold();
        program->remove(*editor);
        program->add(*group, {.role = 79});
    }
    for (const auto* name :
         {"AXRole", "AXValue", "AXChildren", "AXParent", "AXPosition", "AXOther", "AXHelp"})
        EXPECT_EQ(statusOf(box, name), AXStatus::invalidElement) << name;
    EXPECT_EQ(access->performAction(box, "AXPress"), AXStatus::invalidElement);
    EXPECT_EQ(access->process(box), std::nullopt);
    EXPECT_FALSE(box == editorElement());

    const auto old = app();
    program.reset();
    EXPECT_EQ(statusOf(old, "AXRole"), AXStatus::invalidElement);
    EXPECT_EQ(access->setAttribute(app(), "AXManualAccessibility", true), AXStatus::invalidElement)
        << "it shows no window";
    hasWindows = true;
    EXPECT_EQ(access->setAttribute(app(), "AXManualAccessibility", true), AXStatus::invalidElement)
        << "it may yet join";
    std::this_thread::sleep_for(joinLimit);
    EXPECT_EQ(access->setAttribute(app(), "AXManualAccessibility", true), AXStatus::needsRestart);
    EXPECT_EQ(access->setAttribute(access->application(2'000'000'000), "AXManualAccessibility", true),
              AXStatus::invalidElement);
    program =
        std::make_unique<AccessibleProgram>(session->address(), session->folder().string() + "/..", false);
    EXPECT_TRUE(comes([&] { return statusOf(app(), "AXRole") == AXStatus::success; }));
    EXPECT_FALSE(app() == old);
}

TEST_P(AtSpiAccessibilityTest, strangeAnswersAreFailures) {
    const auto box = editorElement();
    const auto becomes = [&](std::string_view attribute, const std::string& member, auto answer) {
        {
            const auto held = program->hold();
            editor->strange = {{member, answer}};
        }
        const auto status = statusOf(box, attribute);
        const auto held = program->hold();
        editor->strange.clear();
        return status;
    };
    const auto text = [](sd_bus_message* answer) { return sd_bus_message_append(answer, "s", "what"); };
    const auto nothing = [](sd_bus_message*) { return 0; };
    for (const auto& [attribute, member] :
         std::initializer_list<std::pair<const char*, const char*>>{{"AXRole", "GetRole"},
                                                                    {"AXRole", "GetState"},
                                                                    {"AXRole", "GetAttributes"},
                                                                    {"AXChildren", "GetChildren"},
                                                                    {"AXParent", "Parent"},
                                                                    {"AXDescription", "Name"},
                                                                    {"AXValue", "GetChildren"}}) {
        EXPECT_EQ(becomes(attribute, member, text), AXStatus::failure) << member;
        EXPECT_EQ(becomes(attribute, member, nothing), AXStatus::failure) << member;
    }
    EXPECT_EQ(becomes("AXValue", "GetText", nothing), AXStatus::failure);
    EXPECT_EQ(becomes("AXChildren", "GetChildren",
                      [this](sd_bus_message* answer) {
                          sd_bus_message_open_container(answer, 'a', "(so)");
                          for (int i = 0; i < 100'000; ++i)
                              sd_bus_message_append(answer, "(so)", "", first->path.c_str());
                          return sd_bus_message_close_container(answer);
                      }),
              AXStatus::failure);
    EXPECT_EQ(becomes("AXValue", "GetChildren",
                      [this](sd_bus_message* answer) {
                          return sd_bus_message_append(answer, "a(so)", 1, "", editor->path.c_str());
                      }),
              AXStatus::failure)
        << "an editor that holds itself";
    EXPECT_EQ(statusOf(box, "AXValue"), AXStatus::success);
}

TEST_P(AtSpiAccessibilityTest, readsOnAfterTheBusWasGone) {
    session->end();
    EXPECT_FALSE(access->isTrusted());
    EXPECT_EQ(statusOf(app(), "AXRole"), AXStatus::apiDisabled);
    program.reset();
    session->start();
    program = std::make_unique<AccessibleProgram>(session->address(), session->folder().string() + "/at-spi",
                                                  GetParam());
    EXPECT_TRUE(comes([&] { return access->isTrusted() && statusOf(app(), "AXRole") == AXStatus::success; }));
}

// Keys that reach the program's editor, or do not.
struct TestKeys : AtSpiKeys {
    bool erase(ProcessID process) override { return press("", "erase", process); }
    bool paste(const std::string& text, ProcessID process) override { return press(text, "paste", process); }
    void restoreClipboard() override { done += " restore"; }
    bool press(const std::string& text, const char* what, ProcessID process) {
        EXPECT_EQ(process, getpid());
        done += what;
        if (isEffective) onKey(text);
        return isPressed;
    }

    std::function<void(const std::string&)> onKey;
    bool isPressed = true, isEffective = true;
    std::string done;
};

TEST_P(AtSpiAccessibilityTest, aWriteIsProvedByReadingOrMayHaveHappened) {
    TestKeys keys;
    AtSpiAccessibility writer(*bus, {.keys = &keys});
    const auto box = editorElement();
    writer.setMessagingTimeout(box, 1'000ms);
    keys.onKey = [this](const std::string& text) {
        const auto held = program->hold();
        editor->text = text;
    };
    struct Case {
        std::string text;
        bool isPressed, isEffective, isFocused, isActive;
        AXStatus status;
        std::string done;
    };
    const Case cases[] = {
        {"new", true, true, true, true, AXStatus::success, "paste restore"},
        {"new", true, true, true, true, AXStatus::success, ""}, // It stands there already.
        {"", true, true, true, true, AXStatus::success, "erase"},
        {"lost", true, false, true, true, AXStatus::mayHaveHappened, "paste restore"},
        {"never", false, false, true, true, AXStatus::failure, "paste restore"},
        {"elsewhere", true, true, false, true, AXStatus::failure, ""},
        {"behind", true, true, true, false, AXStatus::failure, ""},
    };
    const auto set = [](AccessibleObject& object, unsigned state, bool isSet) {
        std::erase(object.states, state);
        if (isSet) object.states.push_back(state);
    };
    for (const auto& [text, isPressed, isEffective, isFocused, isActive, status, done] : cases) {
        keys.done.clear();
        keys.isPressed = isPressed;
        keys.isEffective = isEffective;
        {
            const auto held = program->hold();
            set(*editor, focused, isFocused);
            set(*window, active, isActive);
        }
        EXPECT_EQ(writer.setAttribute(box, "AXValue", text), status) << text;
        EXPECT_EQ(keys.done, done) << text;
    }
    {
        const auto held = program->hold();
        set(*editor, focused, true);
        set(*window, active, true);
        // Shows the text once, and then what the page made of it.
        editor->strange["GetText"] = [this, times = 0](sd_bus_message* answer) mutable {
            const bool isFirst = times++ < 2;
            return sd_bus_message_append(answer, "s", isFirst ? "" : times == 3 ? "seen" : "changed");
        };
    }
    EXPECT_EQ(writer.setAttribute(box, "AXValue", std::string("seen")), AXStatus::mayHaveHappened);
    EXPECT_EQ(writer.setAttribute(only(only(app())), "AXValue", std::string("x")),
              AXStatus::attributeUnsupported);
}

INSTANTIATE_TEST_SUITE_P(ways, AtSpiAccessibilityTest, testing::Bool(),
                         [](const auto& way) { return way.param ? "direct" : "byBus"; });

} // namespace
} // namespace orvel
