#pragma once
// Writing texts as JSON strings, in whole runs, which general JSON writers do not do.

#include <string>
#include <string_view>

namespace orvel {

/// Appends the text, which is valid UTF-8, as a JSON string with its quotes.
void appendJsonString(std::string& json, std::string_view text);

} // namespace orvel
