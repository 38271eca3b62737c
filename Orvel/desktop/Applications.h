#pragma once
// Applications on the desktop, this one included.

#include <string>

namespace orvel {

class Applications {
  public:
    virtual ~Applications() = default;

    /// Brings this application to the front, as far as the desktop allows.
    virtual void activateSelf() = 0;

    /// Shows the file in the desktop's file manager; false if there is none.
    virtual bool revealFile(const std::string& path) = 0;
};

} // namespace orvel
