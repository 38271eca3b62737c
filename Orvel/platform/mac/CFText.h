#pragma once
// Text to and from CoreFoundation, whose strings are UTF-16.

#include "Orvel/platform/mac/CFOwned.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// Null if the text is no UTF-8.
CFOwned<CFStringRef> stringOf(std::string_view text);

/// As UTF-8. Nothing of what UTF-8 can't say, which is half a character outside the first 65,536.
std::optional<std::string> textOf(CFStringRef string);

/// The same of any object; nothing if it is no string, or null.
std::optional<std::string> textIn(CFTypeRef object);

} // namespace orvel
