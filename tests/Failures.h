#pragma once
// How work ends, as a text that a table of cases can state.

#include "OrvelCore/text/Failure.h"

#include <string>

namespace orvel {

/// "case: words" of the failure that ends the work, or "done".
template <typename Work>
std::string endOf(Work work) {
    try {
        work();
        return "done";
    } catch (const Failure& failure) {
        return std::string(failure.caseName()) + ": " + failure.what();
    }
}

/// The case alone.
template <typename Work>
std::string caseOf(Work work) {
    const auto end = endOf(work);
    return end.substr(0, end.find(':'));
}

} // namespace orvel
