#include "Orvel/platform/linux/KeyboardGuard.h"

#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XInput.h"
#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XKeys.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>
#include <xcb/xinput.h>

namespace orvel {

namespace {

using Kind = XOwnInput::Kind;
using Clock = GuardLink::Clock;

constexpr std::uint32_t rawEvents = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
                                    XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
                                    XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;

// Raw events as well: who holds a grab gets no others.
constexpr std::uint32_t grabMask =
    XCB_INPUT_XI_EVENT_MASK_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_KEY_RELEASE | rawEvents;

// Of another program that presses keys through XTest; the server doesn't say which.
constexpr ProcessID unknownProcess = -1;

std::optional<TapEventType> buttonType(std::uint32_t button) {
    if (button == 1) return TapEventType::leftMouseDown;
    if (button == 3) return TapEventType::rightMouseDown;
    const bool isWheel = button >= 4 && button <= 7;
    return isWheel ? std::nullopt : std::optional(TapEventType::otherMouseDown);
}

/// What the server said, and what Orvel is told of it.
struct Input {
    TapEvent event;
    Kind kind = Kind::keyDown;
    std::uint32_t detail = 0;
};

class KeyboardGuard {
  public:
    KeyboardGuard(const GuardLink& link, std::unique_ptr<XConnection> connection)
        : link(link), connection(std::move(connection)), keys(*this->connection) {}

    bool begin() {
        findDevices();
        selectRawEvents(*connection, rawEvents);
        return grabReturns() && connection->synchronise();
    }

    void run() {
        while (isGuarding) {
            takeAll();
            giveUpUnseen();
            takeMessages();
            if (!connection->isAlive()) end(TapEventType::tapDisabledByUserInput);
            if (!isGuarding) break;
            xcb_flush(connection->get());
            pollfd wanted[] = {{.fd = connection->descriptor(), .events = POLLIN, .revents = 0},
                               {.fd = link.descriptor(), .events = POLLIN, .revents = 0}};
            poll(wanted, std::size(wanted), -1);
        }
        letGo();
        if (reason) link.send({.kind = GuardMessage::Kind::disabled, .event = {.type = *reason}});
    }

  private:
    enum class Question { none, waits, taken, answered };
    using Allow = xcb_input_event_mode_t;

    void findDevices() {
        const auto answer = connection->reply<xcb_input_xi_query_device_reply_t>(
            xcb_input_xi_query_device(connection->get(), XCB_INPUT_DEVICE_ALL));
        if (!answer) return;
        auto device = xcb_input_xi_query_device_infos_iterator(answer.get());
        for (; device.rem > 0; xcb_input_xi_device_info_next(&device)) {
            const std::string_view name(
                xcb_input_xi_device_info_name(device.data),
                static_cast<std::size_t>(xcb_input_xi_device_info_name_length(device.data)));
            if (device.data->type == XCB_INPUT_DEVICE_TYPE_MASTER_KEYBOARD)
                keyboards.push_back(device.data->deviceid);
            else if (name.find("XTEST") != name.npos)
                synthetic.insert(device.data->deviceid);
        }
    }

    // A grab names its keyboard: on all of them at once a replayed key would be lost.
    bool grab(xcb_keycode_t keycode) {
        constexpr std::uint32_t anyModifier = XCB_INPUT_MODIFIER_MASK_ANY;
        for (const auto keyboard : keyboards) {
            const auto answer =
                connection->reply<xcb_input_xi_passive_grab_device_reply_t>(xcb_input_xi_passive_grab_device(
                    connection->get(), XCB_CURRENT_TIME, connection->root(), XCB_CURSOR_NONE, keycode,
                    keyboard, 1, 1, XCB_INPUT_GRAB_TYPE_KEYCODE, XCB_INPUT_GRAB_MODE_22_SYNC,
                    XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &grabMask, &anyModifier));
            if (!answer || answer->num_modifiers > 0) return false; // Those that were refused.
        }
        return true;
    }

    void ungrab(xcb_keycode_t keycode) {
        constexpr std::uint32_t anyModifier = XCB_INPUT_MODIFIER_MASK_ANY;
        for (const auto keyboard : keyboards)
            xcb_input_xi_passive_ungrab_device(connection->get(), connection->root(), keycode, keyboard, 1,
                                               XCB_INPUT_GRAB_TYPE_KEYCODE, &anyModifier);
    }

