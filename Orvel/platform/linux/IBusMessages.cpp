#include "Orvel/platform/linux/IBusMessages.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

// IBus's objects are structures, in any number of variants, that begin with the name of their type and a
// dictionary.
constexpr int deepest = 16;
constexpr std::uint32_t checked = 1; // PROP_STATE_CHECKED
constexpr std::string_view modePrefix = "InputMode.";

// The next value, whatever it is, if it is a container of this type.
bool enter(sd_bus_message* message, char wanted) {
    char type = 0;
    const char* contents = nullptr;
    return sd_bus_message_peek_type(message, &type, &contents) > 0 && type == wanted &&
           sd_bus_message_enter_container(message, type, contents) > 0;
}

bool isAtEnd(sd_bus_message* message) {
    return sd_bus_message_at_end(message, 0) > 0;
}

bool skip(sd_bus_message* message) {
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0) return false;
    switch (type) {
    case 'v': return sd_bus_message_skip(message, "v") > 0;
    case 'a': return sd_bus_message_skip(message, (std::string("a") + contents).c_str()) > 0;
    case 'r': return sd_bus_message_skip(message, (std::string("(") + contents + ")").c_str()) > 0;
    default: return sd_bus_message_skip(message, std::string(1, type).c_str()) > 0;
    }
}

// An object of a type, entered; how many containers that took is added to `depth`.
bool enterObject(sd_bus_message* message, std::string_view wanted, int& depth) {
    int variants = 0;
    while (variants < deepest && enter(message, 'v')) ++variants;
    if (variants == 0 || !enter(message, 'r')) return false;
    depth += variants + 1;
    const char* name = nullptr;
    return sd_bus_message_read(message, "s", &name) > 0 && name == wanted &&
           sd_bus_message_skip(message, "a{sv}") > 0;
}

// Out of the containers, whatever is left in them.
bool leave(sd_bus_message* message, int depth) {
    for (; depth > 0; --depth) {
        while (!isAtEnd(message))
            if (!skip(message)) return false;
        if (sd_bus_message_exit_container(message) <= 0) return false;
    }
    return true;
}

bool readProperty(sd_bus_message* message, int level, std::optional<std::string>& mode);

// False if it is no such list.
bool readList(sd_bus_message* message, int level, std::optional<std::string>& mode) {
    int depth = 0;
    if (level == deepest || !enterObject(message, "IBusPropList", depth) || !enter(message, 'a'))
        return false;
    while (!isAtEnd(message))
        if (!readProperty(message, level + 1, mode)) return false;
    return sd_bus_message_exit_container(message) > 0 && leave(message, depth);
}

bool readProperty(sd_bus_message* message, int level, std::optional<std::string>& mode) {
    int depth = 0, isSensitive = 0, isVisible = 0;
    const char* key = nullptr;
    std::uint32_t type = 0, state = 0;
    const bool isRead = enterObject(message, "IBusProperty", depth) &&
                        sd_bus_message_read(message, "su", &key, &type) > 0 &&
                        sd_bus_message_skip(message, "vsv") > 0 &&
                        sd_bus_message_read(message, "bbu", &isSensitive, &isVisible, &state) > 0;
    if (!isRead) return false;
    if (state == checked && std::string_view(key).starts_with(modePrefix)) mode = key;
    return readList(message, level, mode) && leave(message, depth);
}

} // namespace

std::optional<IBusPreedit> preeditIn(sd_bus_message* message) {
    int depth = 0, isVisible = 0;
    const char* text = nullptr;
    std::uint32_t cursor = 0;
    const bool isRead = sd_bus_message_rewind(message, 1) >= 0 && enterObject(message, "IBusText", depth) &&
                        sd_bus_message_read(message, "s", &text) > 0 && leave(message, depth) &&
                        sd_bus_message_read(message, "ub", &cursor, &isVisible) > 0;
    if (!isRead) return std::nullopt;
    return IBusPreedit{.hasText = *text != '\0', .isVisible = isVisible != 0};
}

std::optional<std::string> engineIn(sd_bus_message* message) {
    int depth = 0;
    const char* name = nullptr;
    const bool isRead = message && enterObject(message, "IBusEngineDesc", depth) &&
                        sd_bus_message_read(message, "s", &name) > 0 && *name != '\0';
    return isRead ? std::optional<std::string>(name) : std::nullopt;
}

IBusInputMode inputModeIn(sd_bus_message* message) {
    IBusInputMode found{.isTold = true, .key = std::nullopt};
    const bool isUpdate = std::string_view(sd_bus_message_get_member(message)) == "UpdateProperty";
    if (isUpdate) {
        int depth = 0;
        const char* key = nullptr;
        const bool isOther =
            sd_bus_message_rewind(message, 1) >= 0 && enterObject(message, "IBusProperty", depth) &&
            sd_bus_message_read(message, "s", &key) > 0 && std::string_view(key) != "InputMode";
        if (isOther) return {};
    }
    std::optional<std::string> mode;
    if (sd_bus_message_rewind(message, 1) < 0) return found;
    if (isUpdate ? readProperty(message, 0, mode) : readList(message, 0, mode)) found.key = std::move(mode);
    return found;
}

} // namespace orvel
