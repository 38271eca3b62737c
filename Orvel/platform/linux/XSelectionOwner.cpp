#include "Orvel/platform/linux/XSelectionOwner.h"

#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/posix/WakePipe.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>

namespace orvel {

namespace {

using Clock = std::chrono::steady_clock;

// What is larger goes in pieces of this size, as does what a server takes at once.
constexpr std::size_t pieceSize = 65'536;
// Whoever doesn't fetch the next piece for so long has given up.
constexpr std::chrono::seconds fetchLimit{10};
constexpr std::size_t maximumTransfers = 32, maximumMultiple = 64;

} // namespace

class XSelectionOwner::Server {
  public:
    explicit Server(std::unique_ptr<XConnection> opened) : connection(std::move(opened)) {
        window = xcb_generate_id(get());
        xcb_create_window(get(), XCB_COPY_FROM_PARENT, window, connection->root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        clipboard = connection->atom("CLIPBOARD");
        thread = std::thread([this] { run(); });
    }
    ~Server() {
        isStopping = true;
        wake.wake();
        thread.join();
    }

    bool own(XTargets targets) {
        std::unique_lock lock(mutex);
        order = std::make_shared<const XTargets>(std::move(targets));
        wake.wake();
        const bool isTaken =
            changed.wait_for(lock, XConnection::replyLimit, [this] { return !order || !isAlive; });
        return isTaken && isAlive && isOwner;
    }

    xcb_window_t window = XCB_WINDOW_NONE;

  private:
    using Held = std::shared_ptr<const XTargets>;
    /// What somebody fetches in pieces.
    struct Transfer {
        Held held; ///< Keeps the bytes.
        const XTargetData& data;
        xcb_window_t requestor;
        xcb_atom_t property;
        std::size_t sent = 0;
        Clock::time_point until;
    };

    xcb_connection_t* get() const { return connection->get(); }

    void run() {
        while (!isStopping && connection->isAlive()) {
            wake.drain();
            takeOrder();
            while (const XOwned<xcb_generic_event_t> event{xcb_poll_for_event(get())}) take(*event);
            std::erase_if(transfers, [](const Transfer& transfer) { return transfer.until < Clock::now(); });
            xcb_flush(get());
            // Flushing may have read an event, of which the descriptor then says nothing.
            if (const XOwned<xcb_generic_event_t> event{xcb_poll_for_queued_event(get())}) {
                take(*event);
                continue;
            }
            pollfd wanted[] = {{.fd = connection->descriptor(), .events = POLLIN, .revents = 0},
                               {.fd = wake.readEnd(), .events = POLLIN, .revents = 0}};
            poll(wanted, std::size(wanted), -1);
        }
        const std::lock_guard lock(mutex);
        isAlive = false;
        changed.notify_all();
    }

    void takeOrder() {
        const std::lock_guard lock(mutex);
        if (!order) return;
        held = std::move(order);
        order = nullptr;
        xcb_set_selection_owner(get(), window, clipboard, XCB_CURRENT_TIME);
        isOwner = owns();
        changed.notify_all();
    }

    bool owns() {
        const auto owner =
            connection->reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner(get(), clipboard));
        return owner && owner->owner == window;
    }

    void take(const xcb_generic_event_t& event) {
        const auto type = event.response_type & 0x7F;
        if (type == XCB_SELECTION_REQUEST)
            answer(reinterpret_cast<const xcb_selection_request_event_t&>(event));
        else if (type == XCB_SELECTION_CLEAR && !owns()) // It may have become the owner again.
            held = nullptr;
        else if (type == XCB_PROPERTY_NOTIFY)
            goOn(reinterpret_cast<const xcb_property_notify_event_t&>(event));
    }

