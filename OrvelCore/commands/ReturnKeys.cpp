#include "OrvelCore/commands/ReturnKeys.h"

#include <utility>

namespace orvel {

bool SuppressedKeySequence::consumes(std::int64_t keyCode, bool isKeyDown, bool isRepeat) {
    if (!keys.contains(keyCode)) return false;
    if (isKeyDown && isRepeat) return true;
    keys.erase(keyCode);
    return !isKeyDown;
}

bool CommandReleaseAllowance::consume(std::int64_t keyCode, ReturnModifiers modifiers) {
    constexpr std::int64_t rightCommand = 54, leftCommand = 55;
    const bool wasExpected = std::exchange(expected, false);
    return wasExpected && (keyCode == rightCommand || keyCode == leftCommand) &&
           modifiers == ReturnModifiers{};
}

} // namespace orvel
