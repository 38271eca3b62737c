#include "AccessibleProgram.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <systemd/sd-bus.h>
#include <systemd/sd-id128.h>

namespace orvel {

namespace {

constexpr const char* rootPath = "/org/a11y/atspi/accessible/root";
constexpr const char* nullPath = "/org/a11y/atspi/null";
constexpr const char* desktopPath = "/org/a11y/atspi/accessible/root";
constexpr const char* registry = "org.a11y.atspi.Registry";

void check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
}

std::string busAddress(const std::string& sessionAddress) {
    sd_bus* session = nullptr;
    sd_bus_message* answer = nullptr;
    check(sd_bus_new(&session), "session");
    check(sd_bus_set_address(session, sessionAddress.c_str()), "address");
    check(sd_bus_set_bus_client(session, 1), "client");
    check(sd_bus_start(session), "start");
    check(sd_bus_call_method(session, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", nullptr,
                             &answer, ""),
          "GetAddress");
    const char* address = nullptr;
    check(sd_bus_message_read(answer, "s", &address), "address");
    std::string found = address;
    sd_bus_message_unref(answer);
    sd_bus_flush_close_unref(session);
    return found;
}

bool hasState(const AccessibleObject& object, unsigned state) {
    return std::find(object.states.begin(), object.states.end(), state) != object.states.end();
}

} // namespace

int answerCall(sd_bus_message* call, void* program, void* /*error*/) {
    return static_cast<AccessibleProgram*>(program)->answer(call);
}

static int onMessage(sd_bus_message* call, void* program, sd_bus_error* error) {
    return answerCall(call, program, error);
}

AccessibleProgram::AccessibleProgram(const std::string& sessionAddress, const std::string& folder,
                                     bool isDirect)
    : top(std::make_shared<AccessibleObject>()) {
    top->path = rootPath;
    top->role = 75;
    objects[rootPath] = top.get();
    const auto address = busAddress(sessionAddress);
    check(sd_bus_new(&bus), "bus");
    check(sd_bus_set_address(bus, address.c_str()), "address");
    check(sd_bus_set_bus_client(bus, 1), "client");
    check(sd_bus_start(bus), "start");
    check(sd_bus_add_filter(bus, nullptr, onMessage, this), "filter");
    const char* unique = nullptr;
    check(sd_bus_get_unique_name(bus, &unique), "name");
    name = unique;
    if (isDirect) {
        socketPath = folder + "/program";
        listen();
    }
    check(pipe2(wake, O_CLOEXEC | O_NONBLOCK), "pipe");
    // The registry asks back before it answers, so the answer is not waited for here.
    check(sd_bus_call_method_async(
              bus, nullptr, registry, desktopPath, "org.a11y.atspi.Socket", "Embed",
              [](sd_bus_message*, void*, sd_bus_error*) { return 0; }, nullptr, "(so)", name.c_str(),
              rootPath),
          "Embed");
    thread = std::thread([this] { serve(); });
}

AccessibleProgram::~AccessibleProgram() {
    static_cast<void>(!write(wake[1], "x", 1));
    thread.join();
    for (auto* each : direct) sd_bus_close_unref(each);
    sd_bus_close_unref(bus);
    for (const auto descriptor : {listener, wake[0], wake[1]})
        if (descriptor >= 0) close(descriptor);
}

void AccessibleProgram::listen() {
    listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 8) != 0)
        throw std::runtime_error("no socket");
}

void AccessibleProgram::welcome() {
    const auto descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0) return;
    sd_bus* made = nullptr;
    sd_id128_t identity{};
    sd_id128_randomize(&identity);
    sd_bus_new(&made);
    sd_bus_set_fd(made, descriptor, descriptor);
    sd_bus_set_server(made, 1, identity);
    sd_bus_start(made);
    sd_bus_add_filter(made, nullptr, onMessage, this);
    direct.push_back(made);
}

