#pragma once
// A whole file as one JSON value.

#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

/// The value that `text` holds. Throws some std::exception if it is no JSON.
nlohmann::json documentIn(std::string_view text);

} // namespace orvel
