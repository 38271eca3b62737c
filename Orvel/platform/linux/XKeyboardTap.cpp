#include "Orvel/platform/linux/XKeyboardTap.h"

#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XKeys.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/posix/WakePipe.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <xcb/xinput.h>

namespace orvel {

namespace {

using Kind = XOwnInput::Kind;

constexpr std::uint32_t rawEvents = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
                                    XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
                                    XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;

// Of another program that presses keys through XTest; the server doesn't say which.
constexpr ProcessID unknownProcess = -1;

std::unique_ptr<XConnection> openWithInput(const std::string& display) {
    auto connection = XConnection::open(display);
    if (!connection || !connection->hasExtension(xcb_input_id)) return nullptr;
    // From 2.1 on, raw events come during other programs' grabs too.
    const auto version = connection->reply<xcb_input_xi_query_version_reply_t>(
        xcb_input_xi_query_version(connection->get(), 2, 2));
    const bool suffices = version && (version->major_version > 2 || version->minor_version >= 1);
    return suffices ? std::move(connection) : nullptr;
}

std::optional<TapEventType> buttonType(std::uint32_t button) {
    if (button == 1) return TapEventType::leftMouseDown;
    if (button == 3) return TapEventType::rightMouseDown;
    const bool isWheel = button >= 4 && button <= 7;
    return isWheel ? std::nullopt : std::optional(TapEventType::otherMouseDown);
}

} // namespace

/// What the main thread and the tap's have in common.
struct XKeyboardTap::Shared {
    enum class Question { none, waits, asked, answered };

    // Of the main thread alone.
    Handler handler;
    bool isAsking = false;

    WakePipe wake; ///< Written when the tap is to stop.
    std::mutex mutex;
    std::condition_variable changed;
    Question question = Question::none;
    TapAnswer answer = TapAnswer::pass;
    std::uint64_t number = 0; ///< Of the question.
    int missed = 0;           ///< How many waited in vain, and the main thread hasn't come to them yet.
    bool isStopping = false, isEnabled = true;

    // On the main thread.
    TapAnswer call(const TapEvent& event) {
        if (!handler) return TapAnswer::pass;
        const auto ask = handler; // Which may stop the tap.
        const bool wasAsking = std::exchange(isAsking, true);
        const auto said = ask(event);
        isAsking = wasAsking;
        return said;
    }
};

/// The grab and its thread.
class XKeyboardTap::Grab {
  public:
    Grab(MainLoop& loop, std::shared_ptr<XOwnInput> own, std::shared_ptr<Shared> shared,
         std::unique_ptr<XConnection> connection)
        : loop(loop),
          own(std::move(own)),
          shared(std::move(shared)),
          connection(std::move(connection)),
          keys(*this->connection) {}
    ~Grab() {
        if (thread.joinable()) thread.join();
    }

    bool begin() {
        findDevices();
        select(rawEvents);
        return grabReturns() && connection->synchronise();
    }
    void runOnItsThread() {
        thread = std::thread([this] { run(); });
    }

  private:
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

    void select(std::uint32_t events) {
        const struct {
            xcb_input_event_mask_t head;
            std::uint32_t mask;
        } wanted{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
        xcb_input_xi_select_events(connection->get(), connection->root(), 1, &wanted.head);
    }

    // A grab names its keyboard: on all of them at once a replayed key would be lost.
    bool grab(xcb_keycode_t keycode) {
        constexpr std::uint32_t anyModifier = XCB_INPUT_MODIFIER_MASK_ANY;
        // Raw events as well: who holds a grab gets no others.
        constexpr std::uint32_t mask =
            XCB_INPUT_XI_EVENT_MASK_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_KEY_RELEASE | rawEvents;
        for (const auto keyboard : keyboards) {
            const auto answer =
                connection->reply<xcb_input_xi_passive_grab_device_reply_t>(xcb_input_xi_passive_grab_device(
                    connection->get(), XCB_CURRENT_TIME, connection->root(), XCB_CURSOR_NONE, keycode,
                    keyboard, 1, 1, XCB_INPUT_GRAB_TYPE_KEYCODE, XCB_INPUT_GRAB_MODE_22_SYNC,
                    XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &mask, &anyModifier));
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

    void allow(Allow mode, std::uint16_t keyboard) {
        xcb_input_xi_allow_events(connection->get(), XCB_CURRENT_TIME, keyboard,
                                  static_cast<std::uint8_t>(mode), 0, XCB_WINDOW_NONE);
        xcb_flush(connection->get());
    }

    // The tap's thread.
    void run() {
        while (!isStopping()) {
            takeAll();
            giveUpUnseen();
            if (!connection->isAlive()) return end(TapEventType::tapDisabledByUserInput);
            xcb_flush(connection->get());
            pollfd wanted[] = {{.fd = connection->descriptor(), .events = POLLIN, .revents = 0},
                               {.fd = shared->wake.readEnd(), .events = POLLIN, .revents = 0}};
            poll(wanted, std::size(wanted), -1);
        }
        // The end of the connection ends its grabs, and keys that they held back go on.
        connection.reset();
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
                    press.type = TapEventType::keyDown;
                    press.isRepeat = true;
                    report(press);
                    report(*releases.front());
                }
            }
        }
    }