void AccessibleProgram::serve() {
    for (;;) {
        std::vector<sd_bus*> all = direct;
        all.push_back(bus);
        std::vector<pollfd> waited{{wake[0], POLLIN, 0}, {listener, POLLIN, 0}};
        for (auto* each : all) {
            int processed = 0;
            while ((processed = sd_bus_process(each, nullptr)) > 0) continue;
            if (processed < 0) {
                std::erase(direct, each);
                if (each != bus) sd_bus_close_unref(each);
                continue;
            }
            waited.push_back({sd_bus_get_fd(each), static_cast<short>(sd_bus_get_events(each)), 0});
        }
        poll(waited.data(), waited.size(), 1'000);
        if (char word = 0; read(wake[0], &word, 1) == 1 && word == 'x') return;
        if (waited[1].revents) welcome();
    }
}

AccessibleObject& AccessibleProgram::add(AccessibleObject& parent, AccessibleObject object) {
    const auto child = std::make_shared<AccessibleObject>(std::move(object));
    child->path = "/org/a11y/atspi/accessible/" + std::to_string(++made);
    child->parent = &parent;
    parent.children.push_back(child);
    objects[child->path] = child.get();
    return *child;
}

void AccessibleProgram::forget(AccessibleObject& object) {
    objects.erase(object.path);
    for (const auto& child : object.children) forget(*child);
}

void AccessibleProgram::remove(AccessibleObject& object) {
    forget(object);
    std::erase_if(object.parent->children, [&](const auto& each) { return each.get() == &object; });
}

int AccessibleProgram::callsOf(const std::string& member) {
    const std::lock_guard lock(mutex);
    return calls[member];
}

int AccessibleProgram::directCalls() {
    const std::lock_guard lock(mutex);
    return madeDirectly;
}

int AccessibleProgram::reply(sd_bus_message* call, const std::function<int(sd_bus_message*)>& write) {
    sd_bus_message* answer = nullptr;
    auto result = sd_bus_message_new_method_return(call, &answer);
    if (result >= 0) result = write(answer);
    if (result >= 0) result = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return result < 0 ? result : 1;
}

int AccessibleProgram::answer(sd_bus_message* call) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(call, &type);
    if (type != SD_BUS_MESSAGE_METHOD_CALL) return 0;
    const std::lock_guard lock(mutex);
    std::string member = sd_bus_message_get_member(call);
    const std::string interface = sd_bus_message_get_interface(call);
    if (interface == "org.freedesktop.DBus.Properties") {
        const char *of = nullptr, *property = nullptr;
        if (sd_bus_message_read(call, "ss", &of, &property) <= 0) return -EINVAL;
        if (member == "Set") return sd_bus_reply_method_return(call, "");
        member = property;
    }
    ++calls[member];
    if (sd_bus_message_get_bus(call) != bus) ++madeDirectly;
    const auto found = objects.find(sd_bus_message_get_path(call));
    if (found == objects.end()) {
        // As programs answer that keep no record of what was.
        if (member == "GetRole") return sd_bus_reply_method_return(call, "u", 0);
        if (member == "GetState") return sd_bus_reply_method_return(call, "au", 2, 1U << 6, 0);
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "no such object");
    }
    auto& object = *found->second;
    if (const auto slow = object.slow.find(member); slow != object.slow.end())
        std::this_thread::sleep_for(std::chrono::milliseconds(slow->second));
    if (const auto strange = object.strange.find(member); strange != object.strange.end())
        return reply(call, strange->second);
    if (interface == "org.freedesktop.DBus.Properties") return replyProperty(call, object, member);
    return replyMethod(call, object, member);
}

int AccessibleProgram::replyProperty(sd_bus_message* call, AccessibleObject& object,
                                     const std::string& property) {
    if (property == "Name") return sd_bus_reply_method_return(call, "v", "s", object.name.c_str());
    if (property == "Description")
        return sd_bus_reply_method_return(call, "v", "s", object.description.c_str());
    if (property == "ToolkitName") return sd_bus_reply_method_return(call, "v", "s", toolkit.c_str());
    if (property == "Parent") {
        const auto* path = object.parent ? object.parent->path.c_str() : desktopPath;
        return sd_bus_reply_method_return(call, "v", "(so)", object.parent ? name.c_str() : registry, path);
    }
    if (property == "CaretOffset" && object.text)
        return sd_bus_reply_method_return(call, "v", "i", object.caret);
    if (property == "CharacterCount" && object.text)
        return sd_bus_reply_method_return(call, "v", "i", static_cast<std::int32_t>(object.text->size()));
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_PROPERTY, "no such property");
}

