#include "OrvelCore/composers/AccessibilityPreparation.h"

using namespace orvel;
using Action = AccessibilityPreparation::Action;

TEST(AccessibilityPreparation, RequestsThenWaitsThenProbes) {
    AccessibilityPreparation preparation;
    EXPECT_EQ(preparation.action(7, 100), Action::request);
    EXPECT_EQ(preparation.remainingWait(7, 100), 0);

    preparation.recordRequest(7, 100);
    EXPECT_EQ(preparation.action(7, 102.5), Action::wait);
    EXPECT_EQ(preparation.remainingWait(7, 102.5), 0.5);
    EXPECT_EQ(preparation.action(7, 103), Action::probe);
    EXPECT_EQ(preparation.remainingWait(7, 104), 0);

    preparation.recordProbe(8, true); // Another process says nothing of this one.
    EXPECT_FALSE(preparation.isReady(8));
    preparation.recordProbe(7, false);
    EXPECT_EQ(preparation.action(7, 103), Action::request);
    EXPECT_EQ(preparation.remainingWait(7, 101), 0);

    preparation.recordRequest(7, 200);
    EXPECT_EQ(preparation.attemptCount, 2);
    EXPECT_EQ(preparation.action(7, 202), Action::wait);
    preparation.recordProbe(7, true);
    EXPECT_TRUE(preparation.isReady(7));
    EXPECT_EQ(preparation.action(7, 500), Action::none);
    EXPECT_EQ(preparation.remainingWait(7, 201), 0);
}

TEST(AccessibilityPreparation, BeginsAnewWithAnotherProcess) {
    AccessibilityPreparation preparation;
    preparation.recordRequest(7, 100);
    preparation.recordProbe(7, true);
    EXPECT_EQ(preparation.action(8, 101), Action::request);
    preparation.recordRequest(8, 101);
    EXPECT_EQ(preparation.attemptCount, 1);
    EXPECT_TRUE(preparation.isCurrent(8));
    EXPECT_FALSE(preparation.isReady(7));
}

TEST(AccessibilityPreparation, NeverProbesWithoutATimeForIt) {
    AccessibilityPreparation preparation;
    preparation.currentPID = 7;
    EXPECT_EQ(preparation.action(7, 1e300), Action::wait);
    EXPECT_EQ(preparation.remainingWait(7, 5), 0);
}
