#pragma once
// What diagnostics print instead of values read from other applications.

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <optional>
#include <span>
#include <string>

namespace orvel {

/// The current input source as the system describes it.
struct InputSourceIdentity {
    std::optional<std::string> id, mode, type;
};

namespace DiagnosticSummary {

/// The role, if it is a known one.
DiagnosticText role(const std::optional<std::string>& role);

/// Whether the two classes of editors are among them, and how many classes there are.
DiagnosticText classes(std::optional<std::span<const std::string>> classes);

/// Whether the label is one by which composers are recognised.
DiagnosticText label(const std::optional<std::string>& label);

/// The classification of an editor's text.
DiagnosticText input(ReturnInputClassification classification);

/// Identifier, mode and type, each only if it looks like an identifier; "Unavailable" without a source.
DiagnosticText inputSource(const std::optional<InputSourceIdentity>& source);

/// A version or an identifier that the system told, if it looks like one; "Unavailable" if it told none.
DiagnosticText observed(const std::optional<std::string>& fact);

} // namespace DiagnosticSummary

} // namespace orvel
