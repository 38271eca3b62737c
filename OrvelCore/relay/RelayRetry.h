#pragma once
// Whether a saved message still is what its source gives.

#include "OrvelCore/relay/RelayState.h"

namespace orvel {

/// Whether preparing from this conversation would give the saved transfer again: the same text, up to the
/// same message. Throws RelayError where nothing could be prepared.
bool isPreparedAgain(const RelayTransfer& transfer, const RelayState& state, const Conversation& source);

} // namespace orvel
