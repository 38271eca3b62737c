#pragma once
// The start of every test: new fakes.

#include "Fakes.h"

#include <gtest/gtest.h>

namespace orvel {

class GnustepTest : public testing::Test {
  protected:
    GnustepTest() { fakes() = {}; }
};

} // namespace orvel