    void answer(const xcb_selection_request_event_t& request) {
        // Old programs name no property.
        const auto property = request.property ? request.property : request.target;
        const bool isMultiple = request.target == connection->atom("MULTIPLE");
        const bool isDone = request.selection == clipboard && held &&
                            (isMultiple ? giveMultiple(request.requestor, property)
                                        : give(request.requestor, request.target, property));
        xcb_selection_notify_event_t notice{};
        notice.response_type = XCB_SELECTION_NOTIFY;
        notice.time = request.time;
        notice.requestor = request.requestor;
        notice.selection = request.selection;
        notice.target = request.target;
        notice.property = isDone ? property : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
        xcb_send_event(get(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char*>(&notice));
    }

    // Pairs of a target and a property.
    bool giveMultiple(xcb_window_t requestor, xcb_atom_t property) {
        const auto asked = connection->property(requestor, property, maximumMultiple * 8);
        if (!asked) return false;
        auto pairs = asked->numbers();
        for (std::size_t i = 0; i + 1 < pairs.size(); i += 2)
            if (!give(requestor, pairs[i], pairs[i + 1])) pairs[i + 1] = XCB_ATOM_NONE;
        xcb_change_property(get(), XCB_PROP_MODE_REPLACE, requestor, property, asked->type, 32,
                            static_cast<std::uint32_t>(pairs.size()), pairs.data());
        return true;
    }

    bool give(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) {
        const auto name = connection->atomName(target);
        if (name == "TARGETS") return giveTargets(requestor, property);
        const auto found = held->find(name);
        if (found == held->end()) return false;
        const auto& data = found->second;
        if (data.bytes.size() <= pieceSize) {
            put(requestor, property, data, 0, data.bytes.size());
            return true;
        }
        if (transfers.size() >= maximumTransfers) return false;
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(get(), requestor, XCB_CW_EVENT_MASK, &events);
        const auto size = static_cast<std::uint32_t>(data.bytes.size());
        xcb_change_property(get(), XCB_PROP_MODE_REPLACE, requestor, property, connection->atom("INCR"), 32,
                            1, &size);
        transfers.push_back({held, data, requestor, property, 0, Clock::now() + fetchLimit});
        return true;
    }

    bool giveTargets(xcb_window_t requestor, xcb_atom_t property) {
        std::vector<xcb_atom_t> targets{connection->atom("TARGETS"), connection->atom("MULTIPLE")};
        for (const auto& [name, data] : *held) targets.push_back(connection->atom(name));
        xcb_change_property(get(), XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_ATOM, 32,
                            static_cast<std::uint32_t>(targets.size()), targets.data());
        return true;
    }

    void put(xcb_window_t requestor, xcb_atom_t property, const XTargetData& data, std::size_t from,
             std::size_t count) {
        xcb_change_property(get(), XCB_PROP_MODE_REPLACE, requestor, property, connection->atom(data.type),
                            data.format, static_cast<std::uint32_t>(count / (data.format / 8U)),
                            data.bytes.data() + from);
    }

    // The property was taken: the next piece, and behind the last one an empty piece.
    void goOn(const xcb_property_notify_event_t& event) {
        if (event.state != XCB_PROPERTY_DELETE) return;
        const auto transfer = std::find_if(transfers.begin(), transfers.end(), [&](const Transfer& one) {
            return one.requestor == event.window && one.property == event.atom;
        });
        if (transfer == transfers.end()) return;
        const auto count = std::min(pieceSize, transfer->data.bytes.size() - transfer->sent);
        put(transfer->requestor, transfer->property, transfer->data, transfer->sent, count);
        transfer->sent += count;
        transfer->until = Clock::now() + fetchLimit;
        if (count == 0) transfers.erase(transfer);
    }

    std::unique_ptr<XConnection> connection;
    xcb_atom_t clipboard = XCB_ATOM_NONE;
    WakePipe wake;
    std::atomic<bool> isStopping = false;
    std::mutex mutex;
    std::condition_variable changed;
    Held order; ///< What is to be owned, behind the lock, as are the next two.
    bool isOwner = false, isAlive = true;
    Held held; ///< Of the thread alone, as all below.
    std::list<Transfer> transfers;
    std::thread thread;
};

XSelectionOwner::XSelectionOwner(const std::string& display) {
    auto connection = XConnection::open(display);
    if (!connection) return;
    try {
        server = std::make_unique<Server>(std::move(connection));
    } catch (const std::system_error&) {
        server = nullptr; // No thread, or no pipe: nothing can be owned.
    }
}

XSelectionOwner::~XSelectionOwner() = default;

bool XSelectionOwner::own(XTargets targets) {
    return server && server->own(std::move(targets));
}

std::uint32_t XSelectionOwner::window() const {
    return server ? server->window : 0;
}

} // namespace orvel
