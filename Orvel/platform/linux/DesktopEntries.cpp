#include "Orvel/platform/linux/DesktopEntries.h"

#include "Orvel/platform/linux/ChildOutput.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"

#include <algorithm>
#include <initializer_list>
#include <sstream>
#include <string_view>
#include <utility>

namespace orvel {

namespace {

constexpr std::size_t maximumFile = 4'194'304;

std::vector<std::string> parts(const std::string& text, char separator) {
    std::vector<std::string> found;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        if (!part.empty()) found.push_back(part);
    return found;
}

// The values of a key in sections of a file.
std::vector<std::string> valuesIn(const std::string& file, std::initializer_list<std::string_view> sections,
                                  const std::string& key) {
    std::vector<std::string> values;
    std::string text;
    try {
        if (!fileExists(file)) return values;
        text = readFile(file, maximumFile);
    } catch (const FileError&) {
        return values; // As if it were not there.
    }
    bool isWanted = false;
    for (const auto& line : parts(text, '\n')) {
        if (line.starts_with('['))
            isWanted = std::ranges::any_of(
                sections, [&](std::string_view section) { return line.starts_with(section); });
        else if (isWanted && line.starts_with(key + "="))
            for (auto& value : parts(line.substr(key.size() + 1), ';')) values.push_back(value);
    }
    return values;
}

} // namespace

// Where applications are installed, the person's own first.
std::vector<std::string> DesktopEntries::folders() {
    const auto home = processes.environmentVariable("HOME").value_or("");
    auto roots =
        parts(processes.environmentVariable("XDG_DATA_DIRS").value_or("/usr/local/share:/usr/share"), ':');
    roots.insert(roots.begin(),
                 processes.environmentVariable("XDG_DATA_HOME").value_or(home + "/.local/share"));
    for (auto& root : roots) root += "/applications";
    return roots;
}

std::optional<std::string> DesktopEntries::handlerOf(const std::string& scheme) {
    const auto home = processes.environmentVariable("HOME").value_or("");
    const auto configuration = processes.environmentVariable("XDG_CONFIG_HOME").value_or(home + "/.config");
    std::vector<std::string> files{configuration + "/mimeapps.list"};
    for (const auto& folder : folders()) {
        files.push_back(folder + "/mimeapps.list");
        files.push_back(folder + "/mimeinfo.cache");
    }
    for (const auto& file : files) {
        for (const auto& name :
             valuesIn(file, {"[Default Applications]", "[MIME Cache]"}, "x-scheme-handler/" + scheme)) {
            if (name.find('/') != name.npos) continue;
            for (const auto& folder : folders())
                if (auto path = joinedPath(folder, name); fileExists(path)) return path;
        }
    }
    return std::nullopt;
}

std::optional<std::string> DesktopEntries::versionIn(const std::string& desktopFile) {
    for (const auto* key : {"X-AppVersion", "X-AppImage-Version"})
        for (auto& version : valuesIn(desktopFile, {"[Desktop Entry]"}, key)) return std::move(version);
    return std::nullopt;
}

bool DesktopEntries::open(const std::string& what) {
    return start("gio", {"open", what}) || start("xdg-open", {what});
}

bool DesktopEntries::launch(const std::string& desktopFile) {
    return start("gio", {"launch", desktopFile});
}

bool DesktopEntries::start(const std::string& program, std::vector<std::string> arguments) {
    const auto path = programInPath(processes, program);
    if (!path) return false;
    try {
        // It goes on by itself.
        const auto child = processes.start(
            {.executable = *path, .arguments = std::move(arguments), .unattendedInput = std::string()});
        return child != nullptr;
    } catch (const ProcessError&) {
        return false;
    }
}

} // namespace orvel
