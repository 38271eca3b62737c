#pragma once
// The candidate window as evidence: with Google Japanese Input an editor in a web view does not tell whether
// text is pending, but where no candidates are shown and nothing else has moved, none is.

#include "Orvel/monitor/CapturedReturn.h"
#include "Orvel/monitor/EditorNeeds.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"

namespace orvel {

struct CandidateEvidence {
    GoogleIMEWindowPolicy::Decision decision = GoogleIMEWindowPolicy::Decision::stop;
    bool wasSeen = false;  ///< Whether it is known if the window is there.
    DiagnosticText report; ///< What the decision was made of, in lines.
};

/// Looks for the window once, and then at everything that must be as it was when the Return was captured.
/// Within the reads' open budget; blocks for 25 ms at most beside the reads. `captured` has a selection.
CandidateEvidence lookAtCandidates(const EditorNeeds& needs, const CapturedReturn& captured,
                                   OrvelReturnShortcut shortcut);

/// Whether no candidates are shown, and all is as it was.
bool provesNoCandidates(const EditorNeeds& needs, const CapturedReturn& captured);

} // namespace orvel