    bool isStopping() {
        const std::lock_guard lock(shared->mutex);
        return shared->isStopping;
    }

    void take(const xcb_generic_event_t& event) {
        const auto kind = event.response_type & 0x7F;
        if (kind == XCB_MAPPING_NOTIFY) return readKeysAgain();
        if (kind != XCB_GE_GENERIC) return;
        const auto type = reinterpret_cast<const xcb_ge_generic_event_t&>(event).event_type;
        if (type == XCB_INPUT_KEY_PRESS || type == XCB_INPUT_KEY_RELEASE)
            takeGrabbed(reinterpret_cast<const xcb_input_key_press_event_t&>(event),
                        type == XCB_INPUT_KEY_PRESS);
        if (!isReporting) return;
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
    // one by one. A press goes where it belongs, which ends the grab.
    void takeGrabbed(const xcb_input_key_press_event_t& event, bool isPress) {
        ++grabEvents;
        const auto keycode = static_cast<xcb_keycode_t>(event.detail);
        const bool isReturn = std::find(grabbed.begin(), grabbed.end(), keycode) != grabbed.end();
        if (!isPress) {
            // This release ends the grab by itself: to allow anything could meet the next one's.
            if (keycode == grabbing) return void(grabbing = 0);
            if (!isReturn) passRelease(event);
            return allow(XCB_INPUT_EVENT_MODE_SYNC_DEVICE, event.deviceid);
        }
        if (isReturn && isReporting && askAbout(event, keycode) == TapAnswer::swallow) {
            if (grabbing == 0) grabbing = keycode;
            return allow(XCB_INPUT_EVENT_MODE_SYNC_DEVICE, event.deviceid);
        }
        grabbing = 0;
        allow(XCB_INPUT_EVENT_MODE_REPLAY_DEVICE, event.deviceid);
    }

    TapAnswer askAbout(const xcb_input_key_press_event_t& event, xcb_keycode_t keycode) {
        const bool isRepeat = (event.flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT) != 0;
        std::optional<TapEvent> release; // That came while the press was held back.
        auto& releases = unseen[keycode];
        if (!isRepeat && !releases.empty()) {
            release = releases.front();
            releases.pop_front();
        }
        if (own->take(Kind::keyDown, event.detail)) return TapAnswer::pass;
        const auto answer = ask({.keyCode = keys.code(keycode),
                                 .flags = XKeys::flags(event.mods.effective),
                                 .isRepeat = isRepeat,
                                 .sourceProcess = sourceOf(event.sourceid)});
        if (release) report(*release);
        return answer;
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
        TapEvent made{.type = isPress ? TapEventType::keyDown : TapEventType::keyUp,
                      .keyCode = keys.code(keycode),
                      .sourceProcess = sourceOf(event.sourceid)};
        if (keys.modifier(keycode) != 0) {
            made.type = TapEventType::flagsChanged;
            isPress ? void(held.insert(keycode)) : void(held.erase(keycode));
        }
        const bool isReturn = std::find(grabbed.begin(), grabbed.end(), keycode) != grabbed.end();
        for (const auto modifier : held) made.flags |= keys.modifier(modifier);
        // The press of a Return comes a second time, from the grab, and its release is told after it.
        if (isReturn && isPress) return void(unseen[keycode].emplace_back());
        if (own->take(isPress ? Kind::keyDown : Kind::keyUp, event.detail)) return;
        auto& releases = unseen[keycode];
        if (isReturn && !releases.empty() && !releases.back())
            releases.back() = made;
        else
            report(made);
    }

    void takeRawButton(const xcb_input_raw_button_press_event_t& event) {
        const auto type = buttonType(event.detail);
        if (!type || own->take(Kind::buttonDown, event.detail)) return;
        report({.type = *type, .sourceProcess = sourceOf(event.sourceid)});
    }

    void report(const TapEvent& event) {
        loop.post([shared = shared, event] { shared->call(event); });
    }

    // Returns at the latest when the patience is over.
    TapAnswer ask(const TapEvent& event) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        std::unique_lock lock(shared->mutex);
        const auto number = ++shared->number;
        const bool isHopeless = shared->missed > 0;
        shared->question = isHopeless ? Shared::Question::none : Shared::Question::waits;
        if (isHopeless) ++shared->missed;
        loop.post([shared = shared, number, event] { answer(*shared, number, event); });
        if (isHopeless) return TapAnswer::pass;
        shared->changed.wait_until(lock, deadline, [this] {
            const bool isUnasked = shared->question == Shared::Question::waits;
            return shared->question == Shared::Question::answered || (isUnasked && shared->isStopping);
        });
        const auto stage = std::exchange(shared->question, Shared::Question::none);
        if (stage == Shared::Question::answered) return shared->answer;
        if (stage == Shared::Question::waits) ++shared->missed;
        lock.unlock();
        if (stage == Shared::Question::asked) end(TapEventType::tapDisabledByTimeout);
        return TapAnswer::pass;
    }

