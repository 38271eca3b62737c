#pragma once
// What diagnostics say in place of values that were read from other applications.

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <optional>
#include <span>
#include <string>

namespace orvel {

/// What the system says about the input source in use.
struct InputSourceIdentity {
    std::optional<std::string> id, mode, type;
};

namespace DiagnosticSummary {

/// The role if it is a known one.
DiagnosticText role(const std::optional<std::string>& role);

/// Whether the two classes that editors have are among them, and how many there are.
DiagnosticText classes(std::optional<std::span<const std::string>> classes);

/// Whether the label is one of those by which composers are recognised.
DiagnosticText label(const std::optional<std::string>& label);

/// What is told of an editor's text.
DiagnosticText input(ReturnInputClassification classification);

/// Identifier, mode and type, each only if it looks like an identifier; "Unavailable" for no source.
DiagnosticText inputSource(const std::optional<InputSourceIdentity>& source);

} // namespace DiagnosticSummary

} // namespace orvel
