#pragma once
// The main job, step by step in a terminal: what the window does, done by the same model.

#include "Orvel/apps/Places.h"

namespace orvel {

class Output;
class Stylist;

/// Finds the conversations in `places`, opens one whose agent is done, chooses a range, writes an
/// instruction, shows the text and copies it, and tells each step. The clipboard is one in memory. Throws
/// Failure where a step does not succeed, or takes longer than half a minute.
void showSampleTour(const Places& places, Output& output, const Stylist& stylist);

} // namespace orvel
