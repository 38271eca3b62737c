#pragma once
// Reading a large transcript and discovering many.

#include <string>
#include <vector>

namespace orvel::bench {

/// Registers the benchmarks. What they read is made when the first of them runs.
void registerConversationBenchmarks();

/// Does one piece of work, named by its first word, for a parent process that wants to know its peak memory.
void workOnce(const std::vector<std::string>& words);

} // namespace orvel::bench
