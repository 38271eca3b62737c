#pragma once
// What both sides of the tap ask the server's input extension for.

#include "Orvel/platform/linux/XConnection.h"

#include <cstdint>
#include <memory>
#include <string>

namespace orvel {

/// A connection to a server that tells the devices of its input apart, and its raw events during other
/// programs' grabs too; null if there is none.
std::unique_ptr<XConnection> openWithInput(const std::string& display);

/// Asks for raw events, by the masks of XInput, of all keyboards and pointers.
void selectRawEvents(XConnection& connection, std::uint32_t events);

} // namespace orvel
