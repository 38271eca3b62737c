#pragma once
// With which message a range begins, as --from and --last say it.

#include "Orvel/cli/Arguments.h"
#include "OrvelCore/conversations/Conversation.h"

#include <cstddef>
#include <optional>

namespace orvel {

/// The position of the first message; nothing where neither option is given. --from takes a message's ID, its
/// number as show prints it, or the beginning of one ID; in this order. Throws CommandFailure.
std::optional<std::size_t> rangeStart(const Arguments& arguments, const Conversation& conversation);

} // namespace orvel
