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
constexpr std::uint32_t screenCoordinates = 0;

constexpr std::size_t mostChildren = 10'000, mostWindows = 200, mostAttributes = 200, mostActions = 100;
constexpr int mostAncestors = 64;
constexpr std::size_t mostTimeouts = 32'768;
constexpr std::chrono::milliseconds trustTimeout{100}, hitTimeout{100}, lookupTimeout{15};
constexpr std::chrono::milliseconds readBackPause{5};

enum Needs : unsigned { needsRole = 1, needsAttributes = 2, needsName = 4, needsDescription = 8 };

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

} // namespace

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

AtSpiAccessibility::Known AtSpiAccessibility::know(const Target& target, unsigned needs) {
    if (target.status != AXStatus::success) return {target.status, {}};
    const auto& object = target.object;
    std::vector<BusCall> calls{stateCall(object)};
    if (needs & needsRole) calls.push_back({object, accessible, "GetRole", {}, true});
    if (needs & needsAttributes) calls.push_back({object, accessible, "GetAttributes", {}, true});
    if (needs & needsName) calls.push_back(propertyCall(object, accessible, "Name", true));
    if (needs & needsDescription) calls.push_back(propertyCall(object, accessible, "Description", true));
    const auto replies = bus.exchange(calls, target.deadline);

    Known known;
    for (std::size_t i = 0; i < replies.size(); ++i)
        if (replies[i].status() != AXStatus::success) return {replies[i].status(), {}};
    std::size_t next = 0;
    bool isWhole = true;
    const auto take = [&](auto& field, auto value) {
        isWhole = isWhole && value.has_value();
        if (value) field = *std::move(value);
    };
    take(known.facts.states, replies[next++].bits());
    if (needs & needsRole) take(known.facts.role, replies[next++].number());
    if (needs & needsAttributes) take(known.facts.attributes, replies[next++].dictionary(mostAttributes));
    if (needs & needsName) take(known.facts.name, replies[next++].stringProperty());
    if (needs & needsDescription) take(known.facts.description, replies[next++].stringProperty());
    if (!isWhole) return {AXStatus::failure, {}};
    const bool isInvalid = (needs & needsRole) != 0 && known.facts.role == AtSpiRole::invalid;
    if (isGone(known.facts) || isInvalid) known.status = AXStatus::invalidElement;
    return known;
}

AtSpiAccessibility::Objects AtSpiAccessibility::children(const Target& target) {
    if (target.status != AXStatus::success) return {target.status, {}};
    const std::array calls{stateCall(target.object),
                           BusCall{target.object, accessible, "GetChildren", {}, true}};
    const auto replies = bus.exchange(calls, target.deadline);
    for (std::size_t i = 0; i < replies.size(); ++i)
        if (replies[i].status() != AXStatus::success) return {replies[i].status(), {}};
    const auto states = replies[0].bits();
    auto found = replies[1].references(mostChildren);
    if (!states || !found) return {AXStatus::failure, {}};
    if (isGone({.states = *states})) return {AXStatus::invalidElement, {}};
    std::erase_if(*found, [](const auto& child) { return !isThere(child); });
    for (auto& child : *found)
        if (child.name.empty()) child.name = target.object.name;
    return {AXStatus::success, *std::move(found)};
}

// Nothing above an application.
std::optional<BusReference> AtSpiAccessibility::parent(const Target& target, AXStatus& status) {
    const std::array calls{stateCall(target.object), BusCall{target.object, accessible, "GetRole", {}, true},
                           propertyCall(target.object, accessible, "Parent", true)};
    const auto replies = bus.exchange(calls, target.deadline);
    for (std::size_t i = 0; i < replies.size(); ++i) {
        status = replies[i].status();
        if (status != AXStatus::success) return std::nullopt;
    }
    const auto states = replies[0].bits();
    const auto role = replies[1].number();
    auto found = replies[2].referenceProperty();
    if (!states || !role || !found) {
        status = AXStatus::failure;
        return std::nullopt;
    }
    if (isGone({.states = *states}) || *role == AtSpiRole::invalid) {
        status = AXStatus::invalidElement;
        return std::nullopt;
    }
    if (*role == AtSpiRole::application || !isThere(*found)) {
        status = AXStatus::noValue;
        return std::nullopt;
    }
    if (found->name.empty()) found->name = target.object.name;
    return found;
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
    const auto about = target(element);
    if (about.status != AXStatus::success) return {about.status, {}};
    return (this->*readerOf(name))(about, name);
}

