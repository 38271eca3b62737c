#include "Orvel/platform/linux/XEventPosting.h"

#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XKeys.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/linux/XSentKey.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include <xcb/xtest.h>

namespace orvel {

namespace {

using Kind = XOwnInput::Kind;

constexpr xcb_button_t leftButton = 1;

// Press and release for the window that has the focus, if it is the process's.
class SentKey : public PreparedEvents {
  public:
    SentKey(XConnection& connection, XStroke stroke, ProcessID process)
        : connection(connection), stroke(stroke), process(process) {}

    void post() override {
        if (!std::exchange(isPosted, true)) sendKeys(connection, std::array{stroke}, process);
    }

  private:
    XConnection& connection;
    XStroke stroke;
    ProcessID process;
    bool isPosted = false;
};

// Input as a keyboard or a mouse would make it.
struct Fake {
    std::uint8_t type = 0, detail = 0;
    std::int16_t x = 0, y = 0;
};

class FakedInput : public PreparedEvents {
  public:
    FakedInput(XConnection& connection, std::shared_ptr<XOwnInput> own, std::vector<Fake> fakes)
        : connection(connection), own(std::move(own)), fakes(std::move(fakes)) {}

    void post() override {
        for (const auto& fake : std::exchange(fakes, {})) {
            if (fake.type == XCB_KEY_PRESS) own->expect(Kind::keyDown, fake.detail);
            if (fake.type == XCB_KEY_RELEASE) own->expect(Kind::keyUp, fake.detail);
            if (fake.type == XCB_BUTTON_PRESS) own->expect(Kind::buttonDown, fake.detail);
            xcb_test_fake_input(connection.get(), fake.type, fake.detail, XCB_CURRENT_TIME, connection.root(),
                                fake.x, fake.y, 0);
        }
        xcb_flush(connection.get());
    }

  private:
    XConnection& connection;
    std::shared_ptr<XOwnInput> own;
    std::vector<Fake> fakes;
};

// The modifiers are pressed around the key; nothing if the keyboard lacks one.
std::optional<std::vector<Fake>> strokeWithModifiers(const XKeys& keys, const SyntheticKey& key) {
    constexpr std::int64_t leftControl = 55, leftShift = 56, leftAlt = 58;
    std::vector<std::int64_t> codes;
    if (key.flags & (SyntheticKey::command | SyntheticKey::control)) codes.push_back(leftControl);
    if (key.flags & SyntheticKey::shift) codes.push_back(leftShift);
    if (key.flags & SyntheticKey::option) codes.push_back(leftAlt);
    codes.push_back(key.keyCode);
    std::vector<Fake> presses, releases;
    for (const auto code : codes) {
        const auto stroke = keys.stroke(code, 0);
        if (!stroke || stroke->state != 0) return std::nullopt;
        presses.push_back({XCB_KEY_PRESS, stroke->keycode});
        releases.insert(releases.begin(), {XCB_KEY_RELEASE, stroke->keycode});
    }
    presses.insert(presses.end(), releases.begin(), releases.end());
    return presses;
}

bool isOnScreen(double place) {
    return std::isfinite(place) && place >= 0 && place <= std::numeric_limits<std::int16_t>::max();
}

} // namespace

XEventPosting::XEventPosting(XConnection& connection, std::shared_ptr<XOwnInput> own)
    : connection(connection), own(std::move(own)), hasXTest(connection.hasExtension(xcb_test_id)) {}

std::unique_ptr<PreparedEvents> XEventPosting::key(SyntheticKey key, std::optional<ProcessID> process) {
    const XKeys keys(connection);
    if (process) {
        const auto stroke = keys.stroke(key.keyCode, key.flags);
        return stroke ? std::make_unique<SentKey>(connection, *stroke, *process) : nullptr;
    }
    auto fakes = hasXTest ? strokeWithModifiers(keys, key) : std::nullopt;
    return fakes ? std::make_unique<FakedInput>(connection, own, std::move(*fakes)) : nullptr;
}

std::unique_ptr<PreparedEvents> XEventPosting::click(AXPoint point) {
    if (!hasXTest || !connection.isAlive() || !isOnScreen(point.x) || !isOnScreen(point.y)) return nullptr;
    const auto x = static_cast<std::int16_t>(std::lround(point.x));
    const auto y = static_cast<std::int16_t>(std::lround(point.y));
    return std::make_unique<FakedInput>(connection, own,
                                        std::vector<Fake>{{XCB_MOTION_NOTIFY, 0, x, y},
                                                          {XCB_BUTTON_PRESS, leftButton},
                                                          {XCB_BUTTON_RELEASE, leftButton}});
}

} // namespace orvel
