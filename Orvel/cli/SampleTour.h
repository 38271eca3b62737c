#pragma once
// The main job, step by step in a terminal: what the window does, done by the same model.

#include "Orvel/platform/posix/Places.h"

namespace orvel {

class Output;
class Stylist;

/// Finds the conversations in `places`, links one with Claude to one with Codex, sends a message from the
/// first to the second, watches until it stands in the second's transcript and has been answered, and tells
/// each step. Throws Failure where a step does not succeed or takes too long, and Interrupted.
void showSampleTour(const Places& places, Output& output, const Stylist& stylist);

} // namespace orvel
