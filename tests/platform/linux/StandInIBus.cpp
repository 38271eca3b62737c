#include "StandInIBus.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

int appendText(sd_bus_message* message, const char* text) {
    return sd_bus_message_append(message, "v", "(sa{sv}sv)", "IBusText", 0, text, "(sa{sv}av)",
                                 "IBusAttrList", 0, 0);
}

// The property of the input mode, with two of its modes below it. Labels are left out.
int appendModes(sd_bus_message* message, std::string_view selected, bool isList) {
    static constexpr const char *property = "(sa{sv}suvsvbbuvv)", *list = "(sa{sv}av)";
    sd_bus_message_open_container(message, 'v', isList ? list : property);
    sd_bus_message_open_container(message, 'r', isList ? "sa{sv}av" : "sa{sv}suvsvbbuvv");
    if (isList) {
        sd_bus_message_append(message, "sa{sv}", "IBusPropList", 0);
        sd_bus_message_open_container(message, 'a', "v");
        sd_bus_message_open_container(message, 'v', property);
        sd_bus_message_open_container(message, 'r', "sa{sv}suvsvbbuvv");
    }
    static constexpr const char *direct = "InputMode.Direct", *hiragana = "InputMode.Hiragana";
    sd_bus_message_append(message, "sa{sv}suvsvbbuvv", "IBusProperty", 0, "InputMode", 3, "s", "", "", "s",
                          "", 1, 1, 0, list, "IBusPropList", 0, 2, //
                          property, "IBusProperty", 0, direct, 2, "s", "", "", "s", "", 1, 1,
                          int{selected == direct}, list, "IBusPropList", 0, 0, "s", "", //
                          property, "IBusProperty", 0, hiragana, 2, "s", "", "", "s", "", 1, 1,
                          int{selected == hiragana}, list, "IBusPropList", 0, 0, "s", "", "s", "");
    for (int open = isList ? 5 : 2; open > 0; --open) sd_bus_message_close_container(message);
    return 0;
}

} // namespace

StandInIBus::StandInIBus(const std::string& folder) : where("unix:path=" + folder + "/ibus") {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, (folder + "/ibus").c_str(), sizeof name.sun_path - 1);
    listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isListening = bind(listener, reinterpret_cast<sockaddr*>(&name), sizeof name) == 0 &&
                             listen(listener, 4) == 0 && pipe(wake) == 0;
    if (!isListening) throw std::runtime_error("no socket for the bus");
    thread = std::thread([this] { run(); });
}

StandInIBus::~StandInIBus() {
    {
        const auto held = hold();
        isEnding = true;
    }
    static_cast<void>(write(wake[1], "x", 1));
    thread.join();
    sd_bus_close_unref(bus);
    for (const int each : {listener, wake[0], wake[1]}) close(each);
}

void StandInIBus::drop() {
    const auto held = hold();
    rules.clear();
    bus = sd_bus_close_unref(bus);
}

void StandInIBus::run() {
    while (true) {
        std::array<pollfd, 3> waited{pollfd{wake[0], POLLIN, 0}, {listener, POLLIN, 0}, {-1, POLLIN, 0}};
        {
            const auto held = hold();
            if (isEnding) return;
            int processed = 0;
            while (bus && (processed = sd_bus_process(bus, nullptr)) > 0) continue;
            if (processed < 0) bus = sd_bus_close_unref(bus);
            if (bus) waited[2] = {sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus) | POLLIN), 0};
        }
        poll(waited.data(), waited.size(), 20);
        if (waited[1].revents == 0) continue;
        const auto held = hold();
        const int made = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        sd_bus_close_unref(bus);
        sd_bus_new(&bus);
        sd_bus_set_fd(bus, made, made);
        sd_bus_set_server(bus, 1, {});
        sd_bus_start(bus);
        sd_bus_add_filter(
            bus, nullptr,
            [](sd_bus_message* call, void* self, sd_bus_error* /*unused*/) {
                return static_cast<StandInIBus*>(self)->answer(call);
            },
            this);
    }
}

int StandInIBus::answer(sd_bus_message* call) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(call, &type);
    if (type != SD_BUS_MESSAGE_METHOD_CALL) return 0;
    std::string member = sd_bus_message_get_member(call);
    const char *first = "", *second = "";
    if (member == "Get") sd_bus_message_read(call, "ss", &first, &second);
    if (member == "Get") member = second;
    if (member == "AddMatch") sd_bus_message_read(call, "s", &first);
    if (const auto found = strange.find(member); found != strange.end()) {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_return(call, &made);
        if (found->second(made) < 0)
            sd_bus_reply_method_errorf(call, SD_BUS_ERROR_MATCH_RULE_INVALID, "not here");
        else
            sd_bus_send(nullptr, made, nullptr);
        sd_bus_message_unref(made);
        return 1;
    }
    if (member == "Hello") return sd_bus_reply_method_return(call, "s", ":1.7");
    if (member == "AddMatch" && !letsListen && std::strstr(first, "eavesdrop"))
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_MATCH_RULE_INVALID, "no such key");
    if (member == "AddMatch") rules.emplace_back(first);
    if (member == "AddMatch") return sd_bus_reply_method_return(call, "");
    if (member == "CurrentInputContext") return sd_bus_reply_method_return(call, "v", "o", focused.c_str());
    if (member == "GlobalEngine")
        return sd_bus_reply_method_return(call, "v", "v", "(sa{sv}ssss)", "IBusEngineDesc", 0, engine.c_str(),
                                          "long name", "description", "en");
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "no such method");
}

void StandInIBus::emit(const std::string& path, const std::string& interface, const std::string& member,
                       const Write& write, const char* sender) {
    const auto held = hold();
    if (!bus) return;
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(bus, &made, path.c_str(), interface.c_str(), member.c_str());
    sd_bus_message_set_sender(made, sender);
    sd_bus_message_set_destination(made, ":1.99");
    write(made);
    sd_bus_send(bus, made, nullptr);
    sd_bus_message_unref(made);
}

void StandInIBus::preedit(const std::string& text, bool isVisible) {
    emit(focused, "org.freedesktop.IBus.InputContext", "UpdatePreeditText", [&](sd_bus_message* message) {
        appendText(message, text.c_str());
        return sd_bus_message_append(message, "ub", 0, int{isVisible});
    });
}

void StandInIBus::changeEngine(const std::string& name) {
    emit("/org/freedesktop/IBus", "org.freedesktop.IBus", "GlobalEngineChanged",
         [&](sd_bus_message* message) { return sd_bus_message_append(message, "s", name.c_str()); });
}

void StandInIBus::registerModes(const std::string& selected, const std::string& member) {
    emit(
        "/org/freedesktop/IBus/Engine/1", "org.freedesktop.IBus.Engine", member,
        [&](auto* message) { return appendModes(message, selected, member == "RegisterProperties"); },
        ":1.6");
}

} // namespace orvel