    // On the main thread.
    static void answer(Shared& shared, std::uint64_t number, TapEvent event) {
        std::unique_lock lock(shared.mutex);
        const auto isOpen = [&](Shared::Question stage) {
            return shared.number == number && shared.question == stage;
        };
        if (!isOpen(Shared::Question::waits)) {
            --shared.missed;
            lock.unlock();
            event.isRepeat = true;
            shared.call(event);
            return;
        }
        shared.question = Shared::Question::asked;
        lock.unlock();
        const auto said = shared.call(event);
        lock.lock();
        if (!isOpen(Shared::Question::asked)) return; // Too late; the key has passed.
        shared.answer = said;
        shared.question = Shared::Question::answered;
        shared.changed.notify_all();
    }

    // Lets all keys pass from now on.
    void end(TapEventType reason) {
        for (const auto keycode : grabbed) ungrab(keycode);
        xcb_flush(connection->get());
        isReporting = false;
        {
            const std::lock_guard lock(shared->mutex);
            shared->isEnabled = false;
        }
        report({.type = reason});
    }

    MainLoop& loop;
    std::shared_ptr<XOwnInput> own;
    std::shared_ptr<Shared> shared;
    std::unique_ptr<XConnection> connection;
    XKeys keys;
    std::vector<std::uint16_t> keyboards;
    std::set<std::uint16_t> synthetic; ///< The devices of XTest.
    std::vector<xcb_keycode_t> grabbed;
    std::set<xcb_keycode_t> held; ///< Modifiers.
    /// Returns that were pressed and have not come from the grab, with their releases where they have come.
    std::map<xcb_keycode_t, std::deque<std::optional<TapEvent>>> unseen;
    std::uint64_t grabEvents = 0;
    xcb_keycode_t grabbing = 0; ///< The swallowed key that keeps the grab.
    bool isReporting = true;
    std::thread thread;
};

XKeyboardTap::XKeyboardTap(MainLoop& loop, std::shared_ptr<XOwnInput> own, std::string display)
    : loop(loop),
      own(std::move(own)),
      display(std::move(display)),
      available(openWithInput(this->display) != nullptr) {}

XKeyboardTap::~XKeyboardTap() {
    XKeyboardTap::stop();
}

TapStart XKeyboardTap::start(Handler handler) {
    grab.reset();
    auto connection = openWithInput(display);
    if (!connection) return TapStart::refused;
    try {
        auto common = std::make_shared<Shared>();
        common->handler = std::move(handler);
        auto made = std::make_unique<Grab>(loop, own, common, std::move(connection));
        if (!made->begin()) return TapStart::refused;
        made->runOnItsThread();
        shared = std::move(common);
        grab = std::move(made);
        return TapStart::started;
    } catch (const std::system_error&) {
        return TapStart::notAttached; // No thread, or no pipe.
    }
}

void XKeyboardTap::stop() {
    if (!shared) return;
    {
        const std::lock_guard lock(shared->mutex);
        shared->isStopping = true;
    }
    shared->changed.notify_all();
    shared->wake.wake();
    shared->handler = nullptr;
    // The key for which its handler is just being asked waits for the answer first.
    const bool isAsking = shared->isAsking;
    shared.reset();
    if (!isAsking) grab.reset();
}

bool XKeyboardTap::isEnabled() {
    if (!shared) return false;
    const std::lock_guard lock(shared->mutex);
    return shared->isEnabled;
}

} // namespace orvel
