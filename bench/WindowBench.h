#pragma once
// How soon the window answers: a long conversation, scrolling, and the search over many conversations.

namespace orvel::bench {

void registerWindowBenchmarks();

} // namespace orvel::bench
