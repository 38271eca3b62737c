#pragma once
// Addresses of files on this machine, as panels show them and clipboards hold them.

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// The "file:" URL of an absolute path, with everything percent-encoded that is not plain.
std::string fileURLOf(std::string_view path);

/// The absolute path that a "file:" URL of this machine names; nothing for any other text.
std::optional<std::string> pathOfFileURL(std::string_view url);

} // namespace orvel
