#pragma once
// What every platform's input sources promise. A platform's test makes a world and has the suite run on it:
// INSTANTIATE_TYPED_TEST_SUITE_P(Name, InputSourcesContractTest, World). A world has
//   static std::string whatIsMissing()   empty where it can be made
//   InputSources& sources()
//   void useLayout(), useJapanese()      what the person selects
//   void losesThem()                     nothing can be read any more

#include "Orvel/desktop/InputSources.h"

#include <memory>

#include <gtest/gtest.h>

namespace orvel {

template <typename World>
class InputSourcesContractTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = World::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        world = std::make_unique<World>();
    }

    std::unique_ptr<World> world;
};

TYPED_TEST_SUITE_P(InputSourcesContractTest);

TYPED_TEST_P(InputSourcesContractTest, layoutsAndInputMethodsAreToldApart) {
    auto& sources = this->world->sources();
    this->world->useLayout();
    const auto layout = sources.current();
    ASSERT_TRUE(layout && layout->id);
    EXPECT_EQ(layout->isASCIICapable, true);
    EXPECT_FALSE(layout->mode) << "a layout has none";
    EXPECT_TRUE(sources.currentLayoutID());
    EXPECT_EQ(sources.current(), layout) << "looking changes nothing";

    this->world->useJapanese();
    const auto japanese = sources.current();
    ASSERT_TRUE(japanese && japanese->id);
    EXPECT_NE(japanese->id, layout->id);
    EXPECT_TRUE(japanese->mode);
    EXPECT_NE(japanese->isASCIICapable, true);
    EXPECT_NE(japanese->type, layout->type);

    this->world->useLayout();
    EXPECT_EQ(sources.current(), layout);
    this->world->losesThem();
    EXPECT_EQ(sources.current(), std::nullopt);
    EXPECT_EQ(sources.currentLayoutID(), std::nullopt);
}

REGISTER_TYPED_TEST_SUITE_P(InputSourcesContractTest, layoutsAndInputMethodsAreToldApart);

} // namespace orvel
