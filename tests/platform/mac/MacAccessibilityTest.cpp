// The accessibility port of macOS over stand-ins for the system: what every platform promises, and what the
// system wants of its callers.

#include "fake/FakeMac.h"
#include "platform/AccessibilityContract.h"

#include "Orvel/platform/mac/MacAccessibility.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using macfake::FakeList;
using macfake::FakeValue;
using macfake::Node;

class MacWorld {
  public:
    static constexpr bool forgetsProcesses = false;
    static std::string whatIsMissing() { return {}; }

    MacWorld() {
        const auto root = mac.application(process);
        const auto window = root->append("AXWindow");
        window->attributes["AXTitle"] = "Window";
        editor = window->append("AXTextArea");
        button = window->append("AXButton");
        window->append("AXStaticText")->attributes["AXValue"] = "a text";
        root->attributes["AXFocusedWindow"] = window;
        root->attributes["AXFocusedUIElement"] = editor;
        editor->attributes.insert({{"AXDescription", "Prompt"},
                                   {"AXValue", "draft"},
                                   {"AXSelectedTextRange", CFRange{5, 0}},
                                   {"AXFocused", true},
                                   {"AXHelp", std::monostate()},
                                   {"AXPosition", CGPoint{10, 10}},
                                   {"AXSize", CGSize{50, 20}}});
        editor->write = [](const std::string&, const macfake::Object&) { return kAXErrorSuccess; };
        button->actions = {"AXPress"};
        button->perform = [this](const std::string&) { ++presses; };
    }

    void removeEditor() { macfake::FakeMac::remove(*editor); }
    void hang() { mac.isHanging = true; }
    void goOn() { mac.isHanging = false; }
    void turnOff() { mac.isTrusted = false; }
    static bool comes(const std::function<bool()>& holds) { return holds(); }

    macfake::FakeMac mac;
    Node::Shared editor, button;
    MacAccessibility access;
    const ProcessID process = 7;
    int presses = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mac, AccessibilityContractTest, MacWorld);

class MacAccessibilityTest : public testing::Test {
  protected:
    AXElement app() { return world.access.application(world.process); }
    AXElement editor() { return *world.access.attribute(app(), "AXFocusedUIElement").as<AXElement>(); }
    /// What is read of an attribute that holds this.
    AXReading read(FakeValue value) {
        world.editor->attributes["AXValue"] = std::move(value);
        return world.access.attribute(editor(), "AXValue");
    }

    MacWorld world;
};

TEST_F(MacAccessibilityTest, valuesKeepTheirTypes) {
    const struct {
        FakeValue held;
        AXValue read;
    } cases[]{
        {"", std::string()},
        {"ä € 😀", std::string("ä € 😀")},
        {std::string("a\0b", 3), std::string("a\0b", 3)},
        {true, true},
        {false, false},
        {std::int64_t{42}, 42.0},
        {0.5, 0.5},
        {macfake::FakeNull(), AXNull()},
        {macfake::FakeNothing(), std::monostate()},
        {macfake::FakeURL{"https://claude.ai/ä"}, AXURL{"https://claude.ai/ä"}},
        {CFRange{3, -1}, AXRange{3, -1}},
        {CGPoint{-1.5, 2}, AXPoint{-1.5, 2}},
        {CGSize{3, 4.25}, AXSize{3, 4.25}},
        {FakeList(), AXElements()},
        {FakeList{"one", "two"}, std::vector<std::string>{"one", "two"}},
        {FakeList{world.editor, world.button}, AXElements{editor(), *read(world.button).as<AXElement>()}},
    };
    for (const auto& [held, expected] : cases) {
        const auto reading = read(held);
        EXPECT_EQ(reading.status, AXStatus::success);
        EXPECT_TRUE(reading.value == expected) << &held - &cases[0].held;
    }
}

