#pragma once
// The three standard streams of a program, of which some may be closed at its start.

namespace orvel {

/// Keeps their places: nothing that is opened later takes that of a closed one, and what stands there fails
/// as the closed one did. For the beginning of a program.
void holdStandardStreams();

} // namespace orvel
