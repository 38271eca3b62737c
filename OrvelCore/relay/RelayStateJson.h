#pragma once
// The JSON form of the relay state: one compact document with the seven top-level keys, absent optionals left
// out.
//
// Reading is exact: a missing required key, a value of another type, an unknown enumeration text or a key
// that stands twice in one record fails the whole document. Unknown keys are passed over, and null counts as
// absent where a value is optional. Texts are held as they are; of numbers every finite double reads back to
// itself.

#include "OrvelCore/relay/RelayState.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace orvel {

/// The largest document that is read or written, in bytes.
inline constexpr std::size_t maximumRelayStateSize = 1'000'000'000;

/// Throws RelayStateError: tooLarge, or notStorable for a text that is no UTF-8 and a number that is not
/// finite.
std::string encodeRelayState(const RelayState& state);

/// Throws RelayStateError. `readableBehind` says how many bytes behind the document may be read, see
/// FileBytes; with too few of them it is copied.
RelayState decodeRelayState(std::string_view json, std::size_t readableBehind = 0);

} // namespace orvel
