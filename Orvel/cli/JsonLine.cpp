#include "Orvel/cli/JsonLine.h"

#include <nlohmann/json.hpp>

namespace orvel {

std::string jsonLine(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace orvel