TEST_F(MacAccessibilityTest, whatHasNoTypeHereCanOnlyBeCompared) {
    const FakeValue cases[]{macfake::FakeMarker{3},
                            CGRect{{1, 2}, {3, 4}},
                            std::u16string(u"/orvel \xD83D"),
                            std::int64_t{9'007'199'254'740'993},
                            FakeList{"one", world.editor},
                            FakeList{"one", true},
                            FakeList{"one", std::u16string(u"\xDE00")}};
    for (const auto& held : cases) EXPECT_TRUE(read(held).as<AXOpaque>()) << &held - cases;
    const auto marker = read(macfake::FakeMarker{3}).value;
    EXPECT_TRUE(read(macfake::FakeMarker{3}).value == marker);
    EXPECT_FALSE(read(macfake::FakeMarker{4}).value == marker);
    EXPECT_FALSE(read(CGRect{}).value == marker);
}

TEST_F(MacAccessibilityTest, numbersOfErrorsArriveUnchanged) {
    for (const int number : {-25200, -25202, -25204, -25205, -25211, -25212, -25201, -4711}) {
        const auto error = static_cast<AXError>(number);
        const auto status = static_cast<AXStatus>(number);
        EXPECT_EQ(read(error).status, status);
        EXPECT_TRUE(std::holds_alternative<std::monostate>(read(error).value));
        world.editor->write = [&](const std::string&, const macfake::Object&) { return error; };
        EXPECT_EQ(world.access.setAttribute(editor(), "AXValue", std::string()), status);
    }
}

// The stand-in leaves a yes where a question fails.
TEST_F(MacAccessibilityTest, aFailedQuestionAllowsNothing) {
    EXPECT_TRUE(world.access.isSettable(editor(), "AXValue").isSettable);
    const auto target = editor();
    world.hang();
    EXPECT_FALSE(world.access.isSettable(target, "AXValue").isSettable);
}

TEST_F(MacAccessibilityTest, textsAndTruthsAreWrittenOnceAndNothingElseIs) {
    std::string written;
    world.editor->write = [&](const std::string& attribute, const macfake::Object& value) {
        written += attribute + "=";
        if (value.kind == macfake::Kind::string)
            written += static_cast<const macfake::StringObject&>(value).text();
        else if (value.kind == macfake::Kind::boolean)
            written += static_cast<const macfake::BooleanObject&>(value).truth ? "yes" : "no";
        written += ";";
        return kAXErrorSuccess;
    };
    auto& access = world.access;
    EXPECT_EQ(access.setAttribute(editor(), "AXValue", std::string("日本\n😀")), AXStatus::success);
    EXPECT_EQ(access.setAttribute(editor(), "AXManualAccessibility", true), AXStatus::success);
    EXPECT_EQ(access.setAttribute(editor(), "AXFocused", false), AXStatus::success);
    EXPECT_EQ(written, "AXValue=日本\n😀;AXManualAccessibility=yes;AXFocused=no;");
    const auto calls = world.mac.calls;
    const auto target = editor();
    for (const AXValue& value : {AXValue(), AXValue(1.0), AXValue(AXRange()), AXValue(std::string("\xFF"))})
        EXPECT_EQ(access.setAttribute(target, "AXValue", value), AXStatus::failure);
    EXPECT_EQ(world.mac.calls, calls + 1) << "only the look for the editor";
}

// The stand-in complains of each call on an element without a timeout.
TEST_F(MacAccessibilityTest, everyCallOnAnElementIsBoundedByItsTimeout) {
    auto& access = world.access;
    const std::function<AXElement()> app = [&] { return this->app(); },
                                     editor = [&] { return this->editor(); };
    const auto waitsOf = [&](const std::function<AXElement()>& handle) {
        AXElements fresh;
        for (int i = 0; i < 5; ++i) fresh.push_back(handle());
        world.mac.waits.clear();
        world.hang();
        static_cast<void>(access.attribute(fresh[0], "AXValue"));
        static_cast<void>(access.isSettable(fresh[1], "AXValue"));
        static_cast<void>(access.setAttribute(fresh[2], "AXValue", true));
        static_cast<void>(access.actionNames(fresh[3]));
        static_cast<void>(access.performAction(fresh[4], "AXPress"));
        world.goOn();
        return world.mac.waits;
    };
    using Waits = std::vector<std::chrono::milliseconds>;
    EXPECT_EQ(waitsOf(editor), Waits(5, MacAccessibility::ownTimeout));
    access.setMessagingTimeout(editor(), 15ms);
    access.setMessagingTimeout(app(), 500ms);
    EXPECT_EQ(waitsOf(editor), Waits(5, 15ms)) << "through any handle";
    EXPECT_EQ(waitsOf(app), Waits(5, 500ms));
    access.setMessagingTimeout(editor(), 0ms);
    EXPECT_EQ(waitsOf(editor), Waits(5, MacAccessibility::ownTimeout));
    world.mac.waits.clear();
    world.hang();
    EXPECT_EQ(access.elementAtPosition({1, 1}).status, AXStatus::cannotComplete);
    EXPECT_EQ(world.mac.waits, Waits{MacAccessibility::ownTimeout});
}

// A walk meets thousands of elements; what is forgotten must not wait longer.
TEST_F(MacAccessibilityTest, noTimeoutGrowsWhenThereAreTooMany) {
    auto& access = world.access;
    const auto first = editor();
    access.setMessagingTimeout(first, 15ms);
    for (ProcessID process = 1'000; process < 70'000; ++process)
        access.setMessagingTimeout(access.application(process), 100ms);
    world.hang();
    static_cast<void>(access.attribute(first, "AXValue"));
    EXPECT_EQ(world.mac.waits, std::vector{15ms});
}

TEST_F(MacAccessibilityTest, whatIsNoElementOfThisPlatformIsInvalid) {
    struct Other : AXIdentity {
        bool equals(const AXIdentity&) const override { return false; }
    };
    const AXElement other(std::make_shared<Other>());
    world.access.setMessagingTimeout(other, 15ms);
    EXPECT_EQ(world.access.attribute(other, "AXRole").status, AXStatus::invalidElement);
    EXPECT_EQ(world.access.setAttribute(other, "AXValue", true), AXStatus::invalidElement);
    EXPECT_EQ(world.access.process(other), std::nullopt);
    EXPECT_FALSE(other == editor());
    EXPECT_FALSE(editor() == other);
}

TEST_F(MacAccessibilityTest, actionsAndPointsAreThoseOfTheElement) {
    world.button->actions = {"AXPress", "AXShowMenu"};
    const auto button = *read(world.button).as<AXElement>();
    EXPECT_EQ(world.access.actionNames(button).names, (std::vector<std::string>{"AXPress", "AXShowMenu"}));
    EXPECT_EQ(world.access.actionNames(editor()).status, AXStatus::success);
    EXPECT_TRUE(world.access.actionNames(editor()).names.empty());
    EXPECT_EQ(world.access.elementAtPosition({59.5, 29.5}).value, AXValue(editor()));
    EXPECT_EQ(world.access.elementAtPosition({60, 30}).status, AXStatus::noValue);
    EXPECT_EQ(world.access.process(button), world.process);
}

} // namespace
} // namespace orvel
