#pragma once
// Talking to a child in a test: a loop is run until the child has done what is waited for.

#include "Orvel/desktop/Processes.h"
#include "runtime/LoopDrivers.h"

#include <array>

namespace orvel {

/// Runs the loop until the end can be used; gives whether it is broken.
template <typename Driver>
bool waitUntilReady(Driver& driver, ChildProcess& child, PipeEnd end) {
    bool isBroken = false;
    const auto watch = child.whenReady(end, [&](bool broken) {
        isBroken = broken;
        driver.stop();
    });
    runWithin60s(driver);
    return isBroken;
}

/// Runs the loop until the condition holds, for what gives no notice.
template <typename Driver, typename Condition>
void waitUntil(Driver& driver, Condition condition) {
    std::unique_ptr<Timer> next;
    const std::function<void()> look = [&] {
        if (condition())
            driver.stop();
        else
            next = driver.loop.after(std::chrono::milliseconds(1), look);
    };
    driver.loop.post(look);
    runWithin60s(driver);
}

template <typename Driver>
int waitForExit(Driver& driver, ChildProcess& child) {
    waitUntil(driver, [&] { return child.exitStatus().has_value(); });
    return child.exitStatus().value_or(-1);
}

/// Reads until `count` bytes have come, or all.
template <typename Driver>
std::string readSome(Driver& driver, ChildProcess& child, std::size_t count = std::string::npos) {
    std::string text;
    std::array<char, 16'384> bytes{};
    while (text.size() < count && !testing::Test::HasFailure()) {
        const auto transfer = child.read(bytes);
        text.append(bytes.data(), transfer.count);
        if (transfer.kind == PipeTransfer::Kind::finished) break;
        if (transfer.kind == PipeTransfer::Kind::notNow) waitUntilReady(driver, child, PipeEnd::output);
    }
    return text;
}

} // namespace orvel
