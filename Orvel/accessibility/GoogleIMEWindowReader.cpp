#include "Orvel/accessibility/GoogleIMEWindowReader.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace orvel {

namespace {

using namespace GoogleIMEWindowDiagnostic;

double secondsOf(MainLoop::Duration time) {
    return std::chrono::duration<double>(time).count();
}

Sample sampleOf(const MainLoop& loop, WindowList& windows) {
    const auto started = secondsOf(loop.uptime());
    const auto names = windows.ownerNames(maximumWindows + 1);
    const auto duration = secondsOf(loop.uptime()) - started;
    if (duration > queryTimeout) return {State::unavailable, started, duration};
    return {names ? classify(*names) : classify(std::nullopt), started, duration};
}

} // namespace

struct GoogleIMEWindowReader::Reads {
    std::mutex mutex;
    bool isInFlight = false;
    std::optional<Sample> latest; // Of the read under way.

    // Begins a read, unless one is under way.
    bool begin() {
        const std::lock_guard lock(mutex);
        if (isInFlight) return false;
        latest.reset();
        return isInFlight = true;
    }
    void end(const Sample& sample) {
        const std::lock_guard lock(mutex);
        isInFlight = false;
        latest = sample;
    }
    std::optional<Sample> take() {
        const std::lock_guard lock(mutex);
        return std::exchange(latest, std::nullopt);
    }
};

GoogleIMEWindowReader::GoogleIMEWindowReader(MainLoop& loop, WindowList& windows, SideQueue& queue)
    : loop(loop), windows(windows), queue(queue), reads(std::make_shared<Reads>()) {}

std::optional<GoogleIMEWindowReader::Sample> GoogleIMEWindowReader::readFresh(double timeout) {
    if (!std::isfinite(timeout) || timeout <= 0) return std::nullopt;
    const auto wait = std::min(timeout, readTimeout);
    if (!reads->begin()) return std::nullopt;
    const auto asked = loop.uptime();
    const auto read = [reads = reads, &loop = loop, &windows = windows] {
        reads->end(sampleOf(loop, windows));
    };
    const bool isInTime =
        queue.run(read, std::chrono::duration_cast<MainLoop::Duration>(std::chrono::duration<double>(wait)));
    const bool wokeInTime = secondsOf(loop.uptime() - asked) <= wait;
    return isInTime && wokeInTime ? reads->take() : std::nullopt;
}

Task<std::optional<GoogleIMEWindowReader::Sample>> GoogleIMEWindowReader::read() {
    if (!reads->begin()) co_return std::nullopt;
    const auto read = [reads = reads, &loop = loop, &windows = windows] {
        const auto sample = sampleOf(loop, windows);
        reads->end(sample);
        return sample;
    };
    const auto sample = co_await loop.background(read);
    co_return sample;
}

} // namespace orvel
