#include "Orvel/platform/posix/Leftovers.h"

#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

bool isCapital(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isSmall(char c) {
    return c >= 'a' && c <= 'z';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isRandom(std::string_view text) {
    return text.size() == randomPart.size() && std::all_of(text.begin(), text.end(), [](char c) {
               return isCapital(c) || isSmall(c) || isDigit(c);
           });
}

// "backup", "Old", "v2" or "241231": capitals, then small letters, then digits.
bool looksChosen(std::string_view text) {
    auto at = std::find_if_not(text.begin(), text.end(), isCapital);
    at = std::find_if_not(at, text.end(), isSmall);
    return std::find_if_not(at, text.end(), isDigit) == text.end();
}

bool isLeftover(std::string_view name, std::string_view file) {
    if (!name.starts_with(file)) return false;
    const auto rest = name.substr(file.size());
    if (rest.starts_with(standbyMark)) return isRandom(rest.substr(standbyMark.size()));
    // As earlier versions named them.
    return rest.starts_with('.') && isRandom(rest.substr(1)) && !looksChosen(rest.substr(1));
}

bool isOwnPlainFile(const std::string& path) {
    struct stat facts {};
    return lstat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_nlink == 1 &&
           facts.st_uid == geteuid();
}

} // namespace

void removeLeftovers(const std::string& path) {
    const auto file = lastPathComponent(path);
    std::error_code ignored;
    std::vector<std::string> leftovers;
    for (std::filesystem::directory_iterator entry(parentFolder(path), ignored), end; entry != end;
         entry.increment(ignored))
        if (isLeftover(entry->path().filename().native(), file)) leftovers.push_back(entry->path().native());
    for (const auto& leftover : leftovers)
        if (isOwnPlainFile(leftover)) unlink(leftover.c_str());
}

} // namespace orvel
