#pragma once
// Which element of a program has the focus, as the program tells it, kept on a thread of its own: a search
// through a large page takes longer than a key may wait.

#include "Orvel/platform/linux/AccessibilityBus.h"
#include "Orvel/platform/posix/WakePipe.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace orvel {

/// Callable from any thread.
class AtSpiFocus {
  public:
    struct Place {
        BusReference window, element;
    };
    /// How the thread finds out what it isn't told. Each takes a bounded time.
    struct Ways {
        std::function<std::optional<Place>(const BusReference& element)> windowOf;
        std::function<std::optional<Place>(const BusReference& application)> search;
    };

    /// The bus outlives this object.
    AtSpiFocus(AccessibilityBus& bus, Ways ways);
    AtSpiFocus(const AtSpiFocus&) = delete;
    AtSpiFocus& operator=(const AtSpiFocus&) = delete;
    ~AtSpiFocus();

    /// Has the program with this root tell where its focus goes, from now on. Doesn't wait.
    void watch(const BusReference& application);
    /// What the program told last, or a search found; it may have moved since.
    std::optional<Place> last(const std::string& program);
    /// Notes what somebody found.
    void found(Place place);
    /// Has the thread search, as that takes longer than the caller could wait. Doesn't wait.
    void search(const BusReference& application);

  private:
    struct Watched {
        BusReference application;
        bool isTelling = false, isSearchDue = false;
        std::optional<BusReference> told; ///< An element whose window is not known yet.
        std::optional<Place> last;
    };

    void run();
    bool connect();
    void ask();
    void settle();
    std::optional<Watched> next();

    AccessibilityBus& bus;
    const Ways ways;
    WakePipe wake;
    std::atomic<bool> isStopping = false;
    std::mutex mutex; // Guards what follows.
    std::map<std::string, Watched> programs;
    std::thread thread;
    std::unique_ptr<BusConnection> connection; // Of the thread alone.
};

} // namespace orvel
