#pragma once
// Why bytes could not become a relay state, or a state no bytes.

#include "OrvelCore/text/Failure.h"

namespace orvel {

class RelayStateError : public Failure {
  public:
    enum class Case { notJSON, unexpectedContent, tooLarge, notStorable };

    /// The bytes are no JSON document; `reason` is the parser's.
    static RelayStateError notJSON(std::string_view reason);

    /// The JSON at `place`, such as "transfers[3].status", is not what belongs there; `reason` completes the
    /// sentence "{place} {reason}".
    static RelayStateError unexpectedContent(std::string_view place, std::string_view reason);

    /// There are more bytes than can be read again.
    static RelayStateError tooLarge();

    /// A value has no JSON form: a text that is no UTF-8 or a number that is not finite.
    static RelayStateError notStorable(std::string_view reason);

    Case kind() const noexcept { return which; }

  private:
    RelayStateError(Case kind, std::string_view name, std::string text);

    Case which;
};

} // namespace orvel
