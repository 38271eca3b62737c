#pragma once
// The input method's daemon, IBus: which engine it has selected, and whether text is pending in an editor.

#include "Orvel/platform/linux/BusConnection.h"
#include "Orvel/platform/linux/CompositionSource.h"
#include "Orvel/platform/linux/IBusAddress.h"
#include "Orvel/platform/posix/WakePipe.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

struct sd_bus_message;

namespace orvel {

/// Listens to the daemon on a thread of its own, and finds it again after it ended. Callable from any thread.
///
/// The daemon delivers to any listener of the same person what it tells an editor of its unconfirmed text.
/// That is how it behaves, not what it promises. So nothing is said of an editor until the daemon, which
/// tells every editor something as it gets the focus, was heard doing so: at first an editor's composition is
/// unknown. Neither keys nor confirmed text are listened to, and of unconfirmed text only is kept whether
/// there is any.
class IBusDaemon : public CompositionSource {
  public:
    enum class Presence {
        absent,      ///< No daemon runs.
        unreachable, ///< One may run, and can't be listened to.
        connected,
    };
    struct Input {
        Presence presence = Presence::unreachable;
        std::optional<std::string> engine; ///< "mozc-jp", "xkb:us::eng"
        std::optional<std::string> mode;   ///< The key of the property that is selected: "InputMode.Direct".
        bool operator==(const Input&) const = default;
    };

    /// Starts the thread. Throws std::system_error.
    explicit IBusDaemon(IBusPlaces places = ibusPlaces());
    IBusDaemon(const IBusDaemon&) = delete;
    IBusDaemon& operator=(const IBusDaemon&) = delete;
    /// Waits for the thread; two seconds at most, where the daemon hangs.
    ~IBusDaemon() override;

    /// As last heard. Doesn't wait.
    Input input() const;

    /// Asks the daemon which editor has its focus, so what it told before was heard. An editor of another
    /// input method has no focus there. What comes of a key that is still on its way to the daemon is not
    /// known.
    PendingComposition current(BusDeadline deadline) override;

  private:
    struct Context {
        bool hasText = false, isVisible = false;
        std::uint64_t version = 0;
    };

    void run();
    void connect();
    bool listenOn(BusConnection& bus, BusDeadline deadline);
    void hear(sd_bus_message* message);
    void hearPreedit(sd_bus_message* message);
    void takeIn();
    void lose(Presence presence);

    const IBusPlaces places;
    const WakePipe wakes;
    std::atomic<bool> isStopping = false;

    std::timed_mutex line; // Held while the connection is used, and before `mutex` if both are.
    std::unique_ptr<BusConnection> connection;

    mutable std::mutex mutex; // Guards what follows. Held for moments only.
    Input known;
    bool hearsEditors = false;
    std::map<std::string, Context> contexts; ///< Of the editors, by their paths.
    std::uint64_t changes = 0;

    std::thread thread; // Last, as it uses all of it.
};

} // namespace orvel
