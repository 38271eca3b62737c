#pragma once
// What the person is told in words: one line on how things stand, and the last failure.

#include "Orvel/runtime/Observable.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace orvel {

/// Every room may say something; what was said last stands. Belongs to the main loop's thread.
class Notices {
  public:
    explicit Notices(const ChangeSignal& changes)
        : statusField(changes, "Open a conversation file or paste a conversation."), errorField(changes) {}

    const std::string& status() const { return statusField; }
    const std::optional<std::string>& error() const { return errorField; }

    /// Each grows with everything that is said, or fails.
    std::uint64_t said() const { return statusField.revision(); }
    std::uint64_t failed() const { return errorField.revision(); }

    void say(std::string text) { statusField = std::move(text); }
    void fail(std::string text) { errorField = std::move(text); }
    /// Of work that nobody awaits: what it did not expect.
    void fail(const std::exception_ptr& failure);
    void dismissError() { errorField = std::nullopt; }

  private:
    Observable<std::string> statusField;
    Observable<std::optional<std::string>> errorField;
};

inline void Notices::fail(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& known) {
        fail(std::string(known.what()));
    }
}

} // namespace orvel
