#pragma once
// All or nothing for operations that are made of several changes.

#include "OrvelCore/relay/RelayState.h"

#include <type_traits>

namespace orvel {

/// Gives `operation` a copy of the state, which takes the state's place unless the operation throws. What is
/// passed to the operation may lie in records of the state: they live until the end.
template <typename Operation>
auto onCopy(RelayState& state, Operation operation) {
    auto copy = state;
    if constexpr (std::is_void_v<decltype(operation(copy))>) {
        operation(copy);
        state = copy;
    } else {
        auto result = operation(copy);
        state = copy;
        return result;
    }
}

} // namespace orvel
