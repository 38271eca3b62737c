#pragma once
// What this program does through XTest, noted so that its tap can leave it out: such events carry no mark.

#include <chrono>
#include <deque>
#include <mutex>

namespace orvel {

/// Shared by what posts and by the tap. Callable from any thread.
class XOwnInput {
  public:
    enum class Kind { keyDown, keyUp, buttonDown };

    /// To be called before the event is sent, with the keycode or the number of the button.
    void expect(Kind kind, unsigned detail) {
        const std::lock_guard lock(mutex);
        expected.push_back({kind, detail, std::chrono::steady_clock::now() + lifetime});
    }

    /// Whether the event is one of those, each of which is found once.
    bool take(Kind kind, unsigned detail) {
        const std::lock_guard lock(mutex);
        const auto now = std::chrono::steady_clock::now();
        while (!expected.empty() && expected.front().until < now) expected.pop_front();
        for (auto entry = expected.begin(); entry != expected.end(); ++entry) {
            if (entry->kind != kind || entry->detail != detail) continue;
            expected.erase(entry);
            return true;
        }
        return false;
    }

  private:
    struct Entry {
        Kind kind;
        unsigned detail;
        std::chrono::steady_clock::time_point until;
    };

    /// An event that hasn't come by then was not delivered.
    static constexpr std::chrono::seconds lifetime{1};

    std::mutex mutex;
    std::deque<Entry> expected;
};

} // namespace orvel
