#pragma once
// Whether a message that stands in a destination transcript is a given payload.

#include "OrvelCore/conversations/Agent.h"

#include <string>
#include <string_view>

namespace orvel {

/// Recognises one payload among many received texts. Texts are compared byte by byte; only CR LF counts as
/// LF. In a Claude transcript the payload may also stand in the marked block into which Claude turns a long
/// pasted text.
class ReceiptMatcher {
  public:
    ReceiptMatcher(std::string_view payload, Agent destination);

    bool matches(std::string_view received) const;

  private:
    bool matchesPlain(std::string_view received) const;
    bool matchesPastedBlock(std::string_view received) const;

    std::string payload; // With plain line feeds.
    Agent destination;
};

} // namespace orvel
