#include "Orvel/consultation/RepositoryCandidates.h"

#include "Orvel/consultation/PreparationStopped.h"
#include "Orvel/reading/PipeWait.h"
#include "OrvelCore/consultation/ExclusionRules.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <system_error>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Text = std::shared_ptr<std::string>;
using Found = std::shared_ptr<const RepositoryCandidates>;

// In the person's PATH anything may stand before it.
constexpr const char* git = "/usr/bin/git";

constexpr std::size_t listLimit = 67'108'864; // In bytes, of all paths together.
constexpr auto questionPatience = 10s, listPatience = 120s;
constexpr auto stopInterval = 50ms, endInterval = 2ms;

RelaySendError noList() {
    return RelaySendError("Couldn't prepare the file list or ZIP.");
}

// Git reads the settings of the repository, which may come from anywhere, so what they could have it start is
// switched off; and nothing that this process was started with leads it to another repository or settings.
ChildLaunch gitLaunch(const std::string& folder, std::vector<std::string> command) {
    ChildLaunch launch{.executable = git,
                       .arguments = {"-c", "core.fsmonitor=false", "-c", "core.untrackedCache=false", "-c",
                                     "core.hooksPath=/dev/null", "-C", folder},
                       .environment = {{"GIT_OPTIONAL_LOCKS", "0"},
                                       {"GIT_TERMINAL_PROMPT", "0"},
                                       // A missing object is fetched from nowhere.
                                       {"GIT_NO_LAZY_FETCH", "1"},
                                       {"GIT_ALLOW_PROTOCOL", "none"},
                                       {"LC_ALL", "C"}},
                       .hasPipes = true,
                       .withoutVariables = {"GIT_"}};
    launch.arguments.insert(launch.arguments.end(), command.begin(), command.end());
    return launch;
}

// What the child prints until it ends; nothing if its exit status is not 0. One that takes too long or prints
// too much is killed, with the task's other locals.
Task<std::optional<Text>> run(MainLoop& loop, Processes& processes, ChildLaunch launch,
                              MainLoop::Duration patience, StopFlag stop) {
    const auto child = processes.start(launch);
    const auto text = std::make_shared<std::string>();
    const auto deadline = loop.uptime() + patience;
    std::vector<char> piece(65'536);
    while (true) {
        PreparationStopped::check(*stop);
        if (loop.uptime() >= deadline || text->size() > listLimit) throw noList();
        const auto transfer = child->read(piece);
        if (transfer.kind == PipeTransfer::Kind::finished) break;
        text->append(piece.data(), transfer.count);
        co_await PipeWait(loop, *child, PipeEnd::output, loop.uptime() + stopInterval);
    }
    while (!child->exitStatus()) {
        PreparationStopped::check(*stop);
        if (loop.uptime() >= deadline) throw noList();
        co_await loop.sleep(endInterval);
    }
    co_return child->exitStatus() == 0 ? std::optional(text) : std::nullopt;
}

Task<bool> isInWorkTree(MainLoop& loop, Processes& processes, std::string folder, StopFlag stop) {
    if (!processes.isExecutable(git)) co_return false;
    auto question = gitLaunch(folder, {"rev-parse", "--is-inside-work-tree"});
    auto answering = run(loop, processes, std::move(question), questionPatience, stop);
    const auto answer = co_await answering;
    co_return answer&& trimmed(**answer) == "true";
}

Found pathsIn(std::string_view list) {
    if (!isValidUTF8(list)) throw noList();
    const auto found = std::make_shared<RepositoryCandidates>();
    found->isListedByGit = true;
    while (!list.empty()) {
        const auto path = list.substr(0, list.find('\0'));
        found->paths.emplace_back(path);
        list.remove_prefix(std::min(list.size(), path.size() + 1));
    }
    std::ranges::sort(found->paths);
    const auto repeated = std::ranges::unique(found->paths);
    found->paths.erase(repeated.begin(), repeated.end());
    return found;
}

// Without git. Links are listed and not followed.
class FolderList {
  public:
    FolderList(std::string root, const std::atomic<bool>& stop) : root(std::move(root)), stop(stop) {}

    Found list() {
        std::vector<std::string> waiting{""};
        while (!waiting.empty()) {
            const auto folder = std::move(waiting.back());
            waiting.pop_back();
            look(folder, waiting);
        }
        std::ranges::sort(found->paths);
        std::ranges::sort(found->skippedFolders, {}, &LeftOutPath::path);
        return found;
    }

  private:
    void look(const std::string& folder, std::vector<std::string>& waiting) {
        std::error_code error;
        std::filesystem::directory_iterator entry(folder.empty() ? root : joinedPath(root, folder), error);
        for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
            PreparationStopped::check(stop);
            const auto name = entry->path().filename().native();
            auto path = folder.empty() ? name : joinedPath(folder, name);
            size += path.size();
            if (size > listLimit || !isValidUTF8(path)) throw noList();
            std::error_code unknown;
            if (entry->symlink_status(unknown).type() != std::filesystem::file_type::directory)
                found->paths.push_back(std::move(path));
            else if (isExcluded(path))
                found->skippedFolders.push_back({std::move(path), LeftOutPath::Reason::excludedName});
            else
                waiting.push_back(std::move(path));
        }
        if (error && folder.empty()) throw RelaySendError("Couldn't read the folder.");
        if (error) found->skippedFolders.push_back({folder, LeftOutPath::Reason::unreadable});
    }

    std::string root;
    const std::atomic<bool>& stop;
    std::size_t size = 0;
    std::shared_ptr<RepositoryCandidates> found = std::make_shared<RepositoryCandidates>();
};

} // namespace

Task<std::shared_ptr<const RepositoryCandidates>> candidatePaths(MainLoop& loop, Processes& processes,
                                                                 std::string folder, StopFlag stop) {
    auto asking = isInWorkTree(loop, processes, folder, stop);
    const bool isGit = co_await asking;
    if (!isGit) {
        const auto walk = [folder, stop] { return FolderList(folder, *stop).list(); };
        co_return co_await loop.background(walk);
    }
    auto question =
        gitLaunch(folder, {"ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", "."});
    auto listing = run(loop, processes, std::move(question), listPatience, stop);
    const auto list = co_await listing;
    if (!list) throw noList();
    const auto take = [text = *list] { return pathsIn(*text); };
    co_return co_await loop.background(take);
}

} // namespace orvel