    // What is grabbed already stays so: the tables are also told to have changed where another keyboard is
    // used, and no Return may slip through between two grabs.
    bool grabReturns() {
        const auto returns = keys.returns();
        const auto isIn = [](const auto& keycodes, xcb_keycode_t keycode) {
            return std::find(keycodes.begin(), keycodes.end(), keycode) != keycodes.end();
        };
        for (const auto keycode : grabbed)
            if (!isIn(returns, keycode)) ungrab(keycode);
        for (const auto keycode : returns)
            if (!isIn(grabbed, keycode) && !grab(keycode)) return false;
        grabbed = returns;
        return !keyboards.empty() && !grabbed.empty();
    }

    // What is held back goes where it belongs, and after it all else.
    void letGo() {
        for (const auto keycode : grabbed) ungrab(keycode);
        for (const auto keyboard : keyboards) {
            allow(XCB_INPUT_EVENT_MODE_REPLAY_DEVICE, keyboard);
            xcb_input_xi_ungrab_device(connection->get(), XCB_CURRENT_TIME, keyboard);
        }
        connection->synchronise();
        connection.reset();
    }

    void allow(Allow mode, std::uint16_t keyboard) {
        xcb_input_xi_allow_events(connection->get(), XCB_CURRENT_TIME, keyboard,
                                  static_cast<std::uint8_t>(mode), 0, XCB_WINDOW_NONE);
        xcb_flush(connection->get());
    }

    void takeAll() {
        while (const XOwned<xcb_generic_event_t> event{xcb_poll_for_event(connection->get())}) take(*event);
    }

    // Raw events don't wait where the keyboard stands still; those of the grab do. Once nothing stands still
    // and the server has sent all that it has, what hasn't come from the grab went to another program's.
    void giveUpUnseen() {
        const auto isDone = [](const auto& entry) { return !entry.second.empty() && entry.second.front(); };
        while (std::any_of(unseen.begin(), unseen.end(), isDone)) {
            const auto before = grabEvents;
            const bool answers = connection->synchronise();
            takeAll();
            if (answers && grabEvents != before) continue;
            for (auto& [keycode, releases] : unseen) {
                for (; !releases.empty() && releases.front(); releases.pop_front()) {
                    auto press = *releases.front();
                    press.kind = Kind::keyDown;
                    press.event.type = TapEventType::keyDown;
                    press.event.isRepeat = true;
                    report(press);
                    report(*releases.front());
                }
            }
        }
    }

    void take(const xcb_generic_event_t& event) {
        const auto kind = event.response_type & 0x7F;
        if (kind == XCB_MAPPING_NOTIFY) return readKeysAgain();
        if (kind != XCB_GE_GENERIC) return;
        const auto type = reinterpret_cast<const xcb_ge_generic_event_t&>(event).event_type;
        if (type == XCB_INPUT_KEY_PRESS || type == XCB_INPUT_KEY_RELEASE)
            takeGrabbed(reinterpret_cast<const xcb_input_key_press_event_t&>(event),
                        type == XCB_INPUT_KEY_PRESS);
        if (!isGuarding) return;
        if (type == XCB_INPUT_RAW_KEY_PRESS || type == XCB_INPUT_RAW_KEY_RELEASE)
            takeRawKey(reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event),
                       type == XCB_INPUT_RAW_KEY_PRESS);
        else if (type == XCB_INPUT_RAW_BUTTON_PRESS)
            takeRawButton(reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event));
    }

    void readKeysAgain() {
        keys = XKeys(*connection);
        if (!grabReturns()) end(TapEventType::tapDisabledByUserInput);
    }

    ProcessID sourceOf(std::uint16_t device) const { return synthetic.contains(device) ? unknownProcess : 0; }

    // The keyboard stands still until it is allowed to go on. A key that was swallowed keeps the grab until
    // it is released, since its release would be delivered otherwise, and whatever comes meanwhile stops here
    // one by one.
    void takeGrabbed(const xcb_input_key_press_event_t& event, bool isPress) {
        ++grabEvents;
        const auto keycode = static_cast<xcb_keycode_t>(event.detail);
        const bool isReturn = std::find(grabbed.begin(), grabbed.end(), keycode) != grabbed.end();
        if (!isPress) {
            if (keycode == grabbing) return endSwallowing(event.deviceid);
            if (!isReturn) passRelease(event);
            return allow(XCB_INPUT_EVENT_MODE_SYNC_DEVICE, event.deviceid);
        }
        if (isReturn && isGuarding && askAbout(event, keycode) == TapAnswer::swallow) {
            if (grabbing == 0) grabbing = keycode;
            return allow(XCB_INPUT_EVENT_MODE_SYNC_DEVICE, event.deviceid);
        }
        passPress(event.deviceid, grabbing != 0 && keycode != grabbing && isGuarding);
    }

