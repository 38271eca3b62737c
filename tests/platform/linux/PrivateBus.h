#pragma once
// A session bus of the test's own with the accessibility bus of the system's packages on it.

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace orvel {

/// A program of the system that ends with the test.
class OwnChild {
  public:
    OwnChild(const std::vector<std::string>& arguments,
             const std::map<std::string, std::string>& environment);
    OwnChild(const OwnChild&) = delete;
    OwnChild& operator=(const OwnChild&) = delete;
    ~OwnChild() { end(); }

    void end();
    /// Sends a signal, as to stop it and let it go on.
    void signal(int number) const;
    pid_t id() const { return process; }

  private:
    pid_t process = -1;
};

class PrivateBus {
  public:
    /// Why there can be none on this machine; empty if there can.
    static std::string whatIsMissing();

    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    const std::string& address() const { return sessionAddress; }
    std::map<std::string, std::string> environment() const;
    const std::filesystem::path& folder() const { return place; }

    /// Turns accessibility on or off, as a desktop's settings do.
    void turn(bool isOn) const;
    void end();
    /// Again at the same address, after it ended.
    void start();

  private:
    std::filesystem::path place;
    std::string sessionAddress;
    std::unique_ptr<OwnChild> daemon, launcher;
};

/// Waits until a condition holds. False if that takes 20 seconds.
bool comes(const std::function<bool()>& condition);

} // namespace orvel
