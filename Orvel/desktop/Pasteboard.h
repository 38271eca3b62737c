#pragma once
// The system's clipboard.

#include <string_view>

namespace orvel {

class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    /// Takes everything off the clipboard.
    virtual void clearContents() = 0;

    /// Puts plain text on the clipboard; false if the system refuses.
    [[nodiscard]] virtual bool setString(std::string_view text) = 0;
};

} // namespace orvel
