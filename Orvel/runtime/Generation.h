#pragma once
// Tells whether an asynchronous result is still wanted.

#include <cstdint>

namespace orvel {

/// The identity of the newest of a kind of operation. Whoever starts one renews it and keeps the value; a
/// result whose value is no longer the current one is dropped.
class Generation {
  public:
    using Value = std::uint64_t;

    Value renew() { return ++value; }
    Value current() const { return value; }
    bool isCurrent(Value kept) const { return kept == value; }

  private:
    Value value = 0;
};

} // namespace orvel
