// Decoding of the relay state: any bytes give a state or a RelayStateError, and a state that was read is
// written and read again without a change. The report must stand any state.

#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "OrvelCore/relay/RelayStateReport.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    orvel::RelayState state;
    try {
        state = orvel::decodeRelayState({reinterpret_cast<const char*>(data), size});
    } catch (const orvel::RelayStateError&) {
        return 0;
    }
    if (orvel::decodeRelayState(orvel::encodeRelayState(state)) != state) std::abort();
    orvel::RelayStateReport::of(state);
    return 0;
}
