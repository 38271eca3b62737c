#pragma once
// JSON as the commands print it.

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

/// The value on one line, with a line feed. Text that is no UTF-8, as a file name may be, gets U+FFFD.
std::string jsonLine(const nlohmann::ordered_json& json);

} // namespace orvel
