#include "Orvel/platform/linux/AtSpiAccessibility.h"

#include "Orvel/platform/linux/AtSpiElement.h"
#include "Orvel/platform/linux/AtSpiTextReader.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <thread>
#include <utility>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

// Interfaces and values of the AT-SPI2 protocol.
constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr const char* action = "org.a11y.atspi.Action";
constexpr const char* component = "org.a11y.atspi.Component";
constexpr const char* text = "org.a11y.atspi.Text";
constexpr std::string_view nothingThere = "/org/a11y/atspi/null";
constexpr std::string_view rootPath = "/org/a11y/atspi/accessible/root";
constexpr std::uint32_t screenCoordinates = 0;

// Whose searches go through everything that a walk meets. Their objects have no windows of other programs in
// them, of which a search knows nothing.
constexpr std::array<std::string_view, 1> completeToolkits{"Chromium"};

constexpr std::size_t mostChildren = 10'000, mostWindows = 200, mostAttributes = 200, mostActions = 100;
constexpr int mostAncestors = 64;
constexpr std::size_t mostTimeouts = 32'768;
constexpr std::size_t mostEditors = 64, mostAbsences = 64, mostMatches = 100'000, mostFound = 64;
constexpr std::size_t mostDepth = 256;
constexpr std::chrono::milliseconds trustTimeout{100}, hitTimeout{100}, lookupTimeout{15};
/// On threads of their own.
constexpr std::chrono::milliseconds searchTimeout{500};
constexpr std::chrono::milliseconds readBackPause{5};

enum Needs : unsigned {
    needsRole = 1,
    needsAttributes = 2,
    needsName = 4,
    needsDescription = 8,
    needsStates = 16
};

// Text that is marked, as it was at some moment.
class MarkedText : public AXIdentity {
  public:
    explicit MarkedText(std::uint64_t version) : version(version) {}

    bool equals(const AXIdentity& other) const override {
        const auto* marked = dynamic_cast<const MarkedText*>(&other);
        return marked && marked->version == version;
    }

  private:
    std::uint64_t version;
};

const AtSpiElement* elementOf(const AXElement& handle) {
    return dynamic_cast<const AtSpiElement*>(&handle.identity());
}

AXElement handleOf(const BusReference& object) {
    return AXElement(std::make_shared<AtSpiElement>(object));
}

// What identifies an element to its timeout.
BusReference keyOf(const AtSpiElement& element) {
    return element.process == 0 ? element.object : BusReference{{}, std::to_string(element.process)};
}

BusDeadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

bool isThere(const BusReference& object) {
    return !object.path.empty() && object.path != nothingThere;
}

bool isRunning(ProcessID process) {
    return process > 0 && (kill(process, 0) == 0 || errno == EPERM);
}

BusCall extentsCall(const BusReference& object) {
    return {object, component, "GetExtents",
            [](sd_bus_message* message) { return sd_bus_message_append(message, "u", screenCoordinates); }};
}

BusCall stateCall(const BusReference& object) {
    return {object, accessible, "GetState", {}, true};
}

// The first element with the focus below an object, however deep.
BusCall focusCall(const BusReference& object) {
    return {object, "org.a11y.atspi.Collection", "GetMatches", [](sd_bus_message* message) {
                static constexpr std::int32_t all = 1, canonicalOrder = 1, count = 1, isDeep = 1;
                const auto focused = std::int32_t{1} << AtSpiState::focused;
                return sd_bus_message_append(message, "(aiia{ss}iaiiasib)uib", 2, focused, 0, all, 0, all, 0,
                                             all, 0, all, 0, canonicalOrder, count, isDeep);
            }};
}

// Everything below an object that has one of the roles, or everything; each before what is below it.
BusCall roleCall(const BusReference& object, const std::vector<std::uint32_t>& roles, std::int32_t most) {
    std::array<std::uint32_t, 8> words{};
    for (const auto role : roles) words.at(role / 32) |= std::uint32_t{1} << role % 32;
    return {object, "org.a11y.atspi.Collection", "GetMatches", [words, most](sd_bus_message* message) {
                static constexpr std::int32_t all = 1, any = 2, canonicalOrder = 1, isDeep = 1;
                auto result = sd_bus_message_open_container(message, 'r', "aiia{ss}iaiiasib");
                if (result >= 0) result = sd_bus_message_append(message, "aiia{ss}i", 2, 0, 0, all, 0, all);
                if (result >= 0)
                    result = sd_bus_message_append_array(message, 'i', words.data(), sizeof words);
                if (result >= 0) result = sd_bus_message_append(message, "iasib", any, 0, all, 0);
                if (result >= 0) result = sd_bus_message_close_container(message);
                return result < 0 ? result
                                  : sd_bus_message_append(message, "uib", canonicalOrder, most, isDeep);
            }};
}

// Whether a value is known of such an object, or can be asked for.
bool isValueTold(const AtSpiFacts& facts) {
    const auto role = axRole(facts);
    return isText(facts) || isEditor(facts) || role == "AXCheckBox" || role == "AXRadioButton";
}

} // namespace

AtSpiAccessibility::AtSpiAccessibility(AccessibilityBus& bus, AtSpiSurroundings surroundings)
    : bus(bus),
      surroundings(std::move(surroundings)),
      focus(bus, {[this](const BusReference& element) { return windowOf(element); },
                  [this](const BusReference& application) { return searchFocus(application); }}),
      fetches([this](std::span<const AtSpiReadAhead::Wanted> wanted) { return readTogether(wanted); }) {}

// Timeouts

