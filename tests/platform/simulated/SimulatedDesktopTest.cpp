// The loop's account of its holds, and the small ports of the simulated desktop.

#include "Orvel/platform/simulated/SimulatedDesktop.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

struct Notes : SimulatedApplication {
    Notes() : SimulatedApplication("org.example.notes", "1.0", "/Applications/Notes.app") {}
    void typed(const std::string& text) override { held += text; }

    std::string held;
};

class SimulatedDesktopTest : public testing::Test {
  protected:
    SimulatedDesktop desktop;
    SimulatedLoop& loop = desktop.loop;
    Notes notes;
};

TEST_F(SimulatedDesktopTest, longestHoldIsThatOfOneTurn) {
    loop.post([&] {
        loop.spend(3ms);
        loop.spend(4ms);
    });
    loop.post([&] { loop.spend(5ms); });
    loop.outside(1ms, [&] { loop.spend(50ms); });
    loop.run();
    EXPECT_EQ(loop.longestHold().duration, 7ms);
    EXPECT_EQ(loop.longestHold().slowestCall, 4ms);
    EXPECT_EQ(loop.busiestHold().own(), 3ms);
    EXPECT_EQ(loop.latestCall(), 3ms);
}

TEST_F(SimulatedDesktopTest, outsideHappensInTheMiddleOfATurnAndInOrder) {
    std::string order;
    loop.outside(2ms, [&] { order += "b"; });
    loop.outside(1ms, [&] { order += "a"; });
    loop.outside(9ms, [&] { order += "e"; });
    const auto timer = loop.after(3ms, [&] { order += "d"; });
    loop.post([&] {
        loop.spend(5ms);
        order += "c";
    });
    loop.run();
    EXPECT_EQ(order, "abcde");
}

TEST_F(SimulatedDesktopTest, keysWaitForTheTapAndForTheMainThread) {
    auto& applications = desktop.applications;
    applications.install(notes);
    applications.bringToFront(applications.start(notes));
    auto& keyboard = desktop.keyboard;
    keyboard.press("a");
    EXPECT_EQ(notes.held, "a") << "without a tap nothing waits";

    std::vector<TapEventType> seen;
    EXPECT_EQ(keyboard.start([&](const TapEvent& event) {
        seen.push_back(event.type);
        return event.keyCode == 36 ? TapAnswer::swallow : TapAnswer::pass;
    }),
              TapStart::started);
    loop.outside(1ms, [&] { keyboard.press("b"); });
    loop.outside(2ms, [&] { keyboard.press("\n", {.keyCode = 36}); });
    loop.post([&] { loop.spend(8ms); });
    loop.run();
    EXPECT_EQ(notes.held, "ab");
    EXPECT_EQ(keyboard.longestWait(), 7ms);

    loop.outside(1ms, [&] { keyboard.press("c"); });
    loop.post([&] { loop.spend(2s); });
    loop.run();
    EXPECT_EQ(notes.held, "abc") << "a key that waited too long passes";
    EXPECT_FALSE(keyboard.isEnabled());
    EXPECT_EQ(seen.back(), TapEventType::tapDisabledByTimeout);
}

// Says a word now and then, and leaves when its input ends.
class Talker : public SimulatedProgram {
  public:
    Talker(SimulatedChildSide side, int& ended) : SimulatedProgram(side), ended(ended) {}
    ~Talker() override { ++ended; }
    void started() override { talk(); }

  private:
    void talk() {
        side.write("word");
        side.after(10ms, [this] { talk(); });
    }
    int& ended;
};

TEST_F(SimulatedDesktopTest, childrenBreakInManyWays) {
    enum class Way { none, breaksOff, fallsSilent, isOrphaned };
    struct Row {
        Way way;
        std::string_view read;
        bool runsOn;
    };
    for (const auto& [way, read, runsOn] :
         {Row{Way::none, "wordword", true}, Row{Way::breaksOff, "wo", true},
          Row{Way::fallsSilent, "word", true}, Row{Way::isOrphaned, "", false}}) {
        SCOPED_TRACE(static_cast<int>(way));
        auto& processes = desktop.processes;
        int ended = 0;
        processes.programs["/talker"] = [&](SimulatedChildSide side, const ChildLaunch&) {
            return std::make_unique<Talker>(side, ended);
        };
        const auto child = processes.start({.executable = "/talker", .hasPipes = true});
        loop.runFor(5ms);
        if (way == Way::breaksOff) processes.breakOffOutputs();
        if (way == Way::fallsSilent) processes.silenceAll();
        if (way == Way::isOrphaned) processes.orphanAll();
        loop.runFor(10ms);
        std::string text(100, ' ');
        text.resize(child->read(text).count);
        EXPECT_EQ(text, read);
        EXPECT_EQ(processes.running(), runsOn ? 1 : 0);
        EXPECT_EQ(ended, runsOn ? 0 : 1) << "an orphan finds its input closed";
        processes.killAll();
    }
}

TEST_F(SimulatedDesktopTest, readOnTheSideIsWaitedForOnlySoLong) {
    std::optional<std::vector<WindowList::OwnerName>> names;
    const auto read = [&] { names = desktop.windows.reader()(100); };
    desktop.windows.showCandidates(true);
    EXPECT_TRUE(desktop.sideQueue.run(read, 25ms));
    EXPECT_EQ(names->front(), "GoogleJapaneseInputRenderer");

    names.reset();
    desktop.windows.duration = 30ms;
    const auto began = loop.uptime();
    EXPECT_FALSE(desktop.sideQueue.run(read, 25ms));
    EXPECT_EQ(loop.uptime() - began, 25ms);
    EXPECT_FALSE(names);
    loop.run();
    EXPECT_TRUE(names) << "it runs to its end all the same";
}

} // namespace
} // namespace orvel
