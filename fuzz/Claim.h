#pragma once
// What must hold for every input: a broken claim ends the fuzzer with its words.

#include <cstdio>
#include <cstdlib>

namespace orvel {

inline void claim(bool holds, const char* words) {
    if (holds) return;
    std::fprintf(stderr, "broken claim: %s\n", words);
    std::abort();
}

} // namespace orvel