void AtSpiAccessibility::setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) {
    const auto* known = elementOf(element);
    if (!known) return;
    const auto key = keyOf(*known);
    const std::lock_guard lock(mutex);
    olderTimeouts.erase(key);
    if (timeout <= 0ms) {
        timeouts.erase(key);
        return;
    }
    if (timeouts.size() >= mostTimeouts) {
        // Whose timeout is forgotten gets one that is no longer.
        for (const auto& [object, forgotten] : olderTimeouts)
            otherTimeout = std::min(otherTimeout, forgotten);
        olderTimeouts = std::exchange(timeouts, {});
    }
    timeouts.insert_or_assign(key, timeout);
}

BusDeadline AtSpiAccessibility::deadlineOf(const AXElement& element) {
    const auto* known = elementOf(element);
    const std::lock_guard lock(mutex);
    if (!known) return in(otherTimeout);
    const auto key = keyOf(*known);
    for (const auto* from : {&timeouts, &olderTimeouts})
        if (const auto found = from->find(key); found != from->end()) return in(found->second);
    return in(otherTimeout);
}

// Elements

bool AtSpiAccessibility::isTrusted() {
    return bus.askWhetherOn(in(trustTimeout)) == AXStatus::success;
}

AXElement AtSpiAccessibility::application(ProcessID process) {
    const auto found = bus.application(process, in(lookupTimeout));
    if (found.status == AXStatus::success) return handleOf(found.root);
    return AXElement(std::make_shared<AtSpiElement>(process));
}

AtSpiAccessibility::Target AtSpiAccessibility::target(const AXElement& element) {
    Target target{AXStatus::success, {}, deadlineOf(element)};
    target.status = bus.isOn(target.deadline);
    if (target.status != AXStatus::success) return target;
    const auto* known = elementOf(element);
    if (!known) {
        target.status = AXStatus::invalidElement;
    } else if (known->process == 0) {
        target.object = known->object;
    } else {
        auto found = bus.application(known->process, target.deadline); // It may be there by now.
        target.status = found.status;
        target.object = std::move(found.root);
    }
    return target;
}

Task<AtSpiAccessibility::Known> AtSpiAccessibility::know(Reading in, unsigned needs) {
    const auto& object = in.object;
    // Who reads ahead has met the element among another's children just now; one that is gone has no role.
    const bool asksState = !in.isAhead || (needs & needsRole) == 0 || (needs & needsStates) != 0;
    std::vector<BusCall> calls;
    if (asksState) calls.push_back(stateCall(object));
    if (needs & needsRole) calls.push_back({object, accessible, "GetRole", {}, true});
    if (needs & needsAttributes) calls.push_back({object, accessible, "GetAttributes", {}, true});
    if (needs & needsName) calls.push_back(propertyCall(object, accessible, "Name", true));
    if (needs & needsDescription) calls.push_back(propertyCall(object, accessible, "Description", true));
    AtSpiQuestion asked(*in.rounds, std::move(calls));
    const auto replies = co_await asked;

    Known known;
    for (const auto& reply : replies)
        if (reply.status() != AXStatus::success) co_return Known{reply.status(), {}};
    std::size_t next = 0;
    bool isWhole = true;
    const auto take = [&](auto& field, auto value) {
        isWhole = isWhole && value.has_value();
        if (value) field = *std::move(value);
    };
    if (asksState) take(known.facts.states, replies[next++].bits());
    if (needs & needsRole) take(known.facts.role, replies[next++].number());
    if (needs & needsAttributes) take(known.facts.attributes, replies[next++].dictionary(mostAttributes));
    if (needs & needsName) take(known.facts.name, replies[next++].stringProperty());
    if (needs & needsDescription) take(known.facts.description, replies[next++].stringProperty());
    if (!isWhole) co_return Known{AXStatus::failure, {}};
    const bool isInvalid = (needs & needsRole) != 0 && known.facts.role == AtSpiRole::invalid;
    if (isGone(known.facts) || isInvalid) known.status = AXStatus::invalidElement;
    co_return known;
}

AtSpiAccessibility::Known AtSpiAccessibility::know(const Target& target, unsigned needs) {
    if (target.status != AXStatus::success) return {target.status, {}};
    AtSpiRounds rounds(bus, target.deadline);
    return rounds.run(know({&rounds, target.object, {}}, needs)).value_or(Known{AXStatus::failure, {}});
}

Task<AtSpiAccessibility::Objects> AtSpiAccessibility::children(Reading in) {
    std::vector<BusCall> calls{{in.object, accessible, "GetChildren", {}, true}};
    if (!in.isAhead) calls.push_back(stateCall(in.object));
    AtSpiQuestion asked(*in.rounds, std::move(calls));
    const auto replies = co_await asked;
    for (const auto& reply : replies)
        if (reply.status() != AXStatus::success) co_return Objects{reply.status(), {}};
    auto found = replies[0].references(mostChildren);
    const auto states = in.isAhead ? std::optional<std::uint64_t>(0) : replies[1].bits();
    if (!states || !found) co_return Objects{AXStatus::failure, {}};
    if (isGone({.states = *states})) co_return Objects{AXStatus::invalidElement, {}};
    std::erase_if(*found, [](const auto& child) { return !isThere(child); });
    for (auto& child : *found)
        if (child.name.empty()) child.name = in.object.name;
    co_return Objects{AXStatus::success, *std::move(found)};
}

// Nothing above an application.
Task<AtSpiAccessibility::Parent> AtSpiAccessibility::parent(Reading in) {
    AtSpiQuestion asked(*in.rounds,
                        {stateCall(in.object), BusCall{in.object, accessible, "GetRole", {}, true},
                         propertyCall(in.object, accessible, "Parent", true)});
    const auto replies = co_await asked;
    for (const auto& reply : replies)
        if (reply.status() != AXStatus::success) co_return Parent{reply.status(), {}, {}};
    const auto states = replies[0].bits();
    const auto role = replies[1].number();
    auto found = replies[2].referenceProperty();
    if (!states || !role || !found) co_return Parent{AXStatus::failure, {}, {}};
    const AtSpiFacts facts{.role = *role, .states = *states};
    if (isGone(facts) || *role == AtSpiRole::invalid) co_return Parent{AXStatus::invalidElement, {}, {}};
    if (*role == AtSpiRole::application || !isThere(*found)) co_return Parent{AXStatus::noValue, {}, facts};
    if (found->name.empty()) found->name = in.object.name;
    co_return Parent{AXStatus::success, *std::move(found), facts};
}

