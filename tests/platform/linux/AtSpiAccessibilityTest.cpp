// Reading a program's window over a real accessibility bus, whatever the program answers.

#include "AccessibleProgram.h"
#include "PrivateBus.h"

#include "Orvel/platform/linux/AtSpiAccessibility.h"

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
        access = std::make_unique<AtSpiAccessibility>(*bus);
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
    AtSpiAccessibility listening(*bus, nullptr, &method);
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

TEST_P(AtSpiAccessibilityTest, theFocusIsSearchedForOnlyAfterItMoved) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(*read(app(), "AXFocusedUIElement").as<AXElement>(), editorElement());
    EXPECT_EQ(program->callsOf("GetMatches"), 1);
    {
        const auto held = program->hold();
        std::erase(editor->states, focused);
        first->states.push_back(focused);
    }
    EXPECT_EQ(*read(app(), "AXFocusedUIElement").as<AXElement>(), only(editorElement()));
    EXPECT_EQ(program->callsOf("GetMatches"), 2);
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
    EXPECT_EQ(access->setAttribute(app(), "AXManualAccessibility", true), AXStatus::needsRestart)
        << "the process still runs";
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
    bool erase() override { return press("", "erase"); }
    bool paste(const std::string& text) override { return press(text, "paste"); }
    void restoreClipboard() override { done += " restore"; }
    bool press(const std::string& text, const char* what) {
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
    AtSpiAccessibility writer(*bus, &keys);
    const auto box = editorElement();
    writer.setMessagingTimeout(box, 300ms);
    keys.onKey = [this](const std::string& text) {
        const auto held = program->hold();
        editor->text = text;
    };
    struct Case {
        std::string text;
        bool isPressed, isEffective, isFocused;
        AXStatus status;
        std::string done;
    };
    const Case cases[] = {
        {"new", true, true, true, AXStatus::success, "paste restore"},
        {"", true, true, true, AXStatus::success, "erase"},
        {"lost", true, false, true, AXStatus::mayHaveHappened, "paste restore"},
        {"never", false, false, true, AXStatus::failure, "paste restore"},
        {"elsewhere", true, true, false, AXStatus::failure, ""},
    };
    for (const auto& [text, isPressed, isEffective, isFocused, status, done] : cases) {
        keys.done.clear();
        keys.isPressed = isPressed;
        keys.isEffective = isEffective;
        {
            const auto held = program->hold();
            std::erase(editor->states, focused);
            if (isFocused) editor->states.push_back(focused);
        }
        EXPECT_EQ(writer.setAttribute(box, "AXValue", text), status) << text;
        EXPECT_EQ(keys.done, done) << text;
    }
    EXPECT_EQ(writer.setAttribute(only(only(app())), "AXValue", std::string("x")),
              AXStatus::attributeUnsupported);
}

INSTANTIATE_TEST_SUITE_P(ways, AtSpiAccessibilityTest, testing::Bool(),
                         [](const auto& way) { return way.param ? "direct" : "byBus"; });

} // namespace
} // namespace orvel
