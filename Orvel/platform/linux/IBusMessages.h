#pragma once
// Reads the values that IBus puts into its messages. Whatever is of another type gives nothing.

#include <optional>
#include <string>

struct sd_bus_message;

namespace orvel {

/// Text that an input method shows in an editor before it is confirmed.
struct IBusPreedit {
    bool hasText = false, isVisible = false;
    bool operator==(const IBusPreedit&) const = default;
};

/// Of UpdatePreeditText and UpdatePreeditTextWithMode. The text itself is not kept.
std::optional<IBusPreedit> preeditIn(sd_bus_message* message);

/// The name of the engine that the property GlobalEngine describes.
std::optional<std::string> engineIn(sd_bus_message* message);

/// Whether RegisterProperties or UpdateProperty is about the input mode, which each registration is: an
/// engine that registers none has none. One that can't be read is taken to be.
struct IBusInputMode {
    bool isTold = false;
    std::optional<std::string> key; ///< Of the selected mode: "InputMode.Direct". Absent if there is none.
};
IBusInputMode inputModeIn(sd_bus_message* message);

} // namespace orvel
