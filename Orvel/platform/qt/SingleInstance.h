#pragma once
// One window for one data folder: a second start hands what it was asked to open to the running one.

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace orvel {

class SingleInstance {
  public:
    /// What a start was asked to open: files and URLs; empty just asks for the window.
    using Request = std::vector<std::string>;

    explicit SingleInstance(const std::string& dataFolder);
    ~SingleInstance();

    /// Hands the request to a running instance of the same user and data folder; false if there is none.
    /// Waits a few seconds at most.
    bool handOver(const Request& request);

    /// Becomes the running instance: `received` is called on the main thread for every later start. False if
    /// another one was quicker or no socket can be had.
    bool listen(std::function<void(const Request&)> received);

  private:
    struct Server;
    std::string socketName;
    std::unique_ptr<Server> server;
};

} // namespace orvel
