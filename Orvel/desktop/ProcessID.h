#pragma once
// The system's process identifier.

#include <cstdint>

namespace orvel {

using ProcessID = std::int32_t;

} // namespace orvel
