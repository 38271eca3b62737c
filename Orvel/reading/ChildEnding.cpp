#include "Orvel/reading/ChildEnding.h"

#include <chrono>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr auto terminationTimeout = 1s;
constexpr auto pollInterval = 10ms;

} // namespace

Task<void> endChild(MainLoop& loop, ChildProcess& child) {
    if (child.exitStatus()) co_return;
    child.terminate();
    const auto until = loop.uptime() + terminationTimeout;
    while (!child.exitStatus() && loop.uptime() < until) co_await loop.sleep(pollInterval);
    if (!child.exitStatus()) child.kill();
}

} // namespace orvel
