#pragma once
// New identifiers, from the system's source of chance.

#include <string>

namespace orvel {

/// A random UUID in upper case. Throws std::runtime_error if the system gives no randomness.
std::string randomUUID();

} // namespace orvel
