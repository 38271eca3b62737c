#include "OrvelCore/relay/RelayStateError.h"

#include "OrvelCore/text/Unicode.h"

namespace orvel {

RelayStateError::RelayStateError(Case kind, std::string_view name, std::string text)
    : Failure(name, std::move(text)), which(kind) {}

RelayStateError RelayStateError::notJSON(std::string_view reason) {
    return {Case::notJSON, "notJSON", "The file is not valid JSON: " + std::string(reason)};
}

RelayStateError RelayStateError::unexpectedContent(std::string_view place, std::string_view reason) {
    return {Case::unexpectedContent, "unexpectedContent",
            "The file does not hold relay records: " + std::string(firstCharacters(place, 200)) + " " +
                std::string(reason) + "."};
}

RelayStateError RelayStateError::tooLarge() {
    return {Case::tooLarge, "tooLarge", "The relay records are too large to be kept in one file."};
}

RelayStateError RelayStateError::notStorable(std::string_view reason) {
    return {Case::notStorable, "notStorable",
            "The relay records cannot be saved: " + std::string(reason) + "."};
}

} // namespace orvel
