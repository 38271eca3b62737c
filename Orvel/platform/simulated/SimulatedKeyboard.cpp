#include "Orvel/platform/simulated/SimulatedKeyboard.h"

#include <algorithm>

namespace orvel {

class SimulatedKeyboard::Prepared : public PreparedEvents {
  public:
    Prepared(SimulatedKeyboard& keyboard, Posted event) : keyboard(keyboard), event(event) {}

    void post() override {
        const auto step = keyboard.steps.take("post", true);
        if (!step.report || step.happens) keyboard.posted.push_back(event);
    }

  private:
    SimulatedKeyboard& keyboard;
    Posted event;
};

void SimulatedKeyboard::press(const std::string& text, const TapEvent& event) {
    if (!handler || !enabled) {
        arrive(text);
        return;
    }
    const auto pressed = loop.uptime();
    loop.post([this, text, event, pressed] {
        const auto waited = loop.uptime() - pressed;
        longest = std::max(longest, waited);
        auto answer = TapAnswer::pass;
        if (waited > tapLimit)
            disable(TapEventType::tapDisabledByTimeout);
        else if (handler)
            answer = handler(event);
        if (answer == TapAnswer::pass)
            loop.outside(MainLoop::Duration::zero(), [this, text] { arrive(text); });
    });
}

void SimulatedKeyboard::arrive(const std::string& text) {
    auto* application = applications.inFront();
    if (application && !text.empty()) application->typed(text);
}

void SimulatedKeyboard::disable(TapEventType reason) {
    enabled = false;
    loop.post([this, reason] {
        if (handler) handler({.type = reason});
    });
}

bool SimulatedKeyboard::isListeningGranted() {
    return !steps.take("isListeningGranted").report && granted;
}

void SimulatedKeyboard::requestListening() {
    steps.take("requestListening", true);
}

TapStart SimulatedKeyboard::start(Handler newHandler) {
    if (steps.take("startTap", true).report || refusesStart) return TapStart::refused;
    handler = std::move(newHandler);
    enabled = true;
    return TapStart::started;
}

void SimulatedKeyboard::stop() {
    steps.take("stopTap", true);
    handler = nullptr;
    enabled = false;
}

bool SimulatedKeyboard::isEnabled() {
    return !steps.take("isTapEnabled").report && enabled;
}

std::unique_ptr<PreparedEvents> SimulatedKeyboard::key(SyntheticKey key, std::optional<ProcessID> process) {
    if (steps.take("makeKey").report || refusesPosting) return nullptr;
    return std::make_unique<Prepared>(*this, Posted{key, process});
}

std::unique_ptr<PreparedEvents> SimulatedKeyboard::click(AXPoint point) {
    if (steps.take("makeClick").report || refusesPosting) return nullptr;
    return std::make_unique<Prepared>(*this, Posted{point, std::nullopt});
}

} // namespace orvel
