#include "Orvel/platform/simulated/SimulatedKeyboard.h"

#include <algorithm>
#include <utility>

namespace orvel {

namespace {

// Others may arrive while the tap is asked for one.
struct Moving {
    Moving(std::optional<std::size_t>& moving, std::optional<std::size_t> number)
        : moving(moving), before(std::exchange(moving, number)) {}
    ~Moving() { moving = before; }
    Moving(const Moving&) = delete;
    Moving& operator=(const Moving&) = delete;

    std::optional<std::size_t>& moving;
    std::optional<std::size_t> before;
};

} // namespace

class SimulatedKeyboard::Prepared : public PreparedEvents {
  public:
    Prepared(SimulatedKeyboard& keyboard, Posted event) : keyboard(keyboard), event(event) {}

    void post() override {
        if (std::exchange(isPosted, true)) return;
        const auto step = keyboard.steps.take("post", true);
        if (step.report && !step.happens) return;
        keyboard.posted.push_back(event);
        const auto* key = std::get_if<SyntheticKey>(&event.event);
        if (!key) return click(std::get<AXPoint>(event.event));
        TapEvent made{.keyCode = key->keyCode,
                      .flags = key->flags,
                      .sourceProcess = SimulatedApplications::self,
                      .marker = marker};
        for (const auto type : {TapEventType::keyDown, TapEventType::keyUp}) {
            made.type = type;
            keyboard.send({.key = {made, ""}, .process = event.process});
        }
    }

  private:
    void click(AXPoint point) const {
        if (auto* application = keyboard.applications.inFront()) application->clicked(point);
    }

    SimulatedKeyboard& keyboard;
    Posted event;
    bool isPosted = false;
};

void SimulatedKeyboard::press(const std::string& text, const TapEvent& event, std::function<void()> effect) {
    const auto number = pressed.size();
    pressed.push_back({.number = number, .key = {event, text}});
    send({.key = {event, text}, .effect = std::move(effect), .number = number});
}

void SimulatedKeyboard::stroke(const std::string& text, const TapEvent& event) {
    press(text, event);
    auto released = event;
    released.type = TapEventType::keyUp;
    press("", released);
}

// What passes a tap arrives a moment later, and what comes meanwhile stands behind it.
void SimulatedKeyboard::send(Travelling travelling) {
    if ((!handler || !enabled) && travellings.empty() && passing == 0) return arrive(travelling);
    travelling.since = loop.worldTime(); // A person presses at any time.
    travelling.askedBefore = asked;
    travellings.push_back(std::move(travelling));
    loop.post([this] { passTap(); });
}

void SimulatedKeyboard::passTap() {
    auto travelling = std::move(travellings.front());
    travellings.pop_front();
    if (askTap(travelling) == TapAnswer::swallow) return settle(travelling, SimulatedPress::Fate::swallowed);
    ++passing;
    loop.outside(MainLoop::Duration::zero(), [this, travelling = std::move(travelling)] {
        --passing;
        arrive(travelling);
    });
}

TapAnswer SimulatedKeyboard::askTap(const Travelling& travelling) {
    if (!handler || !enabled || (!travelling.number && !tapSeesPosted)) return TapAnswer::pass;
    const auto waited = loop.uptime() - travelling.since;
    if (travelling.number) longest = std::max(longest, waited - (asked - travelling.askedBefore));
    auto event = travelling.key.event;
    const bool isReturn = KeyCode::isReturn(event.keyCode) &&
                          (event.type == TapEventType::keyDown || event.type == TapEventType::keyUp);
    const bool isLate = waited > tapLimit;
    if (isLate && lateIsRepeat) {
        event.isRepeat = event.type == TapEventType::keyDown;
        ask(travelling, event);
        return TapAnswer::pass;
    }
    const auto answer = isLate ? TapAnswer::pass : ask(travelling, event);
    if (loop.uptime() - travelling.since > tapLimit) {
        if (enabled) disable(TapEventType::tapDisabledByTimeout);
        return TapAnswer::pass;
    }
    return isReturn || !swallowsOnlyReturns ? answer : TapAnswer::pass;
}

TapAnswer SimulatedKeyboard::ask(const Travelling& travelling, const TapEvent& event) {
    const auto calls = handler; // Which may stop the tap.
    const Moving moves(moving, travelling.number);
    const auto began = loop.uptime();
    const auto answer = calls(event);
    asked += loop.uptime() - began;
    return answer;
}

void SimulatedKeyboard::arrive(const Travelling& travelling) {
    const auto front = applications.processInFront();
    const auto process = travelling.process.value_or(front);
    if (!travelling.number && postedNeedsFocus && process != front) return;
    const Moving moves(moving, travelling.number);
    settle(travelling, deliver(travelling, applications.running(process)), process);
}

SimulatedPress::Fate SimulatedKeyboard::deliver(const Travelling& travelling,
                                                SimulatedApplication* application) {
    if (application && travelling.number && inputMethod.takes(*application, travelling.key))
        return SimulatedPress::Fate::composed;
    if (application) application->pressed(travelling.key);
    if (travelling.effect) travelling.effect();
    return SimulatedPress::Fate::arrived;
}

void SimulatedKeyboard::settle(const Travelling& travelling, SimulatedPress::Fate fate, ProcessID process) {
    if (!travelling.number) return;
    auto& press = pressed[*travelling.number];
    press.fate = fate;
    press.process = process;
    if (onFate) onFate(press);
}

void SimulatedKeyboard::beLikeX() {
    tapLimit = std::chrono::milliseconds(200);
    lateIsRepeat = swallowsOnlyReturns = postedNeedsFocus = true;
    tapSeesPosted = false;
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
