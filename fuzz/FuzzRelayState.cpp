// The file of the relay state.

#include "Claim.h"

#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "OrvelCore/relay/RelayStateReport.h"

#include <cstdint>

using namespace orvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    RelayState state;
    try {
        state = decodeRelayState({reinterpret_cast<const char*>(data), size});
    } catch (const RelayStateError&) {
        return 0;
    }
    const auto written = encodeRelayState(state);
    claim(decodeRelayState(written) == state, "what was read can be written and read again");
    claim(encodeRelayState(decodeRelayState(written)) == written, "the written form is the only one");
    RelayStateReport::of(state);
    return 0;
}
