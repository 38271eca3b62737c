#pragma once
// The failures that only the command line knows.

#include "OrvelCore/text/Failure.h"

namespace orvel {

class CommandFailure : public Failure {
  public:
    /// `caseName` is a string literal.
    CommandFailure(std::string_view caseName, std::string text) : Failure(caseName, std::move(text)) {}
};

/// For an ID that no message of the conversation has.
inline CommandFailure messageNotFound(const std::string& id) {
    return {"messageNotFound",
            "The conversation has no message with the ID “" + id + "”. “orvel-cli show” prints the IDs."};
}

/// For a link without a saved message that has not been seen.
inline CommandFailure nothingPending() {
    return {"nothingPending", "No saved message of this link waits to be seen."};
}

} // namespace orvel
