// What every platform's accessibility promises: the same tests on the simulated desktop and on a real bus.

#include "AccessibleProgram.h"
#include "PrivateBus.h"

#include "Orvel/platform/linux/AtSpiAccessibility.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"

#include <chrono>

#include <gtest/gtest.h>
#include <unistd.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

// An application with a window, in which are an editor with the focus, a button and a text.

class SimulatedWorld {
  public:
    static std::string whatIsMissing() { return {}; }

    SimulatedWorld() {
        const auto root = access.makeElement("AXApplication");
        window = access.makeElement("AXWindow");
        editor = access.makeElement("AXTextArea");
        const auto button = access.makeElement("AXButton");
        const auto label = access.makeElement("AXStaticText");
        root->append(window);
        for (const auto& each : {editor, button, label}) window->append(each);
        window->set("AXTitle", std::string("Window"));
        root->set("AXFocusedWindow", window->handle());
        root->set("AXFocusedUIElement", editor->handle());
        editor->set("AXDescription", std::string("Prompt"));
        editor->set("AXValue", std::string("draft"));
        editor->set("AXSelectedTextRange", AXRange{5, 0});
        editor->set("AXFocused", true);
        editor->set("AXHelp", std::monostate());
        editor->set("AXPosition", AXPoint{10, 10});
        editor->set("AXSize", AXSize{50, 20});
        editor->write = [](std::string_view, const AXValue&) { return AXStatus::success; };
        label->set("AXValue", std::string("a text"));
        button->perform = [this](std::string_view action) {
            if (action != "AXPress") return AXStatus::actionUnsupported;
            ++presses;
            return AXStatus::success;
        };
        access.setApplication(process, root);
    }

    void removeEditor() { editor->remove(); }
    void hang() { window->slowness = std::chrono::hours(1); }
    void goOn() { window->slowness = 0ns; }
    void turnOff() { access.trusted = false; }

    SimulatedDesktop desktop;
    SimulatedAccessibility& access = desktop.accessibility;
    const ProcessID process = 7;
    int presses = 0;

  private:
    SimulatedElement::Shared window, editor;
};

class AtSpiWorld {
  public:
    static std::string whatIsMissing() { return PrivateBus::whatIsMissing(); }

    AtSpiWorld() {
        {
            const auto held = program.hold();
            auto& window = program.add(
                program.root(),
                {.role = 23, .states = {1, 8, 25}, .name = "Window", .extents = {0, 0, 400, 300}});
            editor = &program.add(window, {.role = 79,
                                           .states = {7, 8, 12, 17},
                                           .name = "Prompt",
                                           .attributes = {{"name-from", "attribute"}},
                                           .text = "draft",
                                           .caret = 5,
                                           .extents = {10, 10, 50, 20}});
            program.add(window,
                        {.role = 43, .states = {8}, .actions = {"press"}, .onAction = [this] { ++presses; }});
            program.add(window, {.role = 116, .name = "a text"});
        }
        comes([this] {
            return access.attribute(access.application(process), "AXRole").status == AXStatus::success;
        });
    }

    void removeEditor() {
        const auto held = program.hold();
        program.remove(*editor);
    }
    void hang() { hanging = program.hold(); }
    void goOn() { hanging.unlock(); }
    void turnOff() {
        session.turn(false);
        static_cast<void>(access.isTrusted()); // What was seen before holds for a second.
    }

  private:
    PrivateBus session;
    AccessibilityBus bus{session.address()};
    AccessibleProgram program{session.address(), session.folder().string(), true};
    AccessibleObject* editor = nullptr;
    std::unique_lock<std::mutex> hanging;

  public:
    AtSpiAccessibility access{bus};
    const ProcessID process = getpid();
    int presses = 0;
};

template <typename World>
class AccessibilityContractTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = World::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        world = std::make_unique<World>();
    }

    AXElement app() { return world->access.application(world->process); }
    AXReading read(const AXElement& element, std::string_view name) {
        return world->access.attribute(element, name);
    }
    AXElement child(const AXElement& element, std::size_t place) {
        return read(element, "AXChildren").template as<AXElements>()->at(place);
    }
    AXElement window() { return child(app(), 0); }
    AXElement editor() { return child(window(), 0); }
    AXElement button() { return child(window(), 1); }
    AXElement label() { return child(window(), 2); }

    void expect(const AXElement& element, std::string_view name, const AXValue& value) {
        const auto reading = read(element, name);
        EXPECT_EQ(reading.status, AXStatus::success) << name;
        EXPECT_TRUE(reading.value == value) << name;
    }
    void expect(const AXElement& element, std::string_view name, AXStatus status) {
        EXPECT_EQ(read(element, name).status, status) << name;
    }

    std::unique_ptr<World> world;
};

using Worlds = testing::Types<SimulatedWorld, AtSpiWorld>;
TYPED_TEST_SUITE(AccessibilityContractTest, Worlds);

