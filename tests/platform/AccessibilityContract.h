#pragma once
// What every platform's accessibility promises. A platform's test makes a world and has the suite run on it:
// INSTANTIATE_TYPED_TEST_SUITE_P(Name, AccessibilityContractTest, World). In a world there is an application
// with a window, in which are an editor with the focus, a button and a text. It has
//   static std::string whatIsMissing()   empty where it can be made
//   static constexpr bool forgetsProcesses   whether nobody knows to which process belonged what is gone
//   Accessibility& access, ProcessID process, int presses
//   void removeEditor(), hang(), goOn()
//   void turnOff()                       nobody may read any more
//   bool comes(holds)                    whether it holds soon

#include "Orvel/desktop/Accessibility.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orvel {

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

TYPED_TEST_SUITE_P(AccessibilityContractTest);

TYPED_TEST_P(AccessibilityContractTest, attributesHaveValuesOrSayWhyNot) {
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

TYPED_TEST_P(AccessibilityContractTest, pressesOnlyWhatCanBePressed) {
    auto& access = this->world->access;
    EXPECT_EQ(access.actionNames(this->button()).names, std::vector<std::string>{"AXPress"});
    EXPECT_EQ(access.performAction(this->button(), "AXPress"), AXStatus::success);
    EXPECT_EQ(this->world->presses, 1);
    EXPECT_EQ(access.performAction(this->button(), "AXRaise"), AXStatus::actionUnsupported);
    EXPECT_EQ(access.performAction(this->label(), "AXPress"), AXStatus::actionUnsupported);
    EXPECT_EQ(access.setAttribute(this->label(), "AXValue", std::string("x")),
              AXStatus::attributeUnsupported);
}

TYPED_TEST_P(AccessibilityContractTest, aTimeoutIsOfTheElementThroughAnyHandle) {
    auto& access = this->world->access;
    const auto other = this->editor();
    access.setMessagingTimeout(this->editor(), std::chrono::milliseconds(15));
    this->world->hang();
    EXPECT_EQ(this->read(other, "AXValue").status, AXStatus::cannotComplete);
    EXPECT_EQ(access.isSettable(other, "AXValue").status, AXStatus::cannotComplete);
    EXPECT_EQ(access.performAction(other, "AXPress"), AXStatus::cannotComplete);
    this->world->goOn();
    EXPECT_TRUE(this->world->comes([&] { return this->read(other, "AXValue").status == AXStatus::success; }));
}

TYPED_TEST_P(AccessibilityContractTest, whatIsGoneIsInvalidForEveryOperation) {
    auto& access = this->world->access;
    const auto editor = this->editor();
    this->world->removeEditor();
    for (const auto* name : {"AXRole", "AXValue", "AXChildren", "AXParent", "AXSize", "AXNeverHeardOf"})
        this->expect(editor, name, AXStatus::invalidElement);
    EXPECT_EQ(access.isSettable(editor, "AXValue").status, AXStatus::invalidElement);
    EXPECT_EQ(access.setAttribute(editor, "AXValue", std::string("x")), AXStatus::invalidElement);
    EXPECT_EQ(access.actionNames(editor).status, AXStatus::invalidElement);
    EXPECT_EQ(access.performAction(editor, "AXPress"), AXStatus::invalidElement);
    if (TypeParam::forgetsProcesses) {
        EXPECT_EQ(access.process(editor), std::nullopt);
    }
    this->expect(access.application(2'000'000'000), "AXRole", AXStatus::invalidElement);
    EXPECT_EQ(access.setAttribute(access.application(2'000'000'000), "AXManualAccessibility", true),
              AXStatus::invalidElement);
}

TYPED_TEST_P(AccessibilityContractTest, nothingIsAnsweredWithoutPermission) {
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
    if (TypeParam::forgetsProcesses) {
        EXPECT_EQ(access.process(editor), std::nullopt);
    }
}

REGISTER_TYPED_TEST_SUITE_P(AccessibilityContractTest, attributesHaveValuesOrSayWhyNot,
                            pressesOnlyWhatCanBePressed, aTimeoutIsOfTheElementThroughAnyHandle,
                            whatIsGoneIsInvalidForEveryOperation, nothingIsAnsweredWithoutPermission);

} // namespace orvel