// Attributes

AtSpiAccessibility::Reader AtSpiAccessibility::readerOf(std::string_view name) {
    struct Entry {
        std::string_view name;
        Reader read;
    };
    using Self = AtSpiAccessibility;
    static constexpr std::array entries{
        Entry{"AXRole", &Self::readRole},
        Entry{"AXSubrole", &Self::readRole},
        Entry{"AXTitle", &Self::readLabel},
        Entry{"AXDescription", &Self::readLabel},
        Entry{"AXHelp", &Self::readLabel},
        Entry{"AXDOMClassList", &Self::readClasses},
        Entry{"AXEnabled", &Self::readState},
        Entry{"AXFocused", &Self::readState},
        Entry{"AXIsEditable", &Self::readState},
        Entry{"AXValue", &Self::readValue},
        Entry{"AXPlaceholderValue", &Self::readValue},
        Entry{"AXSelectedTextRange", &Self::readRange},
        Entry{"AXURL", &Self::readURL},
        Entry{"AXChildren", &Self::readChildren},
        Entry{"AXWindows", &Self::readChildren},
        Entry{"AXParent", &Self::readParent},
        Entry{"AXWindow", &Self::readWindow},
        Entry{"AXPosition", &Self::readExtents},
        Entry{"AXSize", &Self::readExtents},
        Entry{"AXFocusedWindow", &Self::readFocusedWindow},
        Entry{"AXFocusedUIElement", &Self::readFocusedElement},
    };
    const auto* found =
        std::find_if(entries.begin(), entries.end(), [&](const Entry& each) { return each.name == name; });
    return found == entries.end() ? &Self::readUnknown : found->read;
}

AXReading AtSpiAccessibility::attribute(const AXElement& element, std::string_view name) {
    const std::array requests{AXRequest{element, name}};
    return std::move(attributes(requests).front());
}

// Together they have no more time than the least that one of them has.
std::vector<AXReading> AtSpiAccessibility::attributes(std::span<const AXRequest> requests) {
    std::vector<AXReading> readings(requests.size());
    std::vector<std::size_t> places;
    std::vector<Target> targets;
    auto deadline = BusDeadline::max();
    for (std::size_t i = 0; i < requests.size(); ++i) {
        auto about = target(requests[i].element);
        readings[i].status = about.status;
        if (about.status != AXStatus::success) continue;
        if (auto fetched = fetches.take(about.object, requests[i].name, about.deadline)) {
            readings[i] = *std::move(fetched);
            continue;
        }
        deadline = std::min(deadline, about.deadline);
        places.push_back(i);
        targets.push_back(std::move(about));
    }
    AtSpiRounds rounds(bus, deadline);
    std::vector<Task<AXReading>> work;
    work.reserve(places.size());
    for (std::size_t i = 0; i < places.size(); ++i)
        work.push_back(read({&rounds, targets[i].object, requests[places[i]].name}));
    auto results = rounds.run(std::move(work));
    for (std::size_t i = 0; i < places.size(); ++i)
        readings[places[i]] = std::move(results[i]).value_or(AXReading{AXStatus::failure, {}});
    return readings;
}

Task<AXReading> AtSpiAccessibility::read(Reading in) {
    return (this->*readerOf(in.name))(in);
}

Task<AXReading> AtSpiAccessibility::readRole(Reading in) {
    // Of most roles nothing more is asked when whole trees are read.
    auto work = know(in, in.isAhead ? needsRole : needsRole | needsAttributes);
    auto known = co_await work;
    if (known.status == AXStatus::success && in.isAhead && needsFacts(known.facts.role)) {
        auto rest = know(in, needsRole | needsAttributes | needsStates);
        known = co_await rest;
    }
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    if (in.name == "AXRole") co_return AXReading{AXStatus::success, std::string(axRole(known.facts))};
    const auto subrole = axSubrole(known.facts);
    if (!subrole) co_return AXReading{AXStatus::noValue, {}};
    co_return AXReading{AXStatus::success, std::string(*subrole)};
}

Task<AXReading> AtSpiAccessibility::readLabel(Reading in) {
    auto work = know(in, in.name == "AXHelp" ? needsDescription : needsRole | needsAttributes | needsName);
    const auto known = co_await work;
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    auto label = axLabel(known.facts, in.name);
    if (!label) co_return AXReading{AXStatus::noValue, {}};
    co_return AXReading{AXStatus::success, *std::move(label)};
}

Task<AXReading> AtSpiAccessibility::readClasses(Reading in) {
    auto work = know(in, needsAttributes);
    const auto known = co_await work;
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    auto classes = axClasses(known.facts);
    if (!classes) co_return AXReading{AXStatus::attributeUnsupported, {}};
    co_return AXReading{AXStatus::success, *std::move(classes)};
}

Task<AXReading> AtSpiAccessibility::readState(Reading in) {
    auto work = know(in, 0);
    const auto known = co_await work;
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    if (in.name == "AXIsEditable") co_return AXReading{AXStatus::success, isEditable(known.facts)};
    co_return AXReading{AXStatus::success,
                        known.facts.has(in.name == "AXEnabled" ? AtSpiState::enabled : AtSpiState::focused)};
}