    // A press goes where it belongs, which ends the grab. While a swallowed key is held the keyboard is
    // grabbed again in the same breath; what was released before that, behind the press, is delivered.
    void passPress(std::uint16_t keyboard, bool grabsAgain) {
        allow(XCB_INPUT_EVENT_MODE_REPLAY_DEVICE, keyboard);
        hasGrabbedAgain = grabsAgain && grabAll(keyboard);
        if (hasGrabbedAgain)
            allow(XCB_INPUT_EVENT_MODE_SYNC_DEVICE, keyboard);
        else
            grabbing = 0;
    }

    bool grabAll(std::uint16_t keyboard) {
        const auto answer = connection->reply<xcb_input_xi_grab_device_reply_t>(
            xcb_input_xi_grab_device(connection->get(), connection->root(), XCB_CURRENT_TIME, XCB_CURSOR_NONE,
                                     keyboard, XCB_INPUT_GRAB_MODE_22_SYNC, XCB_INPUT_GRAB_MODE_22_ASYNC,
                                     XCB_INPUT_GRAB_OWNER_NO_OWNER, 1, &grabMask));
        return answer && answer->status == XCB_GRAB_STATUS_SUCCESS;
    }

    // A grab that its press began ends by itself with the release: to allow anything could meet the next
    // one's.
    void endSwallowing(std::uint16_t keyboard) {
        grabbing = 0;
        if (!std::exchange(hasGrabbedAgain, false)) return;
        xcb_input_xi_ungrab_device(connection->get(), XCB_CURRENT_TIME, keyboard);
        xcb_flush(connection->get());
    }

    TapAnswer askAbout(const xcb_input_key_press_event_t& event, xcb_keycode_t keycode) {
        const bool isRepeat = (event.flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT) != 0;
        std::optional<Input> release; // That came while the press was held back.
        auto& releases = unseen[keycode];
        if (!isRepeat && !releases.empty()) {
            release = releases.front();
            releases.pop_front();
        }
        const auto said = ask({.event = {.keyCode = keys.code(keycode),
                                         .flags = XKeys::flags(event.mods.effective),
                                         .isRepeat = isRepeat,
                                         .sourceProcess = sourceOf(event.sourceid)},
                               .detail = event.detail});
        if (release) report(*release);
        return said;
    }

    // The release of a key that was pressed before the one that is swallowed. To replay it would end the
    // grab.
    void passRelease(const xcb_input_key_press_event_t& event) {
        constexpr std::uint32_t toFocus = XCB_SEND_EVENT_DEST_ITEM_FOCUS;
        const xcb_key_release_event_t sent{
            .response_type = XCB_KEY_RELEASE,
            .detail = static_cast<xcb_keycode_t>(event.detail),
            .time = event.time,
            .root = connection->root(),
            .event = connection->root(),
            .state = static_cast<std::uint16_t>(event.mods.effective |
                                                static_cast<std::uint32_t>(event.group.effective) << 13U),
            .same_screen = 1};
        xcb_send_event(connection->get(), 0, toFocus, XCB_EVENT_MASK_KEY_RELEASE,
                       reinterpret_cast<const char*>(&sent));
    }

    void takeRawKey(const xcb_input_raw_key_press_event_t& event, bool isPress) {
        const auto keycode = static_cast<xcb_keycode_t>(event.detail);
        Input made{.event = {.type = isPress ? TapEventType::keyDown : TapEventType::keyUp,
                             .keyCode = keys.code(keycode),
                             .sourceProcess = sourceOf(event.sourceid)},
                   .kind = isPress ? Kind::keyDown : Kind::keyUp,
                   .detail = event.detail};
        if (keys.modifier(keycode) != 0) {
            made.event.type = TapEventType::flagsChanged;
            isPress ? void(held.insert(keycode)) : void(held.erase(keycode));
        }
        const bool isReturn = std::find(grabbed.begin(), grabbed.end(), keycode) != grabbed.end();
        for (const auto modifier : held) made.event.flags |= keys.modifier(modifier);
        // The press of a Return comes a second time, from the grab, and its release is told after it.
        auto& releases = unseen[keycode];
        if (isReturn && isPress)
            releases.emplace_back();
        else if (isReturn && !releases.empty() && !releases.back())
            releases.back() = made;
        else
            report(made);
    }

