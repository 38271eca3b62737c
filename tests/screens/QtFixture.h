#pragma once
// A Qt application without a display, for tests of what needs one.

#include <functional>

namespace orvel {

/// The application lives as long as the test program runs its tests.
class QtFixture : public testing::Test {
  protected:
    /// Lets Qt work until the condition holds; fails the test if it doesn't within a generous time.
    static void waitFor(const std::function<bool()>& condition);
};

} // namespace orvel