Task<AXReading> AtSpiAccessibility::readValue(Reading in) {
    if (isKnownEditor(in.object)) {
        auto work = readText(in);
        auto reading = co_await work;
        if (reading.status == AXStatus::cannotComplete || isEditor(reading.facts))
            co_return valueOf(std::move(reading), in.name);
    }
    auto work = know(in, in.isAhead ? needsRole : needsRole | needsName);
    auto known = co_await work;
    if (in.isAhead && known.status == AXStatus::success && isValueTold(known.facts)) {
        auto rest = know(in, needsRole | needsName | needsStates);
        known = co_await rest;
    }
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    if (isEditor(known.facts)) {
        auto text = readText(in);
        auto reading = co_await text;
        co_return valueOf(std::move(reading), in.name);
    }
    if (in.name != "AXValue") co_return AXReading{AXStatus::attributeUnsupported, {}};
    if (isText(known.facts)) co_return AXReading{AXStatus::success, known.facts.name};
    const auto role = axRole(known.facts);
    if (role == "AXCheckBox" || role == "AXRadioButton")
        co_return AXReading{AXStatus::success, known.facts.has(AtSpiState::checked) ? 1.0 : 0.0};
    co_return AXReading{AXStatus::attributeUnsupported, {}};
}

// An editor is asked for its text at once the next time.
Task<AtSpiTextReading> AtSpiAccessibility::readText(Reading in) {
    auto work = readEditor(*in.rounds, in.object, in.name == "AXSelectedTextRange");
    auto reading = co_await work;
    const std::lock_guard lock(mutex);
    if (!isEditor(reading.facts))
        editors.erase(in.object);
    else if (editors.size() < mostEditors || editors.contains(in.object))
        editors.insert(in.object);
    else
        editors = {in.object};
    co_return reading;
}

bool AtSpiAccessibility::isKnownEditor(const BusReference& object) {
    const std::lock_guard lock(mutex);
    return editors.contains(object);
}

AXReading AtSpiAccessibility::valueOf(AtSpiTextReading reading, std::string_view name) {
    if (reading.status != AXStatus::success) return {reading.status, {}};
    auto value = plainText(reading.editor);
    if (name == "AXValue") return {AXStatus::success, std::move(value)};
    auto whole = plainText(reading.editor, true);
    if (whole == value) return {AXStatus::noValue, {}};
    return {AXStatus::success, std::move(whole)};
}

Task<AXReading> AtSpiAccessibility::readRange(Reading in) {
    AtSpiTextReading reading;
    if (isKnownEditor(in.object)) {
        auto work = readText(in);
        reading = co_await work;
    }
    if (!isEditor(reading.facts) && reading.status != AXStatus::cannotComplete) {
        auto work = know(in, needsRole);
        const auto known = co_await work;
        if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
        if (!isEditor(known.facts)) co_return AXReading{AXStatus::attributeUnsupported, {}};
        auto text = readText(in);
        reading = co_await text;
    }
    if (reading.status != AXStatus::success) co_return AXReading{reading.status, {}};
    const auto range = selectedRange(reading.editor);
    if (!range) co_return AXReading{AXStatus::noValue, {}};
    co_return AXReading{AXStatus::success, AXRange{range->location, range->length}};
}

Task<AXReading> AtSpiAccessibility::readURL(Reading in) {
    auto work = know(in, needsRole);
    const auto known = co_await work;
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    if (!isDocument(known.facts)) co_return AXReading{AXStatus::attributeUnsupported, {}};
    const auto call = [&](const char* key) {
        return BusCall{in.object, "org.a11y.atspi.Document", "GetAttributeValue",
                       [key](sd_bus_message* message) { return sd_bus_message_append(message, "s", key); }};
    };
    AtSpiQuestion asked(*in.rounds, {call("URI"), call("DocURL")});
    const auto replies = co_await asked;
    for (const auto& reply : replies) {
        if (reply.status() != AXStatus::success) co_return AXReading{reply.status(), {}};
        auto url = reply.string();
        if (!url) co_return AXReading{AXStatus::failure, {}};
        if (!url->empty()) co_return AXReading{AXStatus::success, AXURL{*std::move(url)}};
    }
    co_return AXReading{AXStatus::noValue, {}};
}

Task<AXReading> AtSpiAccessibility::readChildren(Reading in) {
    auto work = children(in);
    const auto found = co_await work;
    if (found.status != AXStatus::success) co_return AXReading{found.status, {}};
    AXElements elements;
    elements.reserve(found.objects.size());
    for (const auto& child : found.objects) elements.push_back(handleOf(child));
    co_return AXReading{AXStatus::success, std::move(elements)};
}

Task<AXReading> AtSpiAccessibility::readParent(Reading in) {
    auto work = parent(in);
    const auto above = co_await work;
    if (above.status != AXStatus::success) co_return AXReading{above.status, {}};
    co_return AXReading{AXStatus::success, handleOf(above.object)};
}

Task<AXReading> AtSpiAccessibility::readWindow(Reading in) {
    for (int i = 0; i < mostAncestors; ++i) {
        auto work = parent(in);
        auto above = co_await work;
        const bool isKnown = above.status == AXStatus::success || above.status == AXStatus::noValue;
        if (isKnown && axRole(above.facts) == "AXWindow")
            co_return AXReading{AXStatus::success, handleOf(in.object)};
        if (above.status != AXStatus::success) co_return AXReading{above.status, {}};
        in.object = std::move(above.object);
    }
    co_return AXReading{AXStatus::failure, {}};
}

Task<AXReading> AtSpiAccessibility::readExtents(Reading in) {
    AtSpiQuestion asked(*in.rounds, {stateCall(in.object), extentsCall(in.object)});
    const auto replies = co_await asked;
    for (const auto& reply : replies)
        if (reply.status() != AXStatus::success) co_return AXReading{reply.status(), {}};
    const auto states = replies[0].bits();
    const auto extents = replies[1].rectangle();
    if (!states || !extents) co_return AXReading{AXStatus::failure, {}};
    if (isGone({.states = *states})) co_return AXReading{AXStatus::invalidElement, {}};
    if (in.name == "AXPosition")
        co_return AXReading{AXStatus::success, AXPoint{double(extents->x), double(extents->y)}};
    co_return AXReading{AXStatus::success, AXSize{double(extents->width), double(extents->height)}};
}

