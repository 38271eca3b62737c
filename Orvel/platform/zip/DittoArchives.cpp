#include "Orvel/platform/zip/DittoArchives.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/text/Unicode.h"

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t listLimit = 67'108'864; // In bytes, of all names together.
constexpr auto interval = 5ms;

// Nothing that this process was started with changes what the tools do; names are UTF-8.
ChildLaunch launchOf(const std::string& tool, std::vector<std::string> arguments) {
    return {.executable = tool,
            .arguments = std::move(arguments),
            .environment = {{"LC_ALL", "en_US.UTF-8"}},
            .withoutVariables = {"UNZIP", "ZIP"}};
}

FileError failure(std::string_view action, const std::string& path, std::string_view reason) {
    return {FileError::Case::other, action, path, reason};
}

// Removes what a tool has left, unless the ZIP was kept.
class UnfinishedZip {
  public:
    explicit UnfinishedZip(std::string path) : path(std::move(path)) {}
    UnfinishedZip(const UnfinishedZip&) = delete;
    UnfinishedZip& operator=(const UnfinishedZip&) = delete;
    ~UnfinishedZip() {
        std::error_code ignored;
        if (!isKept) std::filesystem::remove(path, ignored);
    }

    void keep() { isKept = true; }

  private:
    std::string path;
    bool isKept = false;
};

// An errno value, 0 where the path is free.
int obstacleAt(const std::string& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) == 0) return EEXIST;
    return errno == ENOENT ? 0 : errno;
}

std::unique_ptr<ChildProcess> started(Processes& processes, const ChildLaunch& launch,
                                      std::string_view action, const std::string& path) {
    try {
        return processes.start(launch);
    } catch (const ProcessError& error) {
        throw failure(action, path, error.what());
    }
}

std::vector<std::string> linesIn(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

} // namespace

Task<void> DittoArchives::make(std::string folder, std::string path, StopFlag stop) {
    const auto look = [path] { return obstacleAt(path); };
    const int obstacle = co_await loop.background(look);
    if (obstacle != 0) throw FileError::fromErrno(obstacle, "make", path);
    UnfinishedZip zip(path);
    const auto launch = launchOf(
        ditto, {"--norsrc", "--noextattr", "--noqtn", "-c", "-k", "--keepParent", std::move(folder), path});
    const auto child = started(processes, launch, "make", path);
    const auto deadline = loop.uptime() + patience;
    while (!child->exitStatus()) {
        if (*stop) throw failure("make", path, "it was stopped");
        if (loop.uptime() >= deadline) throw failure("make", path, "it took too long");
        co_await loop.sleep(interval);
    }
    if (child->exitStatus() != 0) throw failure("make", path, "the tool of the system failed");
    const auto protect = [path] { return chmod(path.c_str(), S_IRUSR | S_IWUSR) == 0 ? 0 : errno; };
    const int code = co_await loop.background(protect);
    if (code != 0) throw FileError::fromErrno(code, "protect", path);
    zip.keep();
}

Task<std::vector<std::string>> DittoArchives::entries(std::string path) {
    auto launch = launchOf(unzip, {"-Z1", path});
    launch.hasPipes = true;
    const auto child = started(processes, launch, "read", path);
    const auto deadline = loop.uptime() + patience;
    std::string text;
    std::vector<char> piece(65'536);
    bool hasEnded = false;
    while (!hasEnded || !child->exitStatus()) {
        if (loop.uptime() >= deadline) throw failure("read", path, "it took too long");
        if (text.size() > listLimit) throw failure("read", path, "it holds too many names");
        const auto transfer = hasEnded ? PipeTransfer{} : child->read(piece);
        text.append(piece.data(), transfer.count);
        hasEnded = hasEnded || transfer.kind == PipeTransfer::Kind::finished;
        if (transfer.kind != PipeTransfer::Kind::moved) co_await loop.sleep(interval);
    }
    if (child->exitStatus() != 0) throw failure("read", path, "it is no sound ZIP");
    if (!isValidUTF8(text)) throw failure("read", path, "a name is no UTF-8");
    co_return linesIn(text);
}

} // namespace orvel