AXReading AtSpiAccessibility::readRole(const Target& target, std::string_view name) {
    const auto known = know(target, needsRole | needsAttributes);
    if (known.status != AXStatus::success) return {known.status, {}};
    if (name == "AXRole") return {AXStatus::success, std::string(axRole(known.facts))};
    const auto subrole = axSubrole(known.facts);
    if (!subrole) return {AXStatus::noValue, {}};
    return {AXStatus::success, std::string(*subrole)};
}

AXReading AtSpiAccessibility::readLabel(const Target& target, std::string_view name) {
    const auto known = name == "AXHelp" ? know(target, needsDescription)
                                        : know(target, needsRole | needsAttributes | needsName);
    if (known.status != AXStatus::success) return {known.status, {}};
    auto label = axLabel(known.facts, name);
    if (!label) return {AXStatus::noValue, {}};
    return {AXStatus::success, *std::move(label)};
}

AXReading AtSpiAccessibility::readClasses(const Target& target, std::string_view /*name*/) {
    const auto known = know(target, needsAttributes);
    if (known.status != AXStatus::success) return {known.status, {}};
    auto classes = axClasses(known.facts);
    if (!classes) return {AXStatus::attributeUnsupported, {}};
    return {AXStatus::success, *std::move(classes)};
}

AXReading AtSpiAccessibility::readState(const Target& target, std::string_view name) {
    const auto known = know(target, 0);
    if (known.status != AXStatus::success) return {known.status, {}};
    if (name == "AXIsEditable") return {AXStatus::success, isEditable(known.facts)};
    return {AXStatus::success,
            known.facts.has(name == "AXEnabled" ? AtSpiState::enabled : AtSpiState::focused)};
}

AXReading AtSpiAccessibility::readValue(const Target& target, std::string_view name) {
    const auto known = know(target, needsRole | needsName);
    if (known.status != AXStatus::success) return {known.status, {}};
    if (isEditor(known.facts)) {
        const auto reading = readEditor(bus, target.object, false, target.deadline);
        if (reading.status != AXStatus::success) return {reading.status, {}};
        auto value = plainText(reading.editor);
        if (name == "AXValue") return {AXStatus::success, std::move(value)};
        auto whole = plainText(reading.editor, true);
        if (whole == value) return {AXStatus::noValue, {}};
        return {AXStatus::success, std::move(whole)};
    }
    if (name != "AXValue") return {AXStatus::attributeUnsupported, {}};
    if (isText(known.facts)) return {AXStatus::success, known.facts.name};
    const auto role = axRole(known.facts);
    if (role == "AXCheckBox" || role == "AXRadioButton")
        return {AXStatus::success, known.facts.has(AtSpiState::checked) ? 1.0 : 0.0};
    return {AXStatus::attributeUnsupported, {}};
}

AXReading AtSpiAccessibility::readRange(const Target& target, std::string_view /*name*/) {
    const auto known = know(target, needsRole);
    if (known.status != AXStatus::success) return {known.status, {}};
    if (!isEditor(known.facts)) return {AXStatus::attributeUnsupported, {}};
    const auto reading = readEditor(bus, target.object, true, target.deadline);
    if (reading.status != AXStatus::success) return {reading.status, {}};
    const auto range = selectedRange(reading.editor);
    if (!range) return {AXStatus::noValue, {}};
    return {AXStatus::success, AXRange{range->location, range->length}};
}

AXReading AtSpiAccessibility::readURL(const Target& target, std::string_view /*name*/) {
    const auto known = know(target, needsRole);
    if (known.status != AXStatus::success) return {known.status, {}};
    if (!isDocument(known.facts)) return {AXStatus::attributeUnsupported, {}};
    const auto call = [&](const char* key) {
        return BusCall{target.object, "org.a11y.atspi.Document", "GetAttributeValue",
                       [key](sd_bus_message* message) { return sd_bus_message_append(message, "s", key); }};
    };
    const std::array calls{call("URI"), call("DocURL")};
    const auto replies = bus.exchange(calls, target.deadline);
    for (std::size_t i = 0; i < replies.size(); ++i) {
        if (replies[i].status() != AXStatus::success) return {replies[i].status(), {}};
        auto url = replies[i].string();
        if (!url) return {AXStatus::failure, {}};
        if (!url->empty()) return {AXStatus::success, AXURL{*std::move(url)}};
    }
    return {AXStatus::noValue, {}};
}

