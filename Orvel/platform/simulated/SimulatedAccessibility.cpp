#include "Orvel/platform/simulated/SimulatedAccessibility.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

namespace orvel {

namespace {

// Names that traces may show; they live as long as the program.
std::string_view lastingName(std::string_view name) {
    static constexpr std::array<std::string_view, 25> known{
        "AXRole",        "AXChildren",      "AXValue",
        "AXDescription", "AXTitle",         "AXHelp",
        "AXParent",      "AXURL",           "AXEnabled",
        "AXSubrole",     "AXFocusedWindow", "AXFocusedUIElement",
        "AXFocused",     "AXWindows",       "AXTextInputMarkedTextMarkerRange",
        "AXPosition",    "AXSize",          "AXSelectedTextRange",
        "AXWindow",      "AXDOMClassList",  "AXManualAccessibility",
        "AXIdentifier",  "AXSelected",      "AXNumberOfCharacters",
        "AXPress"};
    const auto* found = std::find(known.begin(), known.end(), name);
    return found == known.end() ? "other" : *found;
}

AXElements handlesOf(const std::vector<SimulatedElement::Shared>& elements) {
    AXElements handles;
    handles.reserve(elements.size());
    for (const auto& element : elements) handles.push_back(element->handle());
    return handles;
}

// Breadth-first, the root first.
std::vector<SimulatedElement*> everythingBelow(SimulatedElement& root) {
    std::vector<SimulatedElement*> all{&root};
    for (std::size_t i = 0; i < all.size(); ++i)
        for (const auto& child : all[i]->below()) all.push_back(child.get());
    return all;
}

constexpr std::chrono::microseconds fetchTime{200}; // Of one element in a pipelined fetch.

} // namespace

std::chrono::nanoseconds SimulatedLatency::draw(SimulatedChance& chance) const {
    const auto between = [](std::chrono::nanoseconds low, std::chrono::nanoseconds high, double share) {
        const auto span = static_cast<double>((high - low).count());
        return low + std::chrono::nanoseconds(static_cast<std::int64_t>(span * share));
    };
    const auto place = chance.fraction();
    if (place < 0.5) return between(median / 2, median, place / 0.5);
    if (place < 0.9) return between(median, std::min(median * 2, rare), (place - 0.5) / 0.4);
    const auto share = (place - 0.9) / 0.09;
    if (place < 0.99) return between(std::min(median * 2, rare), rare, share * share);
    if (place < 0.999) return between(rare, worst / 2, (place - 0.99) / 0.009);
    return between(worst / 2, worst, (place - 0.999) / 0.001);
}

// Values as they were at the beginning, which is as old as they may be, each read once from when it has
// arrived.
class SimulatedAccessibility::ReadAhead : public AXReadAhead {
  public:
    ReadAhead(SimulatedAccessibility& owner, SimulatedElement& root, std::span<const std::string_view> names,
              std::size_t limit)
        : owner(owner), begun(owner.endOfFetches()) {
        for (const auto name : names) wanted.emplace_back(name);
        for (auto* element : everythingBelow(root)) {
            if (arrivals.size() == limit) break;
            Fetched fetch{element->shared_from_this(), arrivals.size() + 1, {}, {}};
            for (const auto& name : wanted) {
                fetch.readings.push_back(owner.valueOf(*element, name));
                if (owner.onRead) owner.onRead(*element, name, true);
            }
            arrivals.emplace(element, std::move(fetch));
        }
        owner.fetched.push_back(this);
    }
    ~ReadAhead() override { std::erase(owner.fetched, this); }

    MainLoop::Duration end() const { return begun + static_cast<std::int64_t>(arrivals.size()) * fetchTime; }