// Only the editor that has the focus can have marked text.
Task<AXReading> AtSpiAccessibility::readUnknown(Reading in) {
    auto work = know(in, 0);
    const auto known = co_await work;
    if (known.status != AXStatus::success) co_return AXReading{known.status, {}};
    auto* compositions = surroundings.compositions;
    if (in.name != "AXTextInputMarkedTextMarkerRange" || !compositions ||
        !known.facts.has(AtSpiState::focused))
        co_return AXReading{AXStatus::attributeUnsupported, {}};
    const auto composition = compositions->current(in.rounds->deadline());
    switch (composition.state) {
    case PendingComposition::State::none: co_return AXReading{AXStatus::noValue, {}};
    case PendingComposition::State::pending:
        co_return AXReading{AXStatus::success, AXOpaque{std::make_shared<MarkedText>(composition.version)}};
    case PendingComposition::State::unknown: break;
    }
    co_return AXReading{AXStatus::attributeUnsupported, {}};
}

// Focus

Task<AtSpiAccessibility::Windows> AtSpiAccessibility::windows(Reading application,
                                                              std::optional<BusReference> focused) {
    auto work = children(application);
    auto found = co_await work;
    if (found.status != AXStatus::success) co_return Windows{found.status, {}, false};
    if (found.objects.size() > mostWindows) co_return Windows{AXStatus::failure, {}, false};
    std::vector<BusCall> calls;
    calls.reserve(found.objects.size() + 1);
    for (const auto& window : found.objects) calls.push_back(stateCall(window));
    if (focused) calls.push_back(stateCall(*focused));
    AtSpiQuestion asked(*application.rounds, std::move(calls));
    const auto replies = co_await asked;
    Windows result;
    for (std::size_t i = 0; i < found.objects.size(); ++i) {
        const auto status = replies[i].status();
        if (status == AXStatus::invalidElement) continue; // Closed meanwhile.
        const auto states = replies[i].bits();
        if (!states) co_return Windows{status == AXStatus::success ? AXStatus::failure : status, {}, false};
        const AtSpiFacts facts{.states = *states};
        if (!isGone(facts)) result.windows.push_back({std::move(found.objects[i]), facts});
    }
    if (focused) {
        const AtSpiFacts facts{.states = replies[found.objects.size()].bits().value_or(0)};
        result.isFocused = facts.has(AtSpiState::focused) && !isGone(facts);
    }
    // The active window first.
    std::stable_partition(result.windows.begin(), result.windows.end(),
                          [](const Window& each) { return each.facts.has(AtSpiState::active); });
    co_return result;
}

Task<AXReading> AtSpiAccessibility::readFocusedWindow(Reading in) {
    auto work = windows(in, std::nullopt);
    const auto found = co_await work;
    if (found.status != AXStatus::success) co_return AXReading{found.status, {}};
    if (found.windows.empty() || !found.windows.front().facts.has(AtSpiState::active))
        co_return AXReading{AXStatus::noValue, {}};
    co_return AXReading{AXStatus::success, handleOf(found.windows.front().object)};
}

// A search takes long in a large page, so what the program told last is looked at first.
Task<AXReading> AtSpiAccessibility::readFocusedElement(Reading in) {
    focus.watch(in.object);
    const auto last = focus.last(in.object.name);
    auto work = windows(in, last ? std::optional(last->element) : std::nullopt);
    auto found = co_await work;
    if (found.status != AXStatus::success) co_return AXReading{found.status, {}};
    found.windows = candidates(std::move(found.windows));
    if (found.windows.empty()) co_return AXReading{AXStatus::noValue, {}};
    const auto isOfLast = [&](const Window& window) { return last && window.object == last->window; };
    if (found.isFocused && std::any_of(found.windows.begin(), found.windows.end(), isOfLast))
        co_return AXReading{AXStatus::success, handleOf(last->element)};
    auto searched = searchFocus(in, std::move(found.windows));
    const auto [status, place] = co_await searched;
    if (place) focus.found(*place);
    if (status == AXStatus::cannotComplete) focus.search(in.object);
    if (status != AXStatus::success) co_return AXReading{status, {}};
    co_return AXReading{AXStatus::success, handleOf(place->element)};
}

// The application's other windows count only while none is active.
std::vector<AtSpiAccessibility::Window> AtSpiAccessibility::candidates(std::vector<Window> windows) {
    if (!windows.empty() && windows.front().facts.has(AtSpiState::active)) windows.resize(1);
    return windows;
}

Task<AtSpiAccessibility::Focused> AtSpiAccessibility::searchFocus(Reading in, std::vector<Window> windows) {
    std::vector<BusCall> calls;
    calls.reserve(windows.size());
    for (const auto& window : windows) calls.push_back(focusCall(window.object));
    AtSpiQuestion asked(*in.rounds, std::move(calls));
    const auto replies = co_await asked;
    for (std::size_t i = 0; i < replies.size(); ++i) {
        if (replies[i].status() != AXStatus::success) co_return Focused{replies[i].status(), {}};
        auto matches = replies[i].references(mostChildren);
        if (!matches) co_return Focused{AXStatus::failure, {}};
        if (matches->empty() || !isThere(matches->front())) continue;
        auto& element = matches->front();
        if (element.name.empty()) element.name = in.object.name;
        co_return Focused{AXStatus::success, AtSpiFocus::Place{windows[i].object, element}};
    }
    co_return Focused{AXStatus::noValue, {}};
}

