#include "Orvel/platform/linux/IBusAddress.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <utility>

#include <sys/types.h>

namespace orvel {

namespace {

constexpr std::size_t maximumFile = 65'536;

std::optional<std::string> contents(const std::string& file) {
    try {
        if (!fileExists(file)) return std::nullopt;
        return readFile(file, maximumFile);
    } catch (const FileError&) {
        return std::nullopt; // As if it were not there.
    }
}

// The number in ":0.0", with the name before it or "unix".
std::optional<std::string> displayInName(const std::string& display) {
    const auto colon = display.rfind(':');
    if (colon == display.npos) return std::nullopt;
    const auto number = display.substr(colon + 1, display.find('.', colon) - colon - 1);
    if (number.empty()) return std::nullopt;
    return (colon == 0 ? "unix" : display.substr(0, colon)) + "-" + number;
}

bool isRunning(std::string_view number) {
    pid_t process = 0;
    const auto read = std::from_chars(number.data(), number.data() + number.size(), process);
    return read.ec == std::errc() && process > 0 && (kill(process, 0) == 0 || errno == EPERM);
}

} // namespace

IBusPlaces ibusPlaces(const std::function<std::optional<std::string>(const char* name)>& variable) {
    const auto named = [&](const char* name) {
        auto value = variable(name);
        return value && !value->empty() ? std::move(value) : std::nullopt;
    };
    IBusPlaces places{.address = named("IBUS_ADDRESS"), .files = {}};
    if (const auto file = named("IBUS_ADDRESS_FILE")) {
        places.files.push_back(*file);
        return places;
    }
    const auto display = displayInName(variable("DISPLAY").value_or(""));
    const auto home = named("HOME");
    auto folder = named("XDG_CONFIG_HOME");
    if (!folder && home) folder = joinedPath(*home, ".config");
    if (!display || !folder) return places;
    for (const auto* file : {"/var/lib/dbus/machine-id", "/etc/machine-id"}) {
        auto machine = contents(file);
        if (!machine) continue;
        machine->erase(machine->find_last_not_of('\n') + 1);
        places.files.push_back(joinedPath(*folder, "ibus/bus/" + *machine + "-" + *display));
    }
    return places;
}

IBusPlaces ibusPlaces() {
    return ibusPlaces([](const char* name) {
        const auto* value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    });
}

std::optional<std::string> ibusAddress(const IBusPlaces& places) {
    if (places.address) return places.address;
    static constexpr std::string_view addressKey = "IBUS_ADDRESS=", processKey = "IBUS_DAEMON_PID=";
    for (const auto& file : places.files) {
        const auto text = contents(file);
        if (!text) continue;
        std::optional<std::string> address;
        bool isThere = false;
        std::istringstream lines(*text);
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with(addressKey)) address = line.substr(addressKey.size());
            if (line.starts_with(processKey))
                isThere = isRunning(std::string_view(line).substr(processKey.size()));
        }
        if (address && isThere) return address;
    }
    return std::nullopt;
}

} // namespace orvel
