#pragma once
// Why a captured command was not worked off. Its text stands where it stood.

#include "OrvelCore/diagnostics/DiagnosticText.h"
#include "OrvelCore/text/Failure.h"

#include <utility>

namespace orvel {

class CaptureFailure : public Failure {
  public:
    explicit CaptureFailure(const DiagnosticText& message, DiagnosticText details = {})
        : Failure("captureStopped", message.text()), words(message), more(std::move(details)) {}

    /// For the person.
    const DiagnosticText& message() const { return words; }
    /// For diagnostics.
    const DiagnosticText& details() const { return more; }

  private:
    DiagnosticText words, more;
};

} // namespace orvel
