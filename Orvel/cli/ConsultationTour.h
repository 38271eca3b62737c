#pragma once
// A question to ChatGPT about a folder, step by step in a terminal: the folder is packed as it would be, and
// the browser is simulated.

#include "Orvel/cli/Arguments.h"

#include <string>

namespace orvel {

class Output;
class Stylist;

/// Packs the folder that `arguments.subject` names, or one that is made up, and delivers the ZIP with
/// `arguments.note` into a simulated page. Tells each step. What it writes lies in `workFolder`. Throws
/// Failure, and Interrupted.
void showConsultationTour(const Arguments& arguments, const std::string& workFolder, Output& output,
                          const Stylist& stylist);

} // namespace orvel
