#pragma once
// A key that is sent to one application's window, past every grab.

#include "Orvel/desktop/ProcessID.h"
#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XKeys.h"

#include <span>

namespace orvel {

/// Sends presses and releases, in their order, to the window that has the focus, if it is the process's: a
/// window without the focus would ignore them. The modifiers are those of the strokes, whatever a person
/// holds. False if nothing was sent. True is no proof that they were taken.
bool sendKeys(XConnection& connection, std::span<const XStroke> strokes, ProcessID process);

} // namespace orvel
