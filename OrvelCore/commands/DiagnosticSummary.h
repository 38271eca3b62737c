#pragma once
// What diagnostics say in place of values that were read from other applications.

#include "OrvelCore/commands/DiagnosticText.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

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

/// Whether the label is one of those that conversations have.
DiagnosticText label(const std::optional<std::string>& label, std::span<const std::string_view> known);

/// Identifier, mode and type, each only if it looks like an identifier; "Unavailable" for no source.
DiagnosticText inputSource(const std::optional<InputSourceIdentity>& source);

} // namespace DiagnosticSummary

} // namespace orvel
