#pragma once
// The Mac behind the stand-ins: what a test sets up and looks at. There is one at a time. At its end nothing
// may be left of what was made while it was there.

#include "FakeElements.h"
#include "FakeEvents.h"
#include "FakeObjects.h"

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace orvel::macfake {

struct FakeWindow {
    FakeValue owner; ///< Nothing, if its owner has no name.
    bool isOnScreen = true;
};

class FakeMac {
  public:
    FakeMac();
    ~FakeMac();
    FakeMac(const FakeMac&) = delete;
    FakeMac& operator=(const FakeMac&) = delete;

    /// The one that there is.
    static FakeMac& current();

    /// Makes an application with its topmost element.
    Node::Shared application(pid_t process);
    /// Takes an element off the screen, with all below it.
    static void remove(Node& node);

    std::chrono::nanoseconds now{0};
    const std::thread::id mainThread = std::this_thread::get_id();

    // Permissions
    bool isTrusted = true, isListeningGranted = true;
    int listeningRequests = 0;

    // User interfaces
    std::map<pid_t, Node::Shared> applications;
    bool isHanging = false;                       ///< No program answers.
    std::vector<std::chrono::milliseconds> waits; ///< How long each of the calls waited that got no answer.
    int calls = 0;                                ///< To other programs.

    // The keyboard
    FakeEvents events{*this};

    // Text input: properties by the names of the constants; nothing if the system gives no source.
    std::optional<std::map<CFStringRef, FakeValue>> source, layout;

    // Windows, the one in front first; nothing if the system gives no list.
    std::optional<std::vector<FakeWindow>> windows{std::in_place};
};

} // namespace orvel::macfake