// On the thread that keeps the focus.
std::optional<AtSpiFocus::Place> AtSpiAccessibility::windowOf(const BusReference& element) {
    AtSpiRounds rounds(bus, in(searchTimeout));
    const auto window = rounds.run(readWindow({&rounds, element, "AXWindow"}));
    const auto* found = window ? window->as<AXElement>() : nullptr;
    const auto* known = found ? elementOf(*found) : nullptr;
    return known ? std::optional(AtSpiFocus::Place{known->object, element}) : std::nullopt;
}

std::optional<AtSpiFocus::Place> AtSpiAccessibility::searchFocus(const BusReference& application) {
    AtSpiRounds rounds(bus, in(searchTimeout));
    const Reading reading{&rounds, application, "AXFocusedUIElement"};
    auto found = rounds.run(windows(reading, std::nullopt));
    if (!found || found->status != AXStatus::success || found->windows.empty()) return std::nullopt;
    const auto focused = rounds.run(searchFocus(reading, candidates(std::move(found->windows))));
    return focused ? focused->place : std::nullopt;
}

// Hints

std::unique_ptr<AXReadAhead> AtSpiAccessibility::readAhead(const AXElement& root,
                                                           std::span<const std::string_view> names,
                                                           std::size_t limit) {
    const auto* known = elementOf(root);
    if (!known || known->process != 0 || limit == 0) return nullptr;
    return fetches.begin(known->object, names, limit);
}

// On the thread that reads ahead.
std::vector<AXReading> AtSpiAccessibility::readTogether(std::span<const AtSpiReadAhead::Wanted> wanted) {
    AtSpiRounds rounds(bus, in(searchTimeout));
    std::vector<Task<AXReading>> work;
    work.reserve(wanted.size());
    for (const auto& [object, name] : wanted) work.push_back(read({&rounds, object, name, true}));
    auto results = rounds.run(std::move(work));
    std::vector<AXReading> readings;
    readings.reserve(results.size());
    for (auto& result : results)
        readings.push_back(std::move(result).value_or(AXReading{AXStatus::failure, {}}));
    return readings;
}

Task<std::optional<AXElements>> AtSpiAccessibility::search(AXElement root, std::vector<std::string> roles,
                                                           std::size_t limit) {
    const auto* known = elementOf(root);
    if (!surroundings.loop || !known || known->process != 0) co_return std::nullopt;
    const auto work = [this, object = known->object, roles, limit] { return find(object, roles, limit); };
    const auto found = co_await surroundings.loop->background(work);
    if (!found) co_return std::nullopt;
    AXElements elements;
    for (const auto& object : *found) elements.push_back(handleOf(object));
    co_return elements;
}

// Asks for everything below the root as well, in the order of a walk that goes down first: it tells how many
// elements there are, and in which order those of one depth stand.
std::optional<std::vector<BusReference>>
AtSpiAccessibility::find(const BusReference& root, const std::vector<std::string>& roles, std::size_t limit) {
    const auto deadline = in(searchTimeout);
    std::vector<std::uint32_t> numbers;
    for (const auto& role : roles) {
        const auto some = atSpiRoles(role);
        if (some.empty()) return std::nullopt; // Of no number in particular.
        numbers.insert(numbers.end(), some.begin(), some.end());
    }
    if (limit == 0 || limit > mostMatches || bus.isOn(deadline) != AXStatus::success) return std::nullopt;
    const auto most = static_cast<std::int32_t>(limit);
    std::vector<BusReference> all, found{root};
    {
        const std::array calls{
            propertyCall({root.name, std::string(rootPath)}, "org.a11y.atspi.Application", "ToolkitName"),
            roleCall(root, {}, most), roleCall(root, numbers, most)};
        const auto replies = bus.exchange(calls, deadline);
        const auto toolkit = replies[0].stringProperty();
        auto everything = replies[1].references(limit), matches = replies[2].references(limit);
        const bool isComplete = toolkit && std::find(completeToolkits.begin(), completeToolkits.end(),
                                                     *toolkit) != completeToolkits.end();
        if (!isComplete || !everything || !matches || everything->size() >= limit ||
            matches->size() > mostFound)
            return std::nullopt;
        all = *std::move(everything);
        found.insert(found.end(), matches->begin(), matches->end());
    }
    std::map<BusReference, std::size_t> places{{root, 0}};
    for (std::size_t i = 0; i < all.size(); ++i)
        if (!isThere(all[i]) || !places.emplace(all[i], i + 1).second) return std::nullopt;

    AtSpiRounds rounds(bus, deadline);
    std::vector<Task<AXReading>> roleReads;
    std::vector<Task<std::optional<std::size_t>>> depthReads;
    for (const auto& object : found) {
        if (!places.contains(object)) return std::nullopt;
        roleReads.push_back(readRole({&rounds, object, "AXRole"}));
        depthReads.push_back(depth({&rounds, object, {}}, root));
    }
    const auto read = rounds.run(std::move(roleReads));
    struct Match {
        std::size_t depth, place;
        BusReference object;
    };
    std::vector<Match> matches;
    // One match needs no order.
    const auto depths = found.size() > 2 ? rounds.run(std::move(depthReads))
                                         : std::vector<std::optional<std::optional<std::size_t>>>(
                                               found.size(), std::optional<std::size_t>(1));
    for (std::size_t i = 0; i < found.size(); ++i) {
        const auto* role = read[i] ? read[i]->as<std::string>() : nullptr;
        const auto depth = i == 0 ? std::optional<std::size_t>(0) : depths[i].value_or(std::nullopt);
        if (!role || !depth) return std::nullopt;
        if (std::find(roles.begin(), roles.end(), *role) != roles.end())
            matches.push_back({*depth, places.at(found[i]), found[i]});
    }
    std::sort(matches.begin(), matches.end(), [](const Match& one, const Match& two) {
        return std::pair(one.depth, one.place) < std::pair(two.depth, two.place);
    });
    std::vector<BusReference> objects;
    for (auto& match : matches) objects.push_back(std::move(match.object));
    return objects;
}

