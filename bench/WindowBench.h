#pragma once
// How soon the window stands and answers: its start, a long conversation, scrolling, and the search over many
// conversations.

#include <string>

namespace orvel::bench {

void registerWindowBenchmarks();

/// Opens the application's window on the home in this process, and prints the seconds from `begunAt`, of the
/// steady clock, to its first picture. Ends when the conversations have been found.
void startWindowOnce(const std::string& home, double begunAt);

} // namespace orvel::bench
