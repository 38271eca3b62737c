#pragma once
// Work on other threads for the real main loops.

#include <functional>
#include <memory>

namespace orvel {

/// Runs each piece of work on a thread of its own. Destroying it waits a little for work under way and then
/// leaves the rest to the end of the process: a dead network disk must not keep the program from quitting.
class BackgroundThreads {
  public:
    /// Starts a thread that does the work. Throws std::system_error if there can be none.
    using Start = std::function<void(std::function<void()> work)>;
    static void startDetached(std::function<void()> work);

    explicit BackgroundThreads(Start start = startDetached);
    BackgroundThreads(const BackgroundThreads&) = delete;
    BackgroundThreads& operator=(const BackgroundThreads&) = delete;
    ~BackgroundThreads();

    /// Runs `work`, which lets no exception out and must not use what may be gone before it ends. Throws what
    /// starting a thread throws; then the work is dropped.
    void run(std::function<void()> work);

  private:
    struct State;
    class Running;

    Start start;
    std::shared_ptr<State> state;
};

} // namespace orvel
