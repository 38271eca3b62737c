#include "Orvel/cli/TerminalDesktop.h"

#include "Orvel/cli/Interruption.h"

#include <chrono>

namespace orvel {

namespace {

constexpr std::chrono::milliseconds lookInterval{10};

} // namespace

bool TerminalDesktop::runUntil(const std::function<bool()>& met, MainLoop::Duration limit) {
    const auto deadline = loop.uptime() + limit;
    bool isMet = false;
    std::unique_ptr<Timer> nextLook;
    // Stopped by a timer, the loop has left out nothing that was due before.
    const std::function<void()> look = [&] {
        isMet = met();
        if (isMet || Interruption::signal() || loop.uptime() >= deadline)
            loop.stop();
        else
            nextLook = loop.after(lookInterval, look);
    };
    nextLook = loop.after(MainLoop::Duration::zero(), look);
    loop.run();
    Interruption::check();
    return isMet;
}

} // namespace orvel