AXReading AtSpiAccessibility::readChildren(const Target& target, std::string_view /*name*/) {
    const auto found = children(target);
    if (found.status != AXStatus::success) return {found.status, {}};
    AXElements elements;
    elements.reserve(found.objects.size());
    for (const auto& child : found.objects) elements.push_back(handleOf(child));
    return {AXStatus::success, std::move(elements)};
}

AXReading AtSpiAccessibility::readParent(const Target& target, std::string_view /*name*/) {
    auto status = AXStatus::success;
    const auto above = parent(target, status);
    if (!above) return {status, {}};
    return {AXStatus::success, handleOf(*above)};
}

AXReading AtSpiAccessibility::readWindow(const Target& target, std::string_view /*name*/) {
    auto at = target;
    for (int i = 0; i < mostAncestors; ++i) {
        const auto known = know(at, needsRole);
        if (known.status != AXStatus::success) return {known.status, {}};
        if (axRole(known.facts) == "AXWindow") return {AXStatus::success, handleOf(at.object)};
        auto status = AXStatus::success;
        auto above = parent(at, status);
        if (!above) return {status, {}};
        at.object = *std::move(above);
    }
    return {AXStatus::failure, {}};
}

AXReading AtSpiAccessibility::readExtents(const Target& target, std::string_view name) {
    const std::array calls{stateCall(target.object), extentsCall(target.object)};
    const auto replies = bus.exchange(calls, target.deadline);
    for (std::size_t i = 0; i < replies.size(); ++i)
        if (replies[i].status() != AXStatus::success) return {replies[i].status(), {}};
    const auto states = replies[0].bits();
    const auto extents = replies[1].rectangle();
    if (!states || !extents) return {AXStatus::failure, {}};
    if (isGone({.states = *states})) return {AXStatus::invalidElement, {}};
    if (name == "AXPosition") return {AXStatus::success, AXPoint{double(extents->x), double(extents->y)}};
    return {AXStatus::success, AXSize{double(extents->width), double(extents->height)}};
}

// Only the editor that has the focus can have marked text.
AXReading AtSpiAccessibility::readUnknown(const Target& target, std::string_view name) {
    const auto known = know(target, 0);
    if (known.status != AXStatus::success) return {known.status, {}};
    if (name != "AXTextInputMarkedTextMarkerRange" || !compositions || !known.facts.has(AtSpiState::focused))
        return {AXStatus::attributeUnsupported, {}};
    const auto composition = compositions->current(target.deadline);
    switch (composition.state) {
    case PendingComposition::State::none: return {AXStatus::noValue, {}};
    case PendingComposition::State::pending:
        return {AXStatus::success, AXOpaque{std::make_shared<MarkedText>(composition.version)}};
    case PendingComposition::State::unknown: break;
    }
    return {AXStatus::attributeUnsupported, {}};
}

// Focus

AtSpiAccessibility::Windows AtSpiAccessibility::windows(const Target& application,
                                                        const std::optional<Focus>& focus) {
    auto found = children(application);
    if (found.status != AXStatus::success) return {found.status, {}, false};
    if (found.objects.size() > mostWindows) return {AXStatus::failure, {}, false};
    std::vector<BusCall> calls;
    calls.reserve(found.objects.size() + 1);
    for (const auto& window : found.objects) calls.push_back(stateCall(window));
    if (focus) calls.push_back(stateCall(focus->element));
    Windows result;
    if (calls.empty()) return result;
    const auto replies = bus.exchange(calls, application.deadline);
    for (std::size_t i = 0; i < found.objects.size(); ++i) {
        if (replies[i].status() == AXStatus::invalidElement) continue; // Closed meanwhile.
        const auto states = replies[i].bits();
        if (!states)
            return {replies[i].status() == AXStatus::success ? AXStatus::failure : replies[i].status(),
                    {},
                    false};
        const AtSpiFacts facts{.states = *states};
        if (!isGone(facts)) result.windows.push_back({std::move(found.objects[i]), facts});
    }
    if (focus) {
        const AtSpiFacts facts{.states = replies[found.objects.size()].bits().value_or(0)};
        result.isFocusKnown = facts.has(AtSpiState::focused) && !isGone(facts);
    }
    // The active window first.
    std::stable_partition(result.windows.begin(), result.windows.end(),
                          [](const Window& each) { return each.facts.has(AtSpiState::active); });
    return result;
}

AXReading AtSpiAccessibility::readFocusedWindow(const Target& target, std::string_view /*name*/) {
    const auto found = windows(target, std::nullopt);
    if (found.status != AXStatus::success) return {found.status, {}};
    if (found.windows.empty() || !found.windows.front().facts.has(AtSpiState::active))
        return {AXStatus::noValue, {}};
    return {AXStatus::success, handleOf(found.windows.front().object)};
}

