#include "Orvel/runtime/Observable.h"

#include <string>

using namespace orvel;

TEST(ObservableTest, TellsEveryAssignmentAlsoOfAnEqualValue) {
    ChangeSignal changes;
    Observable<std::string> text(changes, "a");
    int told = 0;
    std::string seen;
    const auto subscription = changes.subscribe([&] {
        ++told;
        seen = text;
    });
    text = "b";
    text = "b";
    EXPECT_EQ(told, 2);
    EXPECT_EQ(seen, "b");
}

TEST(ObservableTest, ListenersMayLeaveAndComeWhileTheyAreTold) {
    ChangeSignal changes;
    std::string log;
    ChangeSignal::Subscription second, late;
    const auto first = changes.subscribe([&] {
        log += "1";
        second = {};
        late = changes.subscribe([&] { log += "3"; });
    });
    second = changes.subscribe([&] { log += "2"; });
    changes.notify();
    EXPECT_EQ(log, "1");
    changes.notify();
    EXPECT_EQ(log, "11"); // The one that came late was replaced by its successor.
}

TEST(ObservableTest, ASubscriptionMayOutliveItsSignal) {
    ChangeSignal::Subscription subscription;
    {
        ChangeSignal changes;
        subscription = changes.subscribe([] {});
    }
    subscription = {};
}
