#pragma once
// What every platform's list of windows promises. A platform's test makes a world and has the suite run on
// it: INSTANTIATE_TYPED_TEST_SUITE_P(Name, WindowListContractTest, World). A world has
//   static std::string whatIsMissing()   empty where it can be made
//   WindowList::Read list
//   void show(owner), hide(owner)        a window, which comes on top
//   void losesItsWindows()               nothing can be read any more

#include "Orvel/desktop/WindowList.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orvel {

template <typename World>
class WindowListContractTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = World::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        world = std::make_unique<World>();
    }
    std::string shown(std::size_t most = 100) {
        std::string names;
        for (const auto& owner : world->list(most).value_or(std::vector<WindowList::OwnerName>{"none"}))
            if (owner != "") names += owner.value_or("?") + " "; // Of those that aren't the world's.
        return names;
    }

    std::unique_ptr<World> world;
};

TYPED_TEST_SUITE_P(WindowListContractTest);

TYPED_TEST_P(WindowListContractTest, theWindowsOnTheScreenAreListedFromTheTop) {
    EXPECT_EQ(this->shown(), "");
    this->world->show("first");
    this->world->show("second");
    this->world->show("third");
    EXPECT_EQ(this->shown(), "third second first ");
    EXPECT_EQ(this->shown(2), "third second ");
    EXPECT_EQ(this->shown(0), "");
    this->world->hide("second");
    EXPECT_EQ(this->shown(), "third first ");
    this->world->losesItsWindows();
    EXPECT_EQ(this->world->list(100), std::nullopt) << "which is not the same as none";
}

REGISTER_TYPED_TEST_SUITE_P(WindowListContractTest, theWindowsOnTheScreenAreListedFromTheTop);

} // namespace orvel