// A search takes long in a large page, so the last result is looked at first. The application's other windows
// are searched only while none is active.
AXReading AtSpiAccessibility::readFocusedElement(const Target& target, std::string_view /*name*/) {
    std::optional<Focus> last;
    {
        const std::lock_guard lock(mutex);
        if (const auto known = focuses.find(target.object.name); known != focuses.end()) last = known->second;
    }
    auto found = windows(target, last);
    if (found.status != AXStatus::success) return {found.status, {}};
    if (found.windows.empty()) return {AXStatus::noValue, {}};
    const bool hasActive = found.windows.front().facts.has(AtSpiState::active);
    if (hasActive) found.windows.resize(1);
    const auto isOfLast = [&](const Window& window) { return last && window.object == last->window; };
    if (found.isFocusKnown && std::any_of(found.windows.begin(), found.windows.end(), isOfLast))
        return {AXStatus::success, handleOf(last->element)};
    std::vector<BusCall> calls;
    calls.reserve(found.windows.size());
    for (const auto& window : found.windows) calls.push_back(focusCall(window.object));
    const auto replies = bus.exchange(calls, target.deadline);
    for (std::size_t i = 0; i < replies.size(); ++i) {
        if (replies[i].status() != AXStatus::success) return {replies[i].status(), {}};
        auto matches = replies[i].references(mostChildren);
        if (!matches) return {AXStatus::failure, {}};
        if (matches->empty() || !isThere(matches->front())) continue;
        auto& element = matches->front();
        if (element.name.empty()) element.name = target.object.name;
        const std::lock_guard lock(mutex);
        focuses.insert_or_assign(target.object.name, Focus{found.windows[i].object, element});
        return {AXStatus::success, handleOf(element)};
    }
    return {AXStatus::noValue, {}};
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
    if (name == "AXFocused" && value == AXValue(true)) {
        const std::array calls{BusCall{about.object, component, "GrabFocus"}};
        const auto replies = bus.exchange(calls, about.deadline);
        if (replies[0].status() != AXStatus::success) return replies[0].status();
        return replies[0].boolean() == true ? AXStatus::success : AXStatus::failure;
    }
    const auto* written = std::get_if<std::string>(&value);
    if (name != "AXValue" || !written || !keys) {
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
    if (isAbsent && isRunning(known->process)) return AXStatus::needsRestart;
    return know(about, needsAttributes).status;
}

AXStatus AtSpiAccessibility::write(const Target& target, const std::string& written) {
    const auto known = know(target, needsRole);
    if (known.status != AXStatus::success) return known.status;
    if (!isEditor(known.facts) || !isEditable(known.facts)) return AXStatus::attributeUnsupported;
    // The length of the editor's own text, in which each object counts as one character.
    const std::array look{propertyCall(target.object, text, "CharacterCount")};
    const auto count = bus.exchange(look, target.deadline)[0].signedProperty();
    if (!count) return AXStatus::failure;
    const auto all = [end = *count](sd_bus_message* message) {
        return sd_bus_message_append(message, "iii", 0, 0, end);
    };
    const std::array select{BusCall{target.object, component, "GrabFocus"},
                            BusCall{target.object, text, "SetSelection", all}};
    {
        const auto replies = bus.exchange(select, target.deadline);
        for (std::size_t i = 0; i < replies.size(); ++i)
            if (replies[i].status() != AXStatus::success) return replies[i].status();
        if (replies[1].boolean() != true) return AXStatus::failure;
    }
    // Keys go wherever the focus is, so it must be there.
    const auto focused = know(target, 0);
    if (focused.status != AXStatus::success) return focused.status;
    if (!focused.facts.has(AtSpiState::focused)) return AXStatus::failure;
    const bool isPaste = !written.empty();
    const bool isPressed = isPaste ? keys->paste(written) : keys->erase();
    bool isFound = false;
    while (isPressed && !isFound && std::chrono::steady_clock::now() < target.deadline) {
        const auto reading = readEditor(bus, target.object, false, target.deadline);
        isFound = reading.status == AXStatus::success && plainText(reading.editor) == written;
        if (!isFound) std::this_thread::sleep_for(readBackPause);
    }
    if (isPaste) keys->restoreClipboard();
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
        const auto found =
            windows({AXStatus::success, root, std::min(deadline, in(lookupTimeout))}, std::nullopt);
        for (const auto& window : found.windows) {
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
