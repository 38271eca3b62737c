#pragma once
// A program that exposes a tree of objects on the accessibility bus, from a thread of the test. It speaks the
// protocol by itself and shares nothing with what reads it.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace orvel {

struct AccessibleObject {
    std::string path; ///< Given by the program.
    std::uint32_t role = 0;
    std::vector<unsigned> states;
    std::string name, description;
    std::map<std::string, std::string> attributes;
    std::optional<std::string> text;
    std::int32_t caret = -1;
    std::pair<std::int32_t, std::int32_t> selection{0, 0};
    std::vector<std::int32_t> extents; ///< Four, or none.
    std::string uri;
    std::vector<std::string> actions;
    std::function<void()> onAction;
    /// Answers that are not as they should be, by the method or property.
    std::map<std::string, std::function<int(sd_bus_message* answer)>> strange;
    /// How many milliseconds answers take, likewise.
    std::map<std::string, int> slow;
    AccessibleObject* parent = nullptr;
    std::vector<std::shared_ptr<AccessibleObject>> children;
};

class AccessibleProgram {
  public:
    /// Joins the accessibility bus of a session; `isDirect` also offers connections of its own.
    AccessibleProgram(const std::string& sessionAddress, const std::string& folder, bool isDirect);
    AccessibleProgram(const AccessibleProgram&) = delete;
    AccessibleProgram& operator=(const AccessibleProgram&) = delete;
    ~AccessibleProgram();

    AccessibleObject& root() { return *top; }
    AccessibleObject& add(AccessibleObject& parent, AccessibleObject object);
    /// Takes the object and all below it out; whoever still asks for it hears that it is gone.
    void remove(AccessibleObject& object);

    /// Tells whoever listens that a state of the object has changed. Called while the program is held.
    void tell(const AccessibleObject& object, const char* state, bool isSet);
    std::string toolkit = "Chromium";

    /// While this is held nothing is answered. Changes to the tree are made under it.
    std::unique_lock<std::mutex> hold() { return std::unique_lock(mutex); }
    int callsOf(const std::string& member);
    /// How many calls came on connections of its own.
    int directCalls();

  private:
    friend int answerCall(sd_bus_message* call, void* program, void* error);
    void serve();
    void listen();
    void welcome();
    int answer(sd_bus_message* call);
    int reply(sd_bus_message* call, const std::function<int(sd_bus_message*)>& write);
    int replyProperty(sd_bus_message* call, AccessibleObject& object, const std::string& property);
    int replyMethod(sd_bus_message* call, AccessibleObject& object, const std::string& member);
    int matches(sd_bus_message* call, AccessibleObject& object);
    void forget(AccessibleObject& object);

    std::mutex mutex;
    std::shared_ptr<AccessibleObject> top;
    std::map<std::string, AccessibleObject*> objects;
    std::map<std::string, int> calls;
    int made = 0, madeDirectly = 0;
    std::string name, socketPath;
    sd_bus* bus = nullptr;
    std::vector<sd_bus*> direct;
    int listener = -1, wake[2] = {-1, -1};
    std::thread thread;
};

} // namespace orvel
