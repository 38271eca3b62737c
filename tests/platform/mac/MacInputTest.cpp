// The input sources and the list of windows of macOS over stand-ins for the system.

#include "fake/FakeMac.h"
#include "platform/InputSourcesContract.h"
#include "platform/WindowListContract.h"

#include "Orvel/platform/mac/MacInputSources.h"
#include "Orvel/platform/mac/MacWindowList.h"

#include <Carbon/Carbon.h>

namespace orvel {
namespace {

using macfake::FakeValue;

using Properties = std::map<CFStringRef, FakeValue>;

Properties layout() {
    return {{kTISPropertyInputSourceID, "com.apple.keylayout.ABC"},
            {kTISPropertyInputSourceType, "TISTypeKeyboardLayout"},
            {kTISPropertyInputSourceIsASCIICapable, true}};
}

Properties japanese() {
    return {{kTISPropertyInputSourceID, "com.google.inputmethod.Japanese.base"},
            {kTISPropertyInputModeID, "com.apple.inputmethod.Japanese"},
            {kTISPropertyInputSourceType, "TISTypeKeyboardInputMode"},
            {kTISPropertyInputSourceIsASCIICapable, false}};
}

struct MacSources {
    static std::string whatIsMissing() { return {}; }
    InputSources& sources() { return port; }
    void useLayout() { mac.source = mac.layout = layout(); }
    void useJapanese() { mac.source = japanese(), mac.layout = layout(); }
    void losesThem() { mac.source = mac.layout = std::nullopt; }

    macfake::FakeMac mac;
    MacInputSources port;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mac, InputSourcesContractTest, MacSources);

TEST(MacInputSourcesTest, eachPropertyIsReadAsWhatItIsAndAbsentIfItIsNot) {
    MacSources world;
    world.useJapanese();
    EXPECT_EQ(world.port.current(),
              (InputSource{"com.google.inputmethod.Japanese.base", "com.apple.inputmethod.Japanese",
                           "TISTypeKeyboardInputMode", false}));
    EXPECT_EQ(world.port.currentLayoutID(), "com.apple.keylayout.ABC");
    world.mac.source = Properties{{kTISPropertyInputSourceID, true},
                                  {kTISPropertyInputModeID, macfake::FakeNull()},
                                  {kTISPropertyInputSourceIsASCIICapable, "yes"}};
    world.mac.layout = Properties();
    EXPECT_EQ(world.port.current(), InputSource());
    EXPECT_EQ(world.port.currentLayoutID(), std::nullopt);
}

struct MacWindows {
    static std::string whatIsMissing() { return {}; }
    void show(const std::string& name) { mac.windows->insert(mac.windows->begin(), {name}); }
    void hide(const std::string& name) {
        for (auto& each : *mac.windows)
            if (std::get<std::string>(each.owner) == name) each.isOnScreen = false;
    }
    void losesItsWindows() { mac.windows.reset(); }

    macfake::FakeMac mac;
    WindowList::Read list = MacWindowList().reader();
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mac, WindowListContractTest, MacWindows);

TEST(MacWindowListTest, anOwnerWithoutAReadableNameIsNobody) {
    MacWindows world;
    world.mac.windows = std::vector<macfake::FakeWindow>{
        {FakeValue()}, {true}, {std::u16string(u"\xD800")}, {"GoogleJapaneseInputRenderer"}};
    using Owners = std::vector<WindowList::OwnerName>;
    EXPECT_EQ(world.list(2049),
              (Owners{std::nullopt, std::nullopt, std::nullopt, "GoogleJapaneseInputRenderer"}));
    EXPECT_EQ(world.list(1), Owners{std::nullopt});
}

} // namespace
} // namespace orvel
