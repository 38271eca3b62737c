#pragma once
// The input method with which the person types.

#include <optional>
#include <string>

namespace orvel {

/// Properties of an input source; each may be unreadable.
struct InputSource {
    std::optional<std::string> id;   ///< "com.apple.keylayout.ABC"
    std::optional<std::string> mode; ///< "com.apple.inputmethod.Japanese"; layouts have none.
    std::optional<std::string> type; ///< "TISTypeKeyboardLayout", "TISTypeKeyboardInputMode"
    std::optional<bool> isASCIICapable;

    bool operator==(const InputSource&) const = default;
};

/// Belongs to the main loop's thread. A read takes a millisecond at most.
class InputSources {
  public:
    virtual ~InputSources() = default;

    /// The source that is chosen now; nothing if that can't be read.
    virtual std::optional<InputSource> current() = 0;

    /// The identifier of the keyboard layout through which that source is typed.
    virtual std::optional<std::string> currentLayoutID() = 0;
};

} // namespace orvel