    // The value, if this read may be answered from it.
    std::optional<FetchedValue> take(const SimulatedElement& element, std::string_view name) {
        const auto wants = std::find(wanted.begin(), wanted.end(), name);
        const auto found = arrivals.find(&element);
        if (wants == wanted.end() || found == arrivals.end()) return std::nullopt;
        const auto bit = std::uint64_t{1} << (wants - wanted.begin());
        if (found->second.taken & bit) return std::nullopt;
        found->second.taken |= bit;
        return FetchedValue{
            std::move(found->second.readings[static_cast<std::size_t>(wants - wanted.begin())]),
            begun + static_cast<std::int64_t>(found->second.place) * fetchTime};
    }

  private:
    struct Fetched {
        SimulatedElement::Shared element;
        std::size_t place;
        std::uint64_t taken;
        std::vector<AXReading> readings;
    };

    SimulatedAccessibility& owner;
    MainLoop::Duration begun;
    std::vector<std::string> wanted;
    std::unordered_map<const SimulatedElement*, Fetched> arrivals;
};

void SimulatedAccessibility::setApplication(ProcessID process, SimulatedElement::Shared element) {
    if (element)
        applications[process] = std::move(element);
    else
        applications.erase(process);
}

SimulatedElement* SimulatedAccessibility::elementOf(const AXElement& handle) {
    const auto* element = dynamic_cast<const SimulatedElement*>(&handle.identity());
    return const_cast<SimulatedElement*>(element); // Made by makeElement, never const.
}

SimulatedAccessibility::Call SimulatedAccessibility::begin(std::string_view operation,
                                                           const AXElement& handle, std::string_view name,
                                                           bool isWrite, std::chrono::nanoseconds duration,
                                                           bool isKnown) {
    auto* element = elementOf(handle);
    SimulatedStep step{.operation = operation,
                       .name = name.empty() ? name : lastingName(name),
                       .element = element ? element->number : 0,
                       .isWrite = isWrite};
    steps.announce(step);
    for (const auto* above = element; above; above = above->parent()) duration += above->slowness;
    const auto own = element ? element->messagingTimeout : std::chrono::milliseconds(0);
    const auto bound = std::min<std::chrono::nanoseconds>(own.count() > 0 ? own : ownBound, greatestBound);
    const bool isLate = duration + step.delay > bound;
    loop.spend(std::min(duration + step.delay, bound));
    if (!trusted) return {nullptr, AXStatus::apiDisabled, false};
    if (step.report) return {element, *step.report, step.happens && element && !element->isRemoved()};
    if (!element || (element->isRemoved() && !isKnown)) return {nullptr, AXStatus::invalidElement, false};
    if (isLate) return {element, AXStatus::cannotComplete, isWrite}; // A write goes its way all the same.
    return {element, AXStatus::success, true};
}

bool SimulatedAccessibility::isTrusted() {
    const auto step = steps.take("isTrusted");
    return !step.report && trusted;
}

AXElement SimulatedAccessibility::application(ProcessID process) {
    steps.take("applicationElement");
    const auto found = applications.find(process);
    if (found != applications.end()) return found->second->handle();
    const auto nobody = makeElement("AXApplication");
    nobody->remove();
    return nobody->handle();
}

void SimulatedAccessibility::setMessagingTimeout(const AXElement& element,
                                                 std::chrono::milliseconds timeout) {
    if (auto* known = elementOf(element)) known->messagingTimeout = timeout;
}

AXReading SimulatedAccessibility::attribute(const AXElement& handle, std::string_view name) {
    return read(handle, name, latency.draw(chance));
}

// All answers are there when the slowest is.
std::vector<AXReading> SimulatedAccessibility::attributes(std::span<const AXRequest> requests) {
    if (!supportsBatches) return Accessibility::attributes(requests);
    std::chrono::nanoseconds slowest{0};
    for (std::size_t i = 0; i < requests.size(); ++i) slowest = std::max(slowest, latency.draw(chance));
    std::vector<AXReading> readings;
    for (const auto& [element, name] : requests)
        readings.push_back(read(element, name, std::exchange(slowest, std::chrono::nanoseconds(1'000))));
    return readings;
}

AXReading SimulatedAccessibility::read(const AXElement& handle, std::string_view name,
                                       std::chrono::nanoseconds duration) {
    ++readCount;
    auto known = fetchedValue(handle, name);
    if (known) duration = std::max(known->arrival - loop.uptime(), MainLoop::Duration(1'000));
    const auto call = begin("attribute", handle, name, false, duration, known.has_value());
    if (call.status != AXStatus::success) return {call.status, {}};
    if (known) return std::move(known->reading); // Says nothing of what stands there now.
    auto reading = valueOf(*call.element, name);
    if (onRead) onRead(*call.element, name, false);
    return reading;
}

std::optional<SimulatedAccessibility::FetchedValue>
SimulatedAccessibility::fetchedValue(const AXElement& handle, std::string_view name) const {
    const auto* element = fetched.empty() ? nullptr : elementOf(handle);
    if (!element) return std::nullopt;
    for (auto* ahead : fetched)
        if (auto value = ahead->take(*element, name)) return value;
    return std::nullopt;
}

AXReading SimulatedAccessibility::valueOf(SimulatedElement& element, std::string_view name) const {
    for (const auto& [failing, status] : element.statuses)
        if (failing == name) return {status, {}};
    if (const auto other = element.overrides.find(name); other != element.overrides.end())
        return {AXStatus::success, other->second};
    if (name == "AXChildren") return {AXStatus::success, handlesOf(element.below())};
    if (name == "AXParent") {
        if (!element.parent()) return {AXStatus::noValue, {}};
        return {AXStatus::success, element.parent()->handle()};
    }
    const auto* value = element.find(name);
    if (!value) return {AXStatus::attributeUnsupported, {}};
    if (std::holds_alternative<std::monostate>(*value)) return {AXStatus::noValue, {}};
    return {AXStatus::success, *value};
}

AXSettable SimulatedAccessibility::isSettable(const AXElement& element, std::string_view name) {
    const auto call = begin("isSettable", element, name, false, latency.draw(chance));
    if (call.status != AXStatus::success) return {call.status, false};
    return {AXStatus::success, call.element->write != nullptr && call.element->find(name) != nullptr};
}

AXStatus SimulatedAccessibility::setAttribute(const AXElement& element, std::string_view name,
                                              const AXValue& value) {
    const bool isComposed = composesWrites && name != "AXFocused"; // Which no platform types.
    const auto call =
        begin("setAttribute", element, name, true, isComposed ? MainLoop::Duration::zero() : writeTime);
    if (!call.happens) return call.status;
    const auto status = isComposed ? compose(*call.element, name, value) : write(*call.element, name, value);
    return call.status == AXStatus::success ? status : call.status;
}

AXStatus SimulatedAccessibility::write(SimulatedElement& element, std::string_view name,
                                       const AXValue& value) {
    if (element.isRemoved()) return AXStatus::invalidElement;
    const auto take = element.write; // The element may vanish by it.
    return take ? take(name, value) : AXStatus::attributeUnsupported;
}

AXStatus SimulatedAccessibility::compose(SimulatedElement& element, std::string_view name,
                                         const AXValue& value) {
    const auto* text = std::get_if<std::string>(&value);
    if (name != "AXValue" || !text || !element.write) return AXStatus::attributeUnsupported;
    const auto target = element.shared_from_this();
    const auto bound = element.messagingTimeout.count() > 0 ? element.messagingTimeout : ownBound;
    const auto end = loop.uptime() + bound;
    const auto before = pasteboard.contents();
    const auto giveBack = [&] {
        if (pasteboard.text == *text) pasteboard.copiedElsewhere(before);
    };
    if (!pasteboard.setString(*text)) {
        giveBack(); // It may have been written all the same.
        return AXStatus::failure;
    }
    loop.spendUntil([] { return false; }, writeTime);
    const auto paste = steps.take("paste", true);
    const bool isPasted = pasteboard.text == *text && (!paste.report || paste.happens);
    if (isPasted) front.paste(*text);
    const auto shows = [&] {
        const auto* read = target->find(name);
        return target->isRemoved() || (read && *read == value);
    };
    const bool isThere =
        isPasted && loop.spendUntil(shows, std::max(MainLoop::Duration(0), end - loop.uptime()));
    giveBack();
    if (!isPasted) return AXStatus::failure;
    return isThere && !target->isRemoved() ? AXStatus::success : AXStatus::mayHaveHappened;
}

AXActionNames SimulatedAccessibility::actionNames(const AXElement& element) {
    const auto call = begin("actionNames", element, {}, false, latency.draw(chance));
    if (call.status != AXStatus::success) return {call.status, {}};
    return {AXStatus::success,
            call.element->perform ? std::vector<std::string>{"AXPress"} : std::vector<std::string>{}};
}

AXStatus SimulatedAccessibility::performAction(const AXElement& element, std::string_view name) {
    const auto call = begin("performAction", element, name, true, latency.draw(chance));
    if (!call.happens) return call.status;
    const auto perform = call.element->perform; // The element may vanish by it.
    const auto status = perform ? perform(name) : AXStatus::actionUnsupported;
    return call.status == AXStatus::success ? status : call.status;
}

void SimulatedAccessibility::awaitShown(std::chrono::nanoseconds sinceInput) {
    if (sinceInput < lag) loop.spend(lag - sinceInput);
}

AXReading SimulatedAccessibility::elementAtPosition(AXPoint point) {
    const auto step = steps.take("elementAtPosition", false, latency.draw(chance));
    if (!trusted) return {};
    if (step.report) return {*step.report, {}};
    SimulatedElement* deepest = nullptr;
    for (const auto& [process, root] : applications)
        for (auto* element : everythingBelow(*root))
            if (element->isHittable && element->covers(point)) deepest = element;
    if (!deepest) return {AXStatus::noValue, {}};
    return {AXStatus::success, deepest->handle()};
}

std::optional<ProcessID> SimulatedAccessibility::process(const AXElement& handle) {
    const auto call = begin("process", handle, {}, false, std::chrono::nanoseconds(0));
    if (call.status != AXStatus::success) return std::nullopt;
    const auto* top = call.element;
    while (top->parent()) top = top->parent();
    for (const auto& [process, root] : applications)
        if (root.get() == top) return process;
    return std::nullopt;
}

// What is fetched ahead goes over one wire.
MainLoop::Duration SimulatedAccessibility::endOfFetches() const {
    auto end = loop.uptime();
    for (const auto* ahead : fetched) end = std::max(end, ahead->end());
    return end;
}

std::unique_ptr<AXReadAhead> SimulatedAccessibility::readAhead(const AXElement& root,
                                                               std::span<const std::string_view> names,
                                                               std::size_t limit) {
    auto* element = elementOf(root);
    if (!supportsReadAhead || !element || element->isRemoved()) return nullptr;
    return std::make_unique<ReadAhead>(*this, *element, names, limit);
}

Task<std::optional<AXElements>> SimulatedAccessibility::search(AXElement root, std::vector<std::string> roles,
                                                               std::size_t limit) {
    const auto step = steps.take("search");
    auto* element = elementOf(root);
    if (!supportsSearch || step.report || !element) co_return std::nullopt;
    co_await loop.sleep(std::chrono::milliseconds(1 + chance.below(84)));
    if (element->isRemoved()) co_return std::nullopt;
    AXElements found;
    const auto all = everythingBelow(*element);
    if (all.size() > limit) co_return std::nullopt;
    for (auto* each : all) {
        if (!each->statuses.empty()) co_return std::nullopt;
        if (std::find(roles.begin(), roles.end(), each->text("AXRole")) != roles.end())
            found.push_back(each->handle());
    }
    co_return found;
}

} // namespace orvel
