#include "OrvelCore/conversations/JsonDocument.h"

#include <stdexcept>

#include <nlohmann/json.hpp>

namespace orvel {

nlohmann::json documentIn(std::string_view text) {
    // The library would take a NUL for the end of the text, whatever stands behind it.
    if (text.find('\0') != text.npos) throw std::invalid_argument("a NUL");
    return nlohmann::json::parse(text);
}

} // namespace orvel
