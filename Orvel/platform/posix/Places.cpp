#include "Orvel/platform/posix/Places.h"

#include "OrvelCore/files/FilePath.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace orvel {

namespace {

std::optional<std::string> variable(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? std::optional<std::string>(value) : std::nullopt;
}

std::string userHome() {
    if (auto home = variable("HOME")) return *home;
    const auto* entry = getpwuid(getuid());
    return entry && entry->pw_dir ? entry->pw_dir : "/";
}

#ifdef __APPLE__

std::string desktopConfigFolder(const std::string& home) {
    return joinedPath(home, "Library/Application Support");
}

std::string dataHome(const std::string& home) {
    return joinedPath(home, "Library/Application Support");
}

#else

// A folder of the XDG base directories, which counts only if it is absolute.
std::string baseFolder(const char* name, const std::string& home, std::string_view fallback) {
    const auto chosen = variable(name);
    return chosen && chosen->starts_with('/') ? *chosen : joinedPath(home, fallback);
}

std::string desktopConfigFolder(const std::string& home) {
    return baseFolder("XDG_CONFIG_HOME", home, ".config");
}

std::string dataHome(const std::string& home) {
    return baseFolder("XDG_DATA_HOME", home, ".local/share");
}

#endif

} // namespace

std::string Places::statePath() const {
    return joinedPath(dataFolder, "state.json");
}

Places Places::fromEnvironment(const std::optional<std::string>& home,
                               const std::optional<std::string>& data) {
    const auto base = standardizedPath(home.value_or(userHome()));
    Places places{AgentFolders::of(base, variable("CODEX_HOME"), variable("CLAUDE_CONFIG_DIR"),
                                   desktopConfigFolder(base)),
                  data ? standardizedPath(*data) : joinedPath(dataHome(base), "Orvel")};
    if (home) places.toolEnvironment = {{"HOME", base}, {"CODEX_HOME", places.folders.codex}};
    return places;
}

} // namespace orvel
