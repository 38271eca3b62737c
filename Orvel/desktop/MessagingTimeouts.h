#pragma once
// The messaging timeouts that the elements of other programs' windows were given.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <utility>

namespace orvel {

/// `Table` maps what an element is known by to its timeout. Keeps a bounded number of them: those that were
/// set the longest ago are forgotten, and no element waits longer for that. For any thread.
template <typename Table>
class MessagingTimeouts {
  public:
    using Key = typename Table::key_type;
    using Timeout = std::chrono::milliseconds;

    /// Far more than a walk visits.
    static constexpr std::size_t most = 32'768;

    /// `usual` is for elements that were given none.
    explicit MessagingTimeouts(Timeout usual) : other(usual) {}

    /// A timeout that is not above 0 leaves the element without one of its own.
    void set(const Key& key, Timeout timeout) {
        const std::lock_guard lock(mutex);
        older.erase(key);
        if (timeout <= Timeout::zero()) {
            newer.erase(key);
            return;
        }
        if (newer.size() >= most) {
            // Whose timeout is forgotten gets one that is no longer.
            for (const auto& [forgotten, its] : older) other = std::min(other, its);
            older = std::exchange(newer, {});
        }
        newer.insert_or_assign(key, timeout);
    }

    Timeout of(const Key& key) const {
        const std::lock_guard lock(mutex);
        for (const auto* from : {&newer, &older})
            if (const auto found = from->find(key); found != from->end()) return found->second;
        return other;
    }

    /// Of elements without one of their own.
    Timeout ofOthers() const {
        const std::lock_guard lock(mutex);
        return other;
    }

  private:
    mutable std::mutex mutex;
    Table newer, older;
    Timeout other;
};

} // namespace orvel
