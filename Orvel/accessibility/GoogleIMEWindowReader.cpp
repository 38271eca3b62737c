#include "Orvel/accessibility/GoogleIMEWindowReader.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace orvel {

namespace {

using namespace GoogleIMEWindowDiagnostic;

} // namespace

// What the reads on other threads share with the reader.
struct GoogleIMEWindowReader::Reads {
    std::mutex mutex;
    bool isInFlight = false;
    std::optional<State> latest; // Of the read that is waited for.

    // Begins a read, unless one is under way.
    bool begin() {
        const std::lock_guard lock(mutex);
        if (isInFlight) return false;
        latest.reset();
        return isInFlight = true;
    }
    void end(std::optional<State> state) {
        const std::lock_guard lock(mutex);
        isInFlight = false;
        latest = state;
    }
    std::optional<State> take() {
        const std::lock_guard lock(mutex);
        return std::exchange(latest, std::nullopt);
    }
};

GoogleIMEWindowReader::GoogleIMEWindowReader(MainLoop& loop, WindowList& windows, SideQueue& queue)
    : loop(loop), windows(windows), queue(queue), reads(std::make_shared<Reads>()) {}

std::function<void()> GoogleIMEWindowReader::readingWork() {
    return [reads = reads, read = windows.reader()] {
        const auto names = read(maximumWindows + 1);
        reads->end(names ? classify(*names) : classify(std::nullopt));
    };
}

std::optional<GoogleIMEWindowReader::Sample> GoogleIMEWindowReader::sampleSince(MainLoop::Duration started) {
    const auto state = reads->take();
    if (!state) return std::nullopt;
    const auto duration = secondsOf(loop.uptime() - started);
    return Sample{duration > queryTimeout ? State::unavailable : *state, secondsOf(started), duration};
}

std::optional<GoogleIMEWindowReader::Sample> GoogleIMEWindowReader::readFresh(double timeout) {
    if (!std::isfinite(timeout) || timeout <= 0) return std::nullopt;
    const auto wait = std::min(timeout, readTimeout);
    if (!reads->begin()) return std::nullopt;
    const auto asked = loop.uptime();
    const bool isInTime = queue.run(
        readingWork(), std::chrono::duration_cast<MainLoop::Duration>(std::chrono::duration<double>(wait)));
    const bool wokeInTime = secondsOf(loop.uptime() - asked) <= wait;
    return isInTime && wokeInTime ? sampleSince(asked) : std::nullopt;
}

Task<std::optional<GoogleIMEWindowReader::Sample>> GoogleIMEWindowReader::read() {
    if (!reads->begin()) co_return std::nullopt;
    const auto asked = loop.uptime();
    const auto read = [work = readingWork()] {
        work();
        return true;
    };
    try {
        co_await loop.background(read);
    } catch (const std::exception&) {
        reads->end(State::unavailable); // There was no thread for it.
    }
    co_return sampleSince(asked);
}

} // namespace orvel
