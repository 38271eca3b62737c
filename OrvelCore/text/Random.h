#pragma once
// Random bytes from the operating system.

#include <cstddef>
#include <string>

namespace orvel {

/// Up to 256 unpredictable bytes. Throws std::runtime_error if the system gives none.
std::string randomBytes(std::size_t count);

} // namespace orvel
