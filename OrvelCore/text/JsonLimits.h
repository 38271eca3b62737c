#pragma once
// JSON that is beyond what simdjson reads, brought within it.

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// The text with every integer beyond 64 bits as a floating-point number, and with U+FFFD for every escape of
/// a surrogate without its other half; nothing if it holds neither. What is no JSON stays none.
std::optional<std::string> withinJsonLimits(std::string_view json);

} // namespace orvel