// How far an object is below another; nothing if it isn't.
Task<std::optional<std::size_t>> AtSpiAccessibility::depth(Reading in, BusReference root) {
    for (std::size_t depth = 0; depth < mostDepth; ++depth) {
        if (in.object == root) co_return depth;
        auto work = parent(in);
        auto above = co_await work;
        if (above.status != AXStatus::success) co_return std::nullopt;
        in.object = std::move(above.object);
    }
    co_return std::nullopt;
}

// Writes

AXSettable AtSpiAccessibility::isSettable(const AXElement& element, std::string_view name) {
    const auto known = know(target(element), 0);
    if (known.status != AXStatus::success) return {known.status, false};
    if (name == "AXValue") return {AXStatus::success, isEditable(known.facts)};
    return {AXStatus::success, name == "AXFocused" && known.facts.has(AtSpiState::focusable)};
}

AXStatus AtSpiAccessibility::setAttribute(const AXElement& element, std::string_view name,
                                          const AXValue& value) {
    if (name == "AXManualAccessibility") return wake(element);
    const auto about = target(element);
    if (about.status != AXStatus::success) return about.status;
    if (name == "AXFocused" && value == AXValue(true)) return takeFocus(about);
    const auto* written = std::get_if<std::string>(&value);
    if (name != "AXValue" || !written || !surroundings.keys) {
        const auto known = know(about, 0);
        return known.status == AXStatus::success ? AXStatus::attributeUnsupported : known.status;
    }
    return write(about, *written);
}

// Browsers make the objects of their pages when somebody first asks for an object's attributes. A program
// that is not on the bus did not join when it started, and never does later.
AXStatus AtSpiAccessibility::wake(const AXElement& element) {
    const auto* known = elementOf(element);
    const auto about = target(element);
    const bool isAbsent = about.status == AXStatus::invalidElement && known && known->process != 0;
    if (isAbsent && isAbsentForLong(known->process)) return AXStatus::needsRestart;
    return know(about, needsAttributes).status;
}

// Whether a program that shows windows has had the time to join.
bool AtSpiAccessibility::isAbsentForLong(ProcessID process) {
    const bool isShown = isRunning(process) && surroundings.hasWindows && surroundings.hasWindows(process);
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex);
    if (!isShown || absences.size() >= mostAbsences) absences.erase(process);
    if (!isShown) return false;
    return now - absences.try_emplace(process, now).first->second >= surroundings.joinLimit;
}

AXStatus AtSpiAccessibility::takeFocus(const Target& target) {
    const std::array calls{BusCall{target.object, component, "GrabFocus"}};
    const auto replies = bus.exchange(calls, target.deadline);
    if (replies[0].status() != AXStatus::success) return replies[0].status();
    return replies[0].boolean() == true ? AXStatus::success : AXStatus::failure;
}

// Keys go wherever the focus is, so the editor must have it, in the window that is active.
AXStatus AtSpiAccessibility::proveFocus(const Target& target, const BusReference& window) {
    const std::array calls{stateCall(target.object), stateCall(window)};
    const auto replies = bus.exchange(calls, target.deadline);
    for (std::size_t i = 0; i < replies.size(); ++i)
        if (replies[i].status() != AXStatus::success) return replies[i].status();
    const AtSpiFacts editor{.states = replies[0].bits().value_or(0)};
    const AtSpiFacts around{.states = replies[1].bits().value_or(0)};
    if (isGone(editor)) return AXStatus::invalidElement;
    const bool isThere = editor.has(AtSpiState::focused) && isEditable(editor) &&
                         around.has(AtSpiState::active) && !isGone(around);
    return isThere ? AXStatus::success : AXStatus::failure;
}

std::optional<std::string> AtSpiAccessibility::textOf(const Target& target) {
    AtSpiRounds rounds(bus, target.deadline);
    const auto reading = rounds.run(readText({&rounds, target.object, "AXValue"}));
    if (!reading || reading->status != AXStatus::success) return std::nullopt;
    return plainText(reading->editor);
}

// A single look may show what has been replaced already.
bool AtSpiAccessibility::showsTwice(const Target& target, const std::string& text) {
    if (textOf(target) != text) return false;
    std::this_thread::sleep_for(readBackPause);
    return textOf(target) == text;
}

AXStatus AtSpiAccessibility::write(const Target& target, const std::string& written) {
    const auto known = know(target, needsRole);
    if (known.status != AXStatus::success) return known.status;
    if (!isEditor(known.facts) || !isEditable(known.facts)) return AXStatus::attributeUnsupported;
    const auto process = bus.process(target.object.name, target.deadline);
    if (!process) return AXStatus::cannotComplete;
    auto place = focus.last(target.object.name);
    if (!place || place->element != target.object) place = windowOf(target.object);
    if (!place) return AXStatus::cannotComplete;
    // Where the text stands already, nobody could tell whether the key was taken before the clipboard is
    // given back.
    if (!written.empty() && textOf(target) == written)
        return showsTwice(target, written) ? AXStatus::success : AXStatus::failure;

    if (!known.facts.has(AtSpiState::focused))
        if (const auto status = takeFocus(target); status != AXStatus::success) return status;
    auto proof = proveFocus(target, place->window);
    while (proof == AXStatus::failure && std::chrono::steady_clock::now() + readBackPause < target.deadline) {
        std::this_thread::sleep_for(readBackPause);
        const auto again = proveFocus(target, place->window);
        if (again == AXStatus::cannotComplete) break; // It is known where the focus was.
        proof = again;
    }
    if (proof != AXStatus::success) return proof;
    const bool isPaste = !written.empty();
    const bool isPressed =
        isPaste ? surroundings.keys->paste(written, *process) : surroundings.keys->erase(*process);
    bool isFound = false;
    while (isPressed && !isFound && std::chrono::steady_clock::now() < target.deadline) {
        isFound = showsTwice(target, written);
        if (!isFound) std::this_thread::sleep_for(readBackPause);
    }
    if (isPaste) surroundings.keys->restoreClipboard();
    if (!isPressed) return AXStatus::failure;
    return isFound ? AXStatus::success : AXStatus::mayHaveHappened;
}