TYPED_TEST(AccessibilityContractTest, attributesHaveValuesOrSayWhyNot) {
    this->expect(this->app(), "AXRole", std::string("AXApplication"));
    this->expect(this->app(), "AXParent", AXStatus::noValue);
    this->expect(this->app(), "AXFocusedWindow", this->window());
    this->expect(this->app(), "AXFocusedUIElement", this->editor());
    this->expect(this->window(), "AXTitle", std::string("Window"));
    this->expect(this->window(), "AXParent", this->app());
    this->expect(this->editor(), "AXRole", std::string("AXTextArea"));
    this->expect(this->editor(), "AXDescription", std::string("Prompt"));
    this->expect(this->editor(), "AXValue", std::string("draft"));
    this->expect(this->editor(), "AXSelectedTextRange", AXRange{5, 0});
    this->expect(this->editor(), "AXFocused", true);
    this->expect(this->editor(), "AXHelp", AXStatus::noValue);
    this->expect(this->editor(), "AXURL", AXStatus::attributeUnsupported);
    this->expect(this->editor(), "AXNeverHeardOf", AXStatus::attributeUnsupported);
    this->expect(this->editor(), "AXChildren", AXElements());
    this->expect(this->editor(), "AXPosition", AXPoint{10, 10});
    this->expect(this->label(), "AXValue", std::string("a text"));
    this->expect(this->button(), "AXValue", AXStatus::attributeUnsupported);
    EXPECT_TRUE(this->world->access.isSettable(this->editor(), "AXValue").isSettable);
    EXPECT_FALSE(this->world->access.isSettable(this->label(), "AXValue").isSettable);
    EXPECT_EQ(this->world->access.process(this->editor()), this->world->process);
    EXPECT_TRUE(this->world->access.elementAtPosition({12, 12}).value == AXValue(this->editor()));
}

TYPED_TEST(AccessibilityContractTest, pressesOnlyWhatCanBePressed) {
    auto& access = this->world->access;
    EXPECT_EQ(access.actionNames(this->button()).names, std::vector<std::string>{"AXPress"});
    EXPECT_EQ(access.performAction(this->button(), "AXPress"), AXStatus::success);
    EXPECT_EQ(this->world->presses, 1);
    EXPECT_EQ(access.performAction(this->button(), "AXRaise"), AXStatus::actionUnsupported);
    EXPECT_EQ(access.performAction(this->label(), "AXPress"), AXStatus::actionUnsupported);
    EXPECT_EQ(access.setAttribute(this->label(), "AXValue", std::string("x")),
              AXStatus::attributeUnsupported);
}

TYPED_TEST(AccessibilityContractTest, aTimeoutIsOfTheElementThroughAnyHandle) {
    auto& access = this->world->access;
    const auto other = this->editor();
    access.setMessagingTimeout(this->editor(), 15ms);
    this->world->hang();
    EXPECT_EQ(this->read(other, "AXValue").status, AXStatus::cannotComplete);
    EXPECT_EQ(access.isSettable(other, "AXValue").status, AXStatus::cannotComplete);
    EXPECT_EQ(access.performAction(other, "AXPress"), AXStatus::cannotComplete);
    this->world->goOn();
    EXPECT_TRUE(comes([&] { return this->read(other, "AXValue").status == AXStatus::success; }));
}

TYPED_TEST(AccessibilityContractTest, whatIsGoneIsInvalidForEveryOperation) {
    auto& access = this->world->access;
    const auto editor = this->editor();
    this->world->removeEditor();
    for (const auto* name : {"AXRole", "AXValue", "AXChildren", "AXParent", "AXSize", "AXNeverHeardOf"})
        this->expect(editor, name, AXStatus::invalidElement);
    EXPECT_EQ(access.isSettable(editor, "AXValue").status, AXStatus::invalidElement);
    EXPECT_EQ(access.setAttribute(editor, "AXValue", std::string("x")), AXStatus::invalidElement);
    EXPECT_EQ(access.actionNames(editor).status, AXStatus::invalidElement);
    EXPECT_EQ(access.performAction(editor, "AXPress"), AXStatus::invalidElement);
    EXPECT_EQ(access.process(editor), std::nullopt);
    this->expect(access.application(2'000'000'000), "AXRole", AXStatus::invalidElement);
    EXPECT_EQ(access.setAttribute(access.application(2'000'000'000), "AXManualAccessibility", true),
              AXStatus::invalidElement);
}

TYPED_TEST(AccessibilityContractTest, nothingIsAnsweredWithoutPermission) {
    auto& access = this->world->access;
    const auto app = this->app(), editor = this->editor();
    EXPECT_TRUE(access.isTrusted());
    this->world->turnOff();
    EXPECT_FALSE(access.isTrusted());
    this->expect(editor, "AXRole", AXStatus::apiDisabled);
    EXPECT_EQ(access.isSettable(editor, "AXValue").status, AXStatus::apiDisabled);
    EXPECT_EQ(access.setAttribute(app, "AXManualAccessibility", true), AXStatus::apiDisabled);
    EXPECT_EQ(access.actionNames(editor).status, AXStatus::apiDisabled);
    EXPECT_EQ(access.performAction(editor, "AXPress"), AXStatus::apiDisabled);
    EXPECT_EQ(access.elementAtPosition({12, 12}).status, AXStatus::apiDisabled);
    EXPECT_EQ(access.process(editor), std::nullopt);
}

} // namespace
} // namespace orvel
