#pragma once
// How the system tells processes apart.

#include <cstdint>

namespace orvel {

using ProcessID = std::int32_t;

} // namespace orvel
