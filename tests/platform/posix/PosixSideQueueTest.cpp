// The thread beside the main loop: order, patience, and what becomes of work that comes too late.

#include "Orvel/platform/posix/PosixSideQueue.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace orvel {
namespace {

using namespace std::chrono_literals;

// Work that hangs until it is let go; whoever reads `log` has waited for the work or for the queue's end.
struct Hanging {
    std::promise<void> letGo;
    std::shared_ptr<std::string> log = std::make_shared<std::string>();

    std::function<void()> work() {
        return [gate = letGo.get_future().share(), log = log] {
            gate.wait();
            *log += "hung ";
        };
    }
    std::function<void()> note(std::string word) const {
        return [log = log, word = std::move(word)] { *log += word + " "; };
    }
};

TEST(PosixSideQueueTest, WaitsForWorkThatRunsOnAnotherThreadAndHoldsNothingAfterwards) {
    PosixSideQueue queue;
    const auto ran = std::make_shared<std::thread::id>();
    for (int i = 0; i < 100; ++i) {
        *ran = {};
        EXPECT_TRUE(queue.run([ran] { *ran = std::this_thread::get_id(); }, 60s));
        EXPECT_NE(*ran, std::thread::id());
        EXPECT_NE(*ran, std::this_thread::get_id());
        EXPECT_EQ(ran.use_count(), 1);
    }
}

TEST(PosixSideQueueTest, LateWorkGoesOnAndKeepsItsPlaceBeforeLaterWork) {
    PosixSideQueue queue;
    Hanging hanging;
    EXPECT_FALSE(queue.run(hanging.work(), 1ms));
    EXPECT_FALSE(queue.run(hanging.note("second"), 1ms));
    hanging.letGo.set_value();
    EXPECT_TRUE(queue.run(hanging.note("third"), 60s));
    EXPECT_EQ(*hanging.log, "hung second third ");
}

TEST(PosixSideQueueTest, ItsEndWaitsForTheWorkThatRunsAndDropsTheRest) {
    auto queue = std::make_unique<PosixSideQueue>();
    Hanging hanging;
    std::promise<void> begun;
    EXPECT_FALSE(queue->run(
        [&begun, work = hanging.work()] {
            begun.set_value();
            work();
        },
        1ms));
    EXPECT_FALSE(queue->run(hanging.note("never"), 1ms));
    begun.get_future().wait();
    // Let go by what is dropped, so that the work still hangs when the queue ends.
    struct LetGo {
        std::promise<void>& promise;
        ~LetGo() { promise.set_value(); }
    };
    auto letGo = std::make_shared<LetGo>(hanging.letGo);
    EXPECT_FALSE(queue->run([letGo = std::move(letGo)] {}, 1ms));
    queue.reset();
    EXPECT_EQ(*hanging.log, "hung ");
}

} // namespace
} // namespace orvel
