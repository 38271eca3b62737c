// What every platform's tap and posted keys promise, on the simulated desktop, with the habits of macOS and
// of X, and on a real X server.

#include "platform/KeyboardContract.h"
#include "Orvel/platform/linux/XEventPosting.h"
#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "platform/linux/XTestDesktop.h"

#include <thread>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class SimulatedWorld {
  public:
    static constexpr bool swallowsAnything = true;
    static std::string whatIsMissing() { return {}; }

    SimulatedWorld() {
        screen.applications.install(notes);
        front = screen.applications.start(notes);
        screen.applications.bringToFront(front);
    }
    KeyboardTap& tap() { return screen.keyboard; }
    EventPosting& posting() { return screen.keyboard; }
    ProcessID inFront() const { return front; }
    ProcessID behind() const { return SimulatedApplications::self; }

    void press(std::int64_t code) { press(code, TapEventType::keyDown, false); }
    void release(std::int64_t code) { press(code, TapEventType::keyUp, false); }
    void repeat(std::int64_t code) { press(code, TapEventType::keyDown, true); }
    /// In the middle of a turn that takes so long.
    void whileBusy(const std::function<void()>& happens, std::chrono::milliseconds time) {
        screen.loop.outside(1ms, happens);
        screen.loop.post([this, time] { screen.loop.spend(time); });
        settle();
    }
    void spend(std::chrono::milliseconds time) { screen.loop.spend(time); }
    void settle() { screen.loop.run(); }
    std::string& arrived() { return notes.seen; }

  protected:
    SimulatedDesktop screen;

  private:
    struct Notes : SimulatedApplication {
        Notes() : SimulatedApplication("org.example.notes", "1.0", "/Notes") {}
        void pressed(const SimulatedKey& key) override {
            if (key.event.type != TapEventType::flagsChanged)
                seen += (key.event.type == TapEventType::keyUp ? "-" : "") +
                        std::to_string(key.event.keyCode) + " ";
        }
        std::string seen;
    };

    void press(std::int64_t code, TapEventType type, bool isRepeat) {
        const auto isShift = code == KeyPlace::leftShift;
        screen.keyboard.press("",
                              {.type = isShift ? TapEventType::flagsChanged : type,
                               .keyCode = code,
                               .flags = isShift && type == TapEventType::keyDown ? SyntheticKey::shift : 0,
                               .isRepeat = isRepeat});
    }

    Notes notes;
    ProcessID front = 0;
};

class SimulatedXWorld : public SimulatedWorld {
  public:
    static constexpr bool swallowsAnything = false;
    SimulatedXWorld() { screen.keyboard.beLikeX(); }
};

class XWorld : public XDesktopTest {
  public:
    static constexpr bool swallowsAnything = false;
    static std::string whatIsMissing() { return isInstalled("Xvfb") ? "" : "Xvfb is not installed."; }

    XWorld() {
        XDesktopTest::SetUp();
        other->claim(static_cast<std::uint32_t>(inFront()), "notes");
        other->connection->synchronise();
        held = std::make_unique<XKeyboardTap>(loop, own, server->display());
        posts = std::make_unique<XEventPosting>(*person, own);
    }
    void TestBody() override {}
    KeyboardTap& tap() { return *held; }
    EventPosting& posting() { return *posts; }
    ProcessID inFront() const { return 4711; }
    ProcessID behind() const { return 4712; }

    using XDesktopTest::press;
    using XDesktopTest::release;
    /// A server repeats by itself what is held down.
    void repeat(std::int64_t) {
        runUntil([] { return false; }, 900ms);
    }
    void whileBusy(const std::function<void()>& happens, std::chrono::milliseconds time) {
        happens();
        std::this_thread::sleep_for(time);
        settle();
    }
    void spend(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }
    void settle() {
        EXPECT_TRUE(XDesktopTest::settle());
        runUntil([] { return false; }, 20ms); // The reports are as far as the loop.
    }
    std::string& arrived() { return other->seen; }

  private:
    std::shared_ptr<XOwnInput> own = std::make_shared<XOwnInput>();
    std::unique_ptr<XKeyboardTap> held;
    std::unique_ptr<XEventPosting> posts;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, KeyboardContractTest, SimulatedWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(SimulatedX, KeyboardContractTest, SimulatedXWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(X, KeyboardContractTest, XWorld);

} // namespace
} // namespace orvel
