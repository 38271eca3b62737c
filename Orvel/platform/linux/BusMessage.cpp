#include "Orvel/platform/linux/BusMessage.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <systemd/sd-bus.h>

namespace orvel {

BusCall propertyCall(BusReference object, const char* interface, const char* property, bool isMandatory) {
    return {std::move(object), "org.freedesktop.DBus.Properties", "Get",
            [interface, property](sd_bus_message* message) {
                return sd_bus_message_append(message, "ss", interface, property);
            },
            isMandatory};
}

void BusReply::Unref::operator()(sd_bus_message* message) const {
    sd_bus_message_unref(message);
}

BusReply::BusReply(sd_bus_message* message)
    : statusOfCall(AXStatus::success), message(sd_bus_message_ref(message)) {}

sd_bus_message* BusReply::rewound() const {
    if (!message || sd_bus_message_rewind(message.get(), 1) < 0) return nullptr;
    return message.get();
}

template <typename... Values>
bool BusReply::read(const char* types, Values*... values) const {
    auto* from = rewound();
    return from && sd_bus_message_read(from, types, values...) > 0;
}

// Reads an array, one element after the other.
template <typename Element>
bool BusReply::each(const char* type, std::size_t limit, const Element& element) const {
    auto* from = rewound();
    if (!from || sd_bus_message_enter_container(from, 'a', type) <= 0) return false;
    for (std::size_t count = 0;; ++count) {
        const auto end = sd_bus_message_at_end(from, 0);
        if (end != 0) return end > 0;
        if (count == limit || element(from) <= 0) return false;
    }
}

std::optional<std::string> BusReply::string() const {
    const char* text = nullptr;
    return read("s", &text) ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::uint32_t> BusReply::number() const {
    std::uint32_t value = 0;
    return read("u", &value) ? std::optional(value) : std::nullopt;
}

std::optional<std::int32_t> BusReply::signedNumber() const {
    std::int32_t value = 0;
    return read("i", &value) ? std::optional(value) : std::nullopt;
}

std::optional<bool> BusReply::boolean() const {
    int value = 0;
    return read("b", &value) ? std::optional(value != 0) : std::nullopt;
}

std::optional<std::pair<std::int32_t, std::int32_t>> BusReply::range() const {
    std::pair<std::int32_t, std::int32_t> range;
    return read("ii", &range.first, &range.second) ? std::optional(range) : std::nullopt;
}

std::optional<BusReply::Rectangle> BusReply::rectangle() const {
    Rectangle found;
    return read("(iiii)", &found.x, &found.y, &found.width, &found.height) ? std::optional(found)
                                                                           : std::nullopt;
}

std::optional<std::uint64_t> BusReply::bits() const {
    static constexpr std::size_t mostWords = 64;
    std::uint64_t bits = 0;
    int place = 0;
    const bool isRead = each("u", mostWords, [&](sd_bus_message* from) {
        std::uint32_t word = 0;
        const auto result = sd_bus_message_read(from, "u", &word);
        if (place < 64) bits |= std::uint64_t{word} << place;
        place += 32;
        return result;
    });
    return isRead ? std::optional(bits) : std::nullopt;
}

std::optional<BusReference> BusReply::reference() const {
    const char *name = nullptr, *path = nullptr;
    if (!read("(so)", &name, &path)) return std::nullopt;
    return BusReference{name, path};
}

std::optional<std::vector<BusReference>> BusReply::references(std::size_t limit) const {
    std::vector<BusReference> found;
    const bool isRead = each("(so)", limit, [&](sd_bus_message* from) {
        const char *name = nullptr, *path = nullptr;
        const auto result = sd_bus_message_read(from, "(so)", &name, &path);
        if (result > 0) found.push_back({name, path});
        return result;
    });
    return isRead ? std::optional(std::move(found)) : std::nullopt;
}

std::optional<std::map<std::string, std::string, std::less<>>> BusReply::dictionary(std::size_t limit) const {
    std::map<std::string, std::string, std::less<>> found;
    const bool isRead = each("{ss}", limit, [&](sd_bus_message* from) {
        const char *key = nullptr, *value = nullptr;
        const auto result = sd_bus_message_read(from, "{ss}", &key, &value);
        if (result > 0) found.insert_or_assign(key, value);
        return result;
    });
    return isRead ? std::optional(std::move(found)) : std::nullopt;
}

std::optional<std::vector<std::string>> BusReply::actions(std::size_t limit) const {
    std::vector<std::string> found;
    const bool isRead = each("(sss)", limit, [&](sd_bus_message* from) {
        const char *name = nullptr, *description = nullptr, *keys = nullptr;
        const auto result = sd_bus_message_read(from, "(sss)", &name, &description, &keys);
        if (result > 0) found.emplace_back(name);
        return result;
    });
    return isRead ? std::optional(std::move(found)) : std::nullopt;
}

std::optional<std::string> BusReply::stringProperty() const {
    const char* text = nullptr;
    return read("v", "s", &text) ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::int32_t> BusReply::signedProperty() const {
    std::int32_t value = 0;
    return read("v", "i", &value) ? std::optional(value) : std::nullopt;
}

std::optional<double> BusReply::doubleProperty() const {
    double value = 0;
    return read("v", "d", &value) ? std::optional(value) : std::nullopt;
}

std::optional<bool> BusReply::booleanProperty() const {
    int value = 0;
    return read("v", "b", &value) ? std::optional(value != 0) : std::nullopt;
}

std::optional<std::string> BusReply::pathProperty() const {
    const char* path = nullptr;
    return read("v", "o", &path) ? std::optional<std::string>(path) : std::nullopt;
}

std::optional<BusReference> BusReply::referenceProperty() const {
    const char *name = nullptr, *path = nullptr;
    if (!read("v", "(so)", &name, &path)) return std::nullopt;
    return BusReference{name, path};
}

// The names are those of D-Bus and its reference library.
AXStatus statusOfError(std::string_view name, bool isMandatory) {
    struct Meaning {
        std::string_view name;
        AXStatus status;
    };
    static constexpr std::array meanings{
        Meaning{"NoReply", AXStatus::cannotComplete},
        Meaning{"Timeout", AXStatus::cannotComplete},
        Meaning{"TimedOut", AXStatus::cannotComplete},
        Meaning{"LimitsExceeded", AXStatus::cannotComplete},
        Meaning{"ServiceUnknown", AXStatus::invalidElement},
        Meaning{"NameHasNoOwner", AXStatus::invalidElement},
        Meaning{"UnknownObject", AXStatus::invalidElement},
        Meaning{"UnknownMethod", AXStatus::attributeUnsupported},
        Meaning{"UnknownInterface", AXStatus::attributeUnsupported},
        Meaning{"UnknownProperty", AXStatus::attributeUnsupported},
        Meaning{"NotSupported", AXStatus::attributeUnsupported},
        Meaning{"InvalidArgs", AXStatus::attributeUnsupported},
        Meaning{"Disconnected", AXStatus::apiDisabled},
        Meaning{"NoServer", AXStatus::apiDisabled},
        Meaning{"AccessDenied", AXStatus::apiDisabled},
    };
    static constexpr std::string_view prefix = "org.freedesktop.DBus.Error.";
    if (!name.starts_with(prefix)) return AXStatus::failure;
    name.remove_prefix(prefix.size());
    const auto* found = std::find_if(meanings.begin(), meanings.end(),
                                     [&](const Meaning& each) { return each.name == name; });
    if (found == meanings.end()) return AXStatus::failure;
    if (isMandatory && found->status == AXStatus::attributeUnsupported) return AXStatus::invalidElement;
    return found->status;
}

} // namespace orvel
