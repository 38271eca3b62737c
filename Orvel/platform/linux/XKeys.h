#pragma once
// The keys of an X keyboard under the numbers of macOS, in both directions, by what they are labelled with.

#include "Orvel/platform/linux/XConnection.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace orvel {

/// A key with modifiers as an X server names it.
struct XStroke {
    xcb_keycode_t keycode = 0;
    std::uint16_t state = 0; ///< With the bits of core events.
};

/// The Control key stands for ⌘, as in programs that run on both systems, and Super for macOS's Control. A
/// copy of the server's tables, to be read again when they change.
class XKeys {
  public:
    /// Codes of keys without a number on macOS follow this one.
    static constexpr std::int64_t unknownKeys = 0x1000;

    /// Reads the server's tables; without an answer there are no keys.
    explicit XKeys(XConnection& connection);

    /// The keycodes of Return and of Enter on the keypad.
    std::vector<xcb_keycode_t> returns() const;
    /// The number of a key on macOS.
    std::int64_t code(xcb_keycode_t keycode) const;
    /// The flag of a modifier key in the tap's bits; 0 for other keys.
    std::uint64_t modifier(xcb_keycode_t keycode) const;
    /// The tap's flags for the modifiers of an event.
    static std::uint64_t flags(std::uint32_t state);

    /// How to press a key with these flags, of which both ⌘ and Control are Control; nothing if the keyboard
    /// lacks the key.
    std::optional<XStroke> stroke(std::int64_t code, std::uint64_t flags) const;

  private:
    std::uint32_t symbol(xcb_keycode_t keycode, std::size_t column) const;

    std::size_t first = 8, columns = 0;
    std::vector<std::uint32_t> symbols; ///< `columns` for each keycode from the first.
};

} // namespace orvel