int AccessibleProgram::replyMethod(sd_bus_message* call, AccessibleObject& object,
                                   const std::string& member) {
    if (member == "GetRole") return sd_bus_reply_method_return(call, "u", object.role);
    if (member == "GetState") {
        std::uint32_t words[2] = {0, 0};
        for (const auto state : object.states) words[state / 32] |= 1U << state % 32;
        return sd_bus_reply_method_return(call, "au", 2, words[0], words[1]);
    }
    if (member == "GetAttributes")
        return reply(call, [&](sd_bus_message* answer) {
            sd_bus_message_open_container(answer, 'a', "{ss}");
            for (const auto& [key, value] : object.attributes)
                sd_bus_message_append(answer, "{ss}", key.c_str(), value.c_str());
            return sd_bus_message_close_container(answer);
        });
    if (member == "GetChildren")
        return reply(call, [&](sd_bus_message* answer) {
            sd_bus_message_open_container(answer, 'a', "(so)");
            for (const auto& child : object.children)
                sd_bus_message_append(answer, "(so)", name.c_str(), child->path.c_str());
            return sd_bus_message_close_container(answer);
        });
    if (member == "GetText" && object.text)
        return sd_bus_reply_method_return(call, "s", object.text->c_str());
    if (member == "GetSelection" && object.text)
        return sd_bus_reply_method_return(call, "ii", object.selection.first, object.selection.second);
    if (member == "SetSelection" && object.text) return sd_bus_reply_method_return(call, "b", 1);
    if (member == "GrabFocus") return sd_bus_reply_method_return(call, "b", 1);
    if (member == "GetExtents" && object.extents.size() == 4)
        return sd_bus_reply_method_return(call, "(iiii)", object.extents[0], object.extents[1],
                                          object.extents[2], object.extents[3]);
    if (member == "GetAttributeValue") {
        const char* key = nullptr;
        sd_bus_message_read(call, "s", &key);
        return sd_bus_reply_method_return(call, "s", std::string(key) == "URI" ? object.uri.c_str() : "");
    }
    if (member == "GetActions" && !object.actions.empty())
        return reply(call, [&](sd_bus_message* answer) {
            sd_bus_message_open_container(answer, 'a', "(sss)");
            for (std::size_t i = 0; i < object.actions.size(); ++i)
                sd_bus_message_append(answer, "(sss)", "", "", "");
            return sd_bus_message_close_container(answer);
        });
    if (member == "GetName" && !object.actions.empty()) {
        std::int32_t index = 0;
        sd_bus_message_read(call, "i", &index);
        return sd_bus_reply_method_return(call, "s",
                                          object.actions.at(static_cast<std::size_t>(index)).c_str());
    }
    if (member == "DoAction" && object.onAction) {
        object.onAction();
        return sd_bus_reply_method_return(call, "b", 1);
    }
    if (member == "GetAccessibleAtPoint") {
        std::int32_t x = 0, y = 0;
        sd_bus_message_read(call, "ii", &x, &y);
        for (const auto& child : object.children) {
            const auto& at = child->extents;
            if (at.size() == 4 && x >= at[0] && y >= at[1] && x < at[0] + at[2] && y < at[1] + at[3])
                return sd_bus_reply_method_return(call, "(so)", name.c_str(), child->path.c_str());
        }
        return sd_bus_reply_method_return(call, "(so)", "", nullPath);
    }
    if (member == "GetMatches") return matches(call, object);
    if (member == "GetApplicationBusAddress" && !socketPath.empty())
        return sd_bus_reply_method_return(call, "s", ("unix:path=" + socketPath).c_str());
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "no such method");
}

// Knows rules for states, each of which must be there, and for roles, one of which must be; in the order of a
// walk that goes down first.
int AccessibleProgram::matches(sd_bus_message* call, AccessibleObject& object) {
    if (!sd_bus_message_has_signature(call, "(aiia{ss}iaiiasib)uib")) return -EINVAL;
    const void *stateWords = nullptr, *roleWords = nullptr;
    std::size_t stateSize = 0, roleSize = 0;
    std::int32_t most = 0;
    sd_bus_message_enter_container(call, 'r', "aiia{ss}iaiiasib");
    sd_bus_message_read_array(call, 'i', &stateWords, &stateSize);
    sd_bus_message_skip(call, "ia{ss}i");
    sd_bus_message_read_array(call, 'i', &roleWords, &roleSize);
    sd_bus_message_skip(call, "iasib");
    sd_bus_message_exit_container(call);
    sd_bus_message_read(call, "ui", nullptr, &most);
    const auto numbersIn = [](const void* words, std::size_t size) {
        std::vector<unsigned> numbers;
        for (unsigned bit = 0; bit < size * 8; ++bit)
            if (static_cast<const std::uint32_t*>(words)[bit / 32] >> bit % 32 & 1U) numbers.push_back(bit);
        return numbers;
    };
    const auto states = numbersIn(stateWords, stateSize), roles = numbersIn(roleWords, roleSize);
    std::vector<AccessibleObject*> found;
    const std::function<void(const AccessibleObject&)> look = [&](const AccessibleObject& above) {
        for (const auto& each : above.children) {
            const bool hasStates = std::all_of(states.begin(), states.end(),
                                               [&](unsigned state) { return hasState(*each, state); });
            const bool hasRole =
                roles.empty() || std::find(roles.begin(), roles.end(), each->role) != roles.end();
            if (hasStates && hasRole) found.push_back(each.get());
            look(*each);
        }
    };
    look(object);
    if (most > 0 && found.size() > static_cast<std::size_t>(most))
        found.resize(static_cast<std::size_t>(most));
    return reply(call, [&](sd_bus_message* answer) {
        sd_bus_message_open_container(answer, 'a', "(so)");
        for (const auto* each : found)
            sd_bus_message_append(answer, "(so)", name.c_str(), each->path.c_str());
        return sd_bus_message_close_container(answer);
    });
}

void AccessibleProgram::tell(const AccessibleObject& object, const char* state, bool isSet) {
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(bus, &signal, object.path.c_str(), "org.a11y.atspi.Event.Object",
                              "StateChanged");
    sd_bus_message_append(signal, "siiva{sv}", state, int{isSet}, 0, "i", 0, 0);
    sd_bus_send(bus, signal, nullptr);
    sd_bus_message_unref(signal);
    static_cast<void>(!write(wake[1], "", 1));
}

} // namespace orvel
