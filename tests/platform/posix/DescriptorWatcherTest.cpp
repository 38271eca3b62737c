// What both loops of POSIX programs promise to those who wait for descriptors.

#include "Orvel/platform/posix/DescriptorWatcher.h"

#include "Orvel/platform/posix/Descriptor.h"
#include "runtime/LoopDrivers.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvel {
namespace {

using Use = DescriptorWatcher::Use;

struct TestPipe {
    TestPipe() {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        readEnd = Descriptor(ends[0]);
        writeEnd = Descriptor(ends[1]);
    }
    void fill() const { EXPECT_EQ(write(writeEnd.get(), "x", 1), 1); }

    Descriptor readEnd, writeEnd;
};

template <typename Driver>
class DescriptorWatcherTest : public testing::Test {
  protected:
    // Lets everything happen that is ready by now.
    void settle() {
        const TestPipe pipe;
        pipe.fill();
        std::unique_ptr<DescriptorWatch> watch;
        int rounds = 0;
        const std::function<void(bool)> next = [&](bool) {
            if (++rounds == 3)
                driver.stop();
            else
                watch = driver.loop.watch(pipe.readEnd.get(), Use::read, next);
        };
        watch = driver.loop.watch(pipe.readEnd.get(), Use::read, next);
        runWithin60s(driver);
    }

    Driver driver;
};

using Drivers = testing::Types<PollDriver, QtDriver>;
TYPED_TEST_SUITE(DescriptorWatcherTest, Drivers);

TYPED_TEST(DescriptorWatcherTest, AnActionMayEndAllWatchesAndBeginOthers) {
    TestPipe pipes[3];
    for (const auto& pipe : pipes) pipe.fill();
    std::vector<std::string> log;
    std::unique_ptr<DescriptorWatch> watches[3], idle, late;
    for (int i = 0; i < 3; ++i)
        watches[i] = this->driver.loop.watch(pipes[i].readEnd.get(), Use::read, [&](bool) {
            log.push_back("first");
            for (auto& watch : watches) watch.reset();
            // A new pipe under the old one's numbers, which were ready.
            pipes[2].readEnd.close();
            pipes[2].writeEnd.close();
            pipes[2] = TestPipe();
            idle = this->driver.loop.watch(pipes[2].readEnd.get(), Use::read,
                                           [&](bool) { log.push_back("idle"); });
            late = this->driver.loop.watch(pipes[2].writeEnd.get(), Use::write,
                                           [&](bool) { log.push_back("late"); });
        });
    this->settle();
    EXPECT_EQ(log, (std::vector<std::string>{"first", "late"}));
}

} // namespace
} // namespace orvel
