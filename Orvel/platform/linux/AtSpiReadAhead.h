#pragma once
// Values that are fetched before they are asked for, on a thread of its own: a tree level by level, so many
// elements at once that the program is never without something to answer.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/linux/BusConnection.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace orvel {

class AtSpiReadAhead {
  public:
    struct Wanted {
        BusReference object;
        std::string_view name;
    };
    /// Reads all of it at once, and gives the readings in the same order.
    using Read = std::function<std::vector<AXReading>(std::span<const Wanted> wanted)>;

    /// The read is called on the thread, and takes a bounded time.
    explicit AtSpiReadAhead(Read read) : read(std::move(read)) {}
    AtSpiReadAhead(const AtSpiReadAhead&) = delete;
    AtSpiReadAhead& operator=(const AtSpiReadAhead&) = delete;
    /// Waits for the read that is under way.
    ~AtSpiReadAhead();

    /// Begins to fetch, until the result is destroyed. Null if there is no thread to be had. Doesn't wait.
    std::unique_ptr<AXReadAhead> begin(const BusReference& root, std::span<const std::string_view> names,
                                       std::size_t limit);

    /// A value that was fetched, given once. Waits for one that will come next; nothing where it is quicker,
    /// or more telling, to ask the program. Callable from any thread.
    std::optional<AXReading> take(const BusReference& object, std::string_view name, BusDeadline deadline);

  private:
    /// What is known of an element's attributes, in the order of the job's names.
    struct Entry {
        std::size_t place = 0;           ///< In the queue.
        std::vector<AXReading> readings; ///< Empty until they are there.
        std::vector<bool> isTaken;
    };
    struct Job {
        BusReference root;
        std::vector<std::string> names;
        std::size_t limit = 0;
        std::vector<BusReference> queue; ///< Breadth-first.
        std::size_t next = 0;            ///< The first that has not been asked for.
        bool isTreeKnown = false;        ///< The queue holds all that is fetched from the beginning.
        bool isOver = false;             ///< Nothing more will come.
        std::map<BusReference, Entry> entries;
    };
    class Held;
    struct Piece {
        std::shared_ptr<Job> job;
        std::size_t from = 0, to = 0;
    };

    void run();
    static std::optional<std::size_t> placeOfChildren(const Job& job);
    void queue(Job& job, const BusReference& object);
    std::vector<Piece> nextPieces();
    void fetch(const std::vector<Piece>& pieces, std::unique_lock<std::mutex>& lock);
    void store(Job& job, std::size_t place, std::span<AXReading> readings);
    void end(const std::shared_ptr<Job>& job);

    const Read read;
    std::mutex mutex; // Guards what follows.
    std::condition_variable changed;
    std::list<std::shared_ptr<Job>> jobs;
    /// The last tree that was fetched as a whole, to be asked in the same order again.
    std::vector<BusReference> lastTree;
    bool isStopping = false;
    std::thread thread;
};

} // namespace orvel
