#pragma once
// A bus that answers as IBus's does, or as a test wants, from a thread of the test.

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace orvel {

class StandInIBus {
  public:
    using Write = std::function<int(sd_bus_message* message)>;

    /// Listens on a socket in that folder.
    explicit StandInIBus(const std::string& folder);
    StandInIBus(const StandInIBus&) = delete;
    StandInIBus& operator=(const StandInIBus&) = delete;
    ~StandInIBus();

    const std::string& address() const { return where; }

    /// While this is held nothing is answered. What follows is changed under it.
    std::unique_lock<std::mutex> hold() { return std::unique_lock(mutex); }
    std::string engine = "xkb:us::eng", focused = "/org/freedesktop/IBus/InputContext_2";
    bool letsListen = true; ///< To what is meant for others.
    /// Answers of another form, by the member or property. A negative result becomes an error.
    std::map<std::string, Write> strange;
    std::vector<std::string> rules; ///< That were asked for.

    void emit(const std::string& path, const std::string& interface, const std::string& member,
              const Write& write, const char* sender = "org.freedesktop.IBus");
    /// To the editor in focus.
    void preedit(const std::string& text, bool isVisible = true);
    void changeEngine(const std::string& name);
    /// The message of an engine with this mode selected.
    void registerModes(const std::string& selected, const std::string& member = "RegisterProperties");
    /// Closes the connection; the next one is taken.
    void drop();

  private:
    void run();
    int answer(sd_bus_message* call);

    std::string where;
    int listener = -1, wake[2] = {-1, -1};
    std::mutex mutex;
    sd_bus* bus = nullptr;
    bool isEnding = false;
    std::thread thread;
};

} // namespace orvel
