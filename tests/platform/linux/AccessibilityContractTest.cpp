// What every platform's accessibility promises, on the simulated desktop and on a real bus.

#include "platform/AccessibilityContract.h"
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
    static constexpr bool forgetsProcesses = true;
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
    static bool comes(const std::function<bool()>& holds) { return holds(); }

    SimulatedDesktop desktop;
    SimulatedAccessibility& access = desktop.accessibility;
    const ProcessID process = 7;
    int presses = 0;

  private:
    SimulatedElement::Shared window, editor;
};

class AtSpiWorld {
  public:
    static constexpr bool forgetsProcesses = true;
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
    static bool comes(const std::function<bool()>& holds) { return orvel::comes(holds); }
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

INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, AccessibilityContractTest, SimulatedWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(AtSpi, AccessibilityContractTest, AtSpiWorld);

} // namespace
} // namespace orvel
