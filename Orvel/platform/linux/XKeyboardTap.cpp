#include "Orvel/platform/linux/XKeyboardTap.h"

#include "Orvel/platform/linux/KeyboardGuardProcess.h"
#include "Orvel/platform/linux/XInput.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/posix/WakePipe.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>
#include <xcb/xinput.h>

namespace orvel {

namespace {

using Clock = GuardLink::Clock;
using Kind = GuardMessage::Kind;

bool isPast(const GuardMessage& message) {
    return Clock::now().time_since_epoch().count() > message.deadline;
}

} // namespace

/// What the main thread and the tap's have in common.
struct XKeyboardTap::Shared {
    // Of the main thread alone.
    Handler handler;
    bool isAsking = false;

    WakePipe wake; ///< Written when there is something to look at below.
    std::mutex mutex;
    std::unique_ptr<KeyboardGuardProcess> guard;
    bool isTaken = false; ///< A question, which is to be answered.
    bool isStopping = false, isEnabled = true;

    bool say(const GuardMessage& message) {
        const std::lock_guard lock(mutex);
        return guard && guard->link().send(message);
    }

    // On the main thread.
    TapAnswer call(const TapEvent& event) {
        if (!handler) return TapAnswer::pass;
        const auto ask = handler; // Which may stop the tap.
        const bool wasAsking = std::exchange(isAsking, true);
        const auto said = ask(event);
        isAsking = wasAsking;
        return said;
    }

    // On the main thread. What the guard has been told by the deadline it goes by, so this side knows which
    // way a question went.
    void answer(GuardMessage question) {
        const auto about = [&question](Kind kind) {
            return GuardMessage{.kind = kind, .number = question.number};
        };
        const bool isOpen = question.kind == Kind::question && !isPast(question) && say(about(Kind::taken)) &&
                            !isPast(question);
        if (!isOpen) {
            say(about(Kind::caughtUp));
            question.event.isRepeat = true;
            call(question.event);
            return;
        }
        setTaken(true);
        auto answered = about(Kind::answer);
        answered.answer = call(question.event);
        say(answered);
        setTaken(false);
    }

    void setTaken(bool taken) {
        const std::lock_guard lock(mutex);
        isTaken = taken;
        if (!taken && isStopping) wake.wake();
    }
};

/// The thread that hears the guard, and sees that it lives.
class XKeyboardTap::Listener {
  public:
    Listener(MainLoop& loop, std::shared_ptr<XOwnInput> own, std::shared_ptr<Shared> shared,
             std::unique_ptr<XConnection> presses)
        : loop(loop), own(std::move(own)), shared(std::move(shared)), presses(std::move(presses)) {}
    ~Listener() {
        if (thread.joinable()) thread.join();
    }

    void runOnItsThread() {
        thread = std::thread([this] { run(); });
    }

  private:
    /// A guard that takes longer to show that it lives is ended. So long a keyboard can stand still.
    static constexpr std::chrono::milliseconds lifeLimit{200}, settleLimit{50}, grace{50};

    void run() {
        const auto& link = shared->guard->link();
        while (!isToStop()) {
            takePresses();
            const bool isThere = takeMessages(link);
            if (!isThere || !presses->isAlive() || isOverdue(link)) {
                disable(TapEventType::tapDisabledByUserInput);
                break;
            }
            pollfd wanted[] = {{.fd = link.descriptor(), .events = POLLIN, .revents = 0},
                               {.fd = shared->wake.readEnd(), .events = POLLIN, .revents = 0},
                               {.fd = presses->descriptor(), .events = POLLIN, .revents = 0}};
            poll(wanted, std::size(wanted), timeout());
            shared->wake.drain();
        }
        std::unique_ptr<KeyboardGuardProcess> guard;
        {
            const std::lock_guard lock(shared->mutex);
            guard = std::move(shared->guard);
        }
        if (isHung) guard->kill();
    }

    // Not before a question that was taken has its answer.
    bool isToStop() {
        const std::lock_guard lock(shared->mutex);
        return shared->isStopping && !shared->isTaken;
    }

