#pragma once
// The failures that only the command line knows.

#include "OrvelCore/Failure.h"

namespace orvel {

class CommandFailure : public Failure {
  public:
    /// `caseName` is a string literal.
    CommandFailure(std::string_view caseName, std::string text) : Failure(caseName, std::move(text)) {}
};

} // namespace orvel
