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
#include <vector>

namespace orvel {

/// The largest document that is read or written, in bytes.
inline constexpr std::size_t maximumRelayStateSize = 1'000'000'000;

/// Throws RelayStateError: tooLarge, or notStorable for a text that is no UTF-8 and a number that is not
/// finite.
std::string encodeRelayState(const RelayState& state);

/// The document of a state, which need not be made anew as far as an older one begins alike. Nearly all of a
/// document is transfers, and they change near the end.
class RelayStateDocument {
  public:
    explicit RelayStateDocument(RelayState state) : state(std::move(state)) {}

    /// The end of a document: its text from this byte on.
    struct Tail {
        std::size_t from = 0;
        std::string text;
    };

    /// What stands behind the pairs and transfers with which both this document and an `older` one, encoded
    /// before, begin; without one the whole text. Throws as `encodeRelayState`, and can then be called again.
    Tail encode(const RelayStateDocument* older = nullptr);

  private:
    std::size_t sharedRecords(const RelayStateDocument& older) const;

    RelayState state;
    std::vector<std::size_t> ends; ///< Where each transfer ends.
};

/// Throws RelayStateError. `readableBehind` says how many bytes behind the document may be read, see
/// FileBytes; with too few of them it is copied.
RelayState decodeRelayState(std::string_view json, std::size_t readableBehind = 0);

} // namespace orvel