    // Presses are told raw where the keyboard stands still too, so at each of them the guard must live.
    void takePresses() {
        bool isPressed = false;
        while (const XOwned<xcb_generic_event_t> event{xcb_poll_for_event(presses->get())})
            isPressed |= (event->response_type & 0x7F) == XCB_GE_GENERIC;
        if (!isPressed || aliveBy) return;
        shared->say({.kind = Kind::areYouAlive});
        aliveBy = Clock::now() + lifeLimit;
    }

    bool takeMessages(const GuardLink& link) {
        GuardMessage message;
        auto receipt = GuardLink::Receipt::received;
        while ((receipt = link.receive(message)) == GuardLink::Receipt::received) take(message);
        return receipt == GuardLink::Receipt::nothing;
    }

    void take(const GuardMessage& message) {
        switch (message.kind) {
        case Kind::event:
            if (!isOwn(message)) report(message.event);
            break;
        case Kind::question:
            settledBy = Clock::time_point(std::chrono::nanoseconds(message.deadline)) + settleLimit;
            [[fallthrough]];
        case Kind::missed:
            if (isOwn(message))
                shared->say({.kind = Kind::caughtUp, .number = message.number});
            else
                loop.post([shared = shared, message] { shared->answer(message); });
            break;
        case Kind::settled: settledBy.reset(); break;
        case Kind::alive: aliveBy.reset(); break;
        case Kind::disabled: disable(message.event.type); break;
        default: break;
        }
    }

    bool isOwn(const GuardMessage& message) { return own->take(message.input, message.detail); }

    int timeout() const {
        if (!aliveBy && !settledBy) return -1;
        const auto next = std::min(aliveBy.value_or(Clock::time_point::max()),
                                   settledBy.value_or(Clock::time_point::max()));
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
        return static_cast<int>(std::max<std::int64_t>(left, 0));
    }

    bool isOverdue(const GuardLink& link) {
        if (timeout() != 0) return false;
        // A server that is slow keeps the guard waiting as well, and a process that was suspended may find an
        // answer that has long been there.
        presses->synchronise();
        link.waitUntil(Clock::now() + grace);
        takeMessages(link);
        isHung = timeout() == 0;
        return isHung;
    }

    void report(const TapEvent& event) {
        loop.post([shared = shared, event] { shared->call(event); });
    }

    void disable(TapEventType reason) {
        {
            const std::lock_guard lock(shared->mutex);
            if (!std::exchange(shared->isEnabled, false)) return;
        }
        report({.type = reason});
    }

    MainLoop& loop;
    std::shared_ptr<XOwnInput> own;
    std::shared_ptr<Shared> shared;
    std::unique_ptr<XConnection> presses;
    std::optional<Clock::time_point> aliveBy, settledBy; ///< When the guard is to have said so.
    bool isHung = false;
    std::thread thread;
};

XKeyboardTap::XKeyboardTap(MainLoop& loop, std::shared_ptr<XOwnInput> own, std::string display,
                           std::optional<std::string> guard)
    : loop(loop),
      own(std::move(own)),
      display(std::move(display)),
      guard(std::move(guard)),
      available(this->guard && openWithInput(this->display)) {}

XKeyboardTap::~XKeyboardTap() {
    XKeyboardTap::stop();
}

TapStart XKeyboardTap::start(Handler handler) {
    listener.reset();
    auto presses = guard ? openWithInput(display) : nullptr;
    if (!presses) return TapStart::refused;
    selectRawEvents(*presses, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS);
    try {
        auto common = std::make_shared<Shared>();
        common->handler = std::move(handler);
        common->guard = KeyboardGuardProcess::start(*guard, display);
        if (!common->guard || !presses->synchronise()) return TapStart::refused;
        auto made = std::make_unique<Listener>(loop, own, common, std::move(presses));
        made->runOnItsThread();
        shared = std::move(common);
        listener = std::move(made);
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
    shared->wake.wake();
    shared->handler = nullptr;
    // The key for which its handler is just being asked waits for the answer first.
    const bool isAsking = shared->isAsking;
    shared.reset();
    if (!isAsking) listener.reset();
}

bool XKeyboardTap::isEnabled() {
    if (!shared) return false;
    const std::lock_guard lock(shared->mutex);
    return shared->isEnabled;
}

} // namespace orvel
