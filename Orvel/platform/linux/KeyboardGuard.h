#pragma once
// The grab of Return and Enter on an X desktop, in a process of its own that does nothing else: the server
// holds the whole keyboard while a Return waits, and has no limit of its own, so whatever becomes of Orvel,
// somebody must let it go on.

#include "Orvel/platform/linux/KeyboardGuardLink.h"

#include <string>

namespace orvel {

/// The main function of that process. Each Return is a question to Orvel, at the other end of the link, and
/// passes once it has waited for `XKeyboardTap::patience`; what else the person does is reported. Ends when
/// Orvel's end closes, doesn't read, or answers too late; whatever is held back then passes first. Gives the
/// exit status.
int runKeyboardGuard(GuardLink link, const std::string& display);

} // namespace orvel
