#pragma once
// Random bytes and identifiers, from the operating system.

#include <cstddef>
#include <string>

namespace orvel {

/// Up to 256 unpredictable bytes. Throws std::runtime_error if the system gives none.
std::string randomBytes(std::size_t count);

/// A random UUID in upper case. Throws as `randomBytes`.
std::string randomUUID();

} // namespace orvel