// Actions

AXActionNames AtSpiAccessibility::actionNames(const AXElement& element) {
    const auto about = target(element);
    if (about.status != AXStatus::success) return {about.status, {}};
    const std::array calls{stateCall(about.object), BusCall{about.object, action, "GetActions"}};
    const auto replies = bus.exchange(calls, about.deadline);
    if (replies[0].status() != AXStatus::success) return {replies[0].status(), {}};
    if (isGone({.states = replies[0].bits().value_or(0)})) return {AXStatus::invalidElement, {}};
    if (replies[1].status() == AXStatus::attributeUnsupported) return {AXStatus::success, {}};
    if (replies[1].status() != AXStatus::success) return {replies[1].status(), {}};
    const auto listed = replies[1].actions(mostActions);
    if (!listed) return {AXStatus::failure, {}};
    // The list has the names in words for people, which may be empty; a program knows each by another.
    std::vector<BusCall> nameCalls;
    nameCalls.reserve(listed->size());
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(listed->size()); ++i)
        nameCalls.push_back({about.object, action, "GetName", [i](sd_bus_message* message) {
                                 return sd_bus_message_append(message, "i", i);
                             }});
    if (nameCalls.empty()) return {AXStatus::success, {}};
    const auto named = bus.exchange(nameCalls, about.deadline);
    std::vector<std::string> translated;
    for (std::size_t i = 0; i < named.size(); ++i) {
        if (named[i].status() != AXStatus::success) return {named[i].status(), {}};
        const auto name = named[i].string();
        if (!name) return {AXStatus::failure, {}};
        translated.push_back(axAction(*name));
    }
    return {AXStatus::success, std::move(translated)};
}

AXStatus AtSpiAccessibility::performAction(const AXElement& element, std::string_view name) {
    const auto about = target(element);
    const auto known = actionNames(element);
    if (known.status != AXStatus::success) return known.status;
    const auto found = std::find(known.names.begin(), known.names.end(), name);
    if (found == known.names.end()) return AXStatus::actionUnsupported;
    const auto index = static_cast<std::int32_t>(found - known.names.begin());
    const std::array calls{BusCall{about.object, action, "DoAction", [index](sd_bus_message* message) {
                                       return sd_bus_message_append(message, "i", index);
                                   }}};
    const auto replies = bus.exchange(calls, about.deadline);
    if (replies[0].status() != AXStatus::success) return replies[0].status();
    return replies[0].boolean() == true ? AXStatus::success : AXStatus::failure;
}

// Places

// Nobody tells which window is above which, so the active one comes first, and after it any that is shown.
void AtSpiAccessibility::awaitShown(std::chrono::nanoseconds sinceInput) {
    if (sinceInput < lag) std::this_thread::sleep_for(lag - sinceInput);
}

AXReading AtSpiAccessibility::elementAtPosition(AXPoint point) {
    const auto deadline = in(hitTimeout);
    if (const auto status = bus.isOn(deadline); status != AXStatus::success) return {status, {}};
    constexpr double most = std::numeric_limits<std::int32_t>::max();
    const bool isOnScreen = std::abs(point.x) < most && std::abs(point.y) < most;
    if (!isOnScreen) return {AXStatus::noValue, {}};
    const auto x = static_cast<std::int32_t>(std::floor(point.x)),
               y = static_cast<std::int32_t>(std::floor(point.y));
    const auto roots = bus.applications(deadline);
    if (!roots) return {AXStatus::cannotComplete, {}};
    std::optional<BusReference> hit;
    bool isActive = false;
    for (const auto& root : *roots) {
        AtSpiRounds rounds(bus, std::min(deadline, in(lookupTimeout)));
        const auto found = rounds.run(windows({&rounds, root, {}}, std::nullopt));
        if (!found) continue;
        for (const auto& window : found->windows) {
            const bool active = window.facts.has(AtSpiState::active);
            if (isActive || (hit && !active) || !(active || window.facts.has(AtSpiState::showing))) continue;
            const std::array calls{extentsCall(window.object)};
            const auto extents = bus.exchange(calls, std::min(deadline, in(lookupTimeout)))[0].rectangle();
            if (!extents || x < extents->x || y < extents->y || x - extents->x >= extents->width ||
                y - extents->y >= extents->height)
                continue;
            hit = window.object;
            isActive = active;
        }
    }
    if (!hit) return {AXStatus::noValue, {}};
    // Some programs give the deepest at once, others the next.
    for (int i = 0; i < mostAncestors; ++i) {
        const std::array calls{
            BusCall{*hit, component, "GetAccessibleAtPoint", [x, y](sd_bus_message* message) {
                        return sd_bus_message_append(message, "iiu", x, y, screenCoordinates);
                    }}};
        const auto replies = bus.exchange(calls, deadline);
        if (replies[0].status() == AXStatus::attributeUnsupported) break;
        if (replies[0].status() != AXStatus::success) return {replies[0].status(), {}};
        auto deeper = replies[0].reference();
        if (!deeper) return {AXStatus::failure, {}};
        if (deeper->name.empty()) deeper->name = hit->name;
        if (!isThere(*deeper) || *deeper == *hit) break;
        hit = *std::move(deeper);
    }
    return {AXStatus::success, handleOf(*hit)};
}

std::optional<ProcessID> AtSpiAccessibility::process(const AXElement& element) {
    const auto about = target(element);
    if (know(about, 0).status != AXStatus::success) return std::nullopt;
    return bus.process(about.object.name, about.deadline);
}

} // namespace orvel
