#pragma once
// A look at Claude's editor for the developer: what a Return would meet there, without a Return.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/runtime/MainLoop.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

namespace orvel {

/// Looks at the editor that has the focus within Claude, or else at the only visible one of its window.
/// Writes nothing, and tells no content. Belongs to the main loop's thread, which it holds for the budget of
/// one Return at most.
DiagnosticText inspectClaudeEditor(const MainLoop& loop, Accessibility& accessibility,
                                   Applications& applications);

} // namespace orvel
