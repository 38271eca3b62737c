#include "Orvel/platform/linux/AutostartFile.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FileReading.h"

#include <filesystem>
#include <optional>
#include <system_error>

namespace orvel {

namespace {

constexpr const char* mark = "\nX-Orvel-Made=true\n";
constexpr std::size_t maximumFile = 65'536;

struct Found {
    bool isThere = false, isReadable = true;
    std::string text;
};

Found fileAt(const std::string& path) {
    try {
        if (!fileExists(path)) return {};
        return {true, true, readFile(path, maximumFile)};
    } catch (const FileError&) {
        return {true, false, {}};
    }
}

bool isOurs(const Found& file) {
    return file.text.find(mark) != file.text.npos;
}

// An argument as desktop entries quote it.
std::string quoted(const std::string& argument) {
    std::string text = "\"";
    for (const char c : argument) {
        // First as the command line has it, then as the file has strings.
        if (c == '"' || c == '`' || c == '$') text += "\\\\";
        if (c == '\\') text += "\\\\\\";
        if (c == '%') text += '%';
        text += c;
    }
    return text + '"';
}

} // namespace

Task<DesktopSwitch::Reading> AutostartFile::read() {
    const auto work = [path = path] { return fileAt(path); };
    const auto file = co_await loop.background(work);
    if (!file.isReadable) co_return Reading{};
    const bool isHidden = file.text.find("\nHidden=true") != file.text.npos;
    co_return Reading{.state = file.isThere && !isHidden ? State::on : State::off, .run = {}};
}

Task<void> AutostartFile::turn(bool isOn) {
    const auto look = [path = path] { return fileAt(path); };
    const auto file = co_await loop.background(look);
    if (file.isThere && !isOurs(file)) co_return;
    if (!isOn) {
        const auto remove = [path = path] {
            std::error_code ignored;
            return std::filesystem::remove(path, ignored);
        };
        co_await loop.background(remove);
        co_return;
    }
    std::string line;
    for (const auto& word : command) line += (line.empty() ? "" : " ") + quoted(word);
    const auto text =
        "[Desktop Entry]\nType=Application\nName=Orvel\nComment=Waits for /orvel in the agents' "
        "editors\nExec=" +
        line + "\nIcon=orvel\nTerminal=false" + mark;
    try {
        co_await files.replaceFile(path, text);
    } catch (const FileError&) { // NOLINT(bugprone-empty-catch)
        // Whoever asked reads what became of it.
    }
}

} // namespace orvel