    void takeRawButton(const xcb_input_raw_button_press_event_t& event) {
        const auto type = buttonType(event.detail);
        if (type)
            report({.event = {.type = *type, .sourceProcess = sourceOf(event.sourceid)},
                    .kind = Kind::buttonDown,
                    .detail = event.detail});
    }

    void say(const GuardMessage& message) {
        if (!link.send(message)) isGuarding = false; // Orvel is gone, or hasn't read for long.
    }

    void report(const Input& input) {
        say({.kind = GuardMessage::Kind::event,
             .event = input.event,
             .input = input.kind,
             .detail = input.detail});
    }

    // Returns at the latest when the patience is over.
    TapAnswer ask(const Input& press) {
        const auto deadline = Clock::now() + XKeyboardTap::patience;
        GuardMessage message{.kind = GuardMessage::Kind::question,
                             .event = press.event,
                             .input = press.kind,
                             .detail = press.detail,
                             .number = ++number,
                             .deadline = deadline.time_since_epoch().count()};
        takeMessages(); // It may just have caught up.
        if (missed > 0) {
            ++missed;
            message.kind = GuardMessage::Kind::missed;
            say(message);
            return TapAnswer::pass;
        }
        question = Question::waits;
        answer = TapAnswer::pass;
        say(message);
        // What Orvel has said by the deadline counts, however late this process comes to it.
        for (bool isLast = false; isGuarding && !isLast && question != Question::answered;) {
            isLast = !link.waitUntil(deadline);
            takeMessages();
        }
        const auto stage = std::exchange(question, Question::none);
        if (stage == Question::waits) ++missed;
        if (stage == Question::taken && isGuarding) end(TapEventType::tapDisabledByTimeout);
        message.kind = GuardMessage::Kind::settled;
        link.send(message);
        return answer;
    }

    void takeMessages() {
        GuardMessage message;
        auto receipt = GuardLink::Receipt::received;
        while ((receipt = link.receive(message)) == GuardLink::Receipt::received) take(message);
        if (receipt == GuardLink::Receipt::closed) isGuarding = false;
    }

    void take(const GuardMessage& message) {
        const bool isOpen = question != Question::none && message.number == number;
        switch (message.kind) {
        case GuardMessage::Kind::taken:
            if (isOpen) question = Question::taken;
            break;
        case GuardMessage::Kind::answer:
            if (!isOpen) break;
            answer = message.answer;
            question = Question::answered;
            break;
        case GuardMessage::Kind::caughtUp:
            if (isOpen)
                question = Question::answered;
            else if (missed > 0)
                --missed;
            break;
        case GuardMessage::Kind::areYouAlive: say({.kind = GuardMessage::Kind::alive}); break;
        default: break;
        }
    }

    // Lets all keys pass from now on.
    void end(TapEventType why) {
        isGuarding = false;
        reason = why;
    }

    const GuardLink& link;
    std::unique_ptr<XConnection> connection;
    XKeys keys;
    std::vector<std::uint16_t> keyboards;
    std::set<std::uint16_t> synthetic; ///< The devices of XTest.
    std::vector<xcb_keycode_t> grabbed;
    std::set<xcb_keycode_t> held; ///< Modifiers.
    /// Returns that were pressed and have not come from the grab, with their releases where they have come.
    std::map<xcb_keycode_t, std::deque<std::optional<Input>>> unseen;
    std::uint64_t grabEvents = 0;
    xcb_keycode_t grabbing = 0;   ///< The swallowed key that keeps the grab.
    bool hasGrabbedAgain = false; ///< By itself, not with the press of that key.
    bool isGuarding = true;
    std::optional<TapEventType> reason; ///< Why it guards no more, where Orvel doesn't know.
    Question question = Question::none;
    TapAnswer answer = TapAnswer::pass;
    std::uint64_t number = 0; ///< Of the question.
    int missed = 0;           ///< How many waited in vain, and Orvel hasn't come to them yet.
};

} // namespace

int runKeyboardGuard(GuardLink link, const std::string& display) {
    constexpr std::chrono::seconds greetingLimit{2};
    if (!link.greet(GuardLink::Side::guard, Clock::now() + greetingLimit)) return EXIT_FAILURE;
    auto connection = openWithInput(display);
    const auto guard = connection ? std::make_unique<KeyboardGuard>(link, std::move(connection)) : nullptr;
    const bool isReady = guard && guard->begin();
    link.send({.kind = isReady ? GuardMessage::Kind::ready : GuardMessage::Kind::refused});
    if (!isReady) return EXIT_FAILURE;
    guard->run();
    return EXIT_SUCCESS;
}

} // namespace orvel
