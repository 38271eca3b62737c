#include "Orvel/consultation/RepositoryPacking.h"

#include "Orvel/consultation/PreparationStopped.h"
#include "OrvelCore/consultation/ExclusionRules.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include <sys/stat.h>

namespace orvel {

namespace {

using Reason = LeftOutPath::Reason;

// What one step may do at most, but for a larger file.
constexpr std::size_t pathsInStep = 200;
constexpr std::uint64_t bytesInStep = 4'194'304;

RelaySendError tooLarge() {
    return RelaySendError("The selection exceeds 100 MB. Choose a smaller folder.");
}

// Git lists a repository of its own as a folder, with a slash behind it.
std::optional<Reason> reasonInPath(std::string_view path) {
    const bool isFolder = path.size() > 1 && path.ends_with('/');
    auto rest = isFolder ? path.substr(0, path.size() - 1) : path;
    while (true) {
        const auto component = rest.substr(0, rest.find('/'));
        if (component.empty() || component == "." || component == "..") return Reason::invalidPath;
        if (component.size() == rest.size()) break;
        rest.remove_prefix(component.size() + 1);
    }
    if (isFolder) return Reason::nestedRepository;
    return isExcluded(path) ? std::optional(Reason::excludedName) : std::nullopt;
}

std::optional<Reason> reasonInKind(const std::string& path, struct stat& facts) {
    if (lstat(path.c_str(), &facts) != 0)
        return errno == ENOENT || errno == ENOTDIR ? Reason::missing : Reason::unreadable;
    if (S_ISREG(facts.st_mode)) return std::nullopt;
    if (S_ISLNK(facts.st_mode)) return Reason::link;
    return S_ISDIR(facts.st_mode) ? Reason::nestedRepository : Reason::notRegular;
}

} // namespace

RepositoryPacking::RepositoryPacking(std::string folder,
                                     std::shared_ptr<const RepositoryCandidates> candidates,
                                     std::uint64_t limit, StopFlag stop)
    : folder(std::move(folder)), candidates(std::move(candidates)), limit(limit), stop(std::move(stop)) {
    packed.skippedFolders = this->candidates->skippedFolders;
    packed.isListedByGit = this->candidates->isListedByGit;
}

void RepositoryPacking::begin(const std::string& outputFolder) {
    const std::lock_guard lock(mutex);
    PreparationStopped::check(*stop);
    own = std::make_unique<ArchiveStaging>(outputFolder);
}

bool RepositoryPacking::copySome() {
    const std::lock_guard lock(mutex);
    const auto& paths = candidates->paths;
    const auto last = std::min(next + pathsInStep, paths.size());
    for (const auto until = bytes + bytesInStep; next < last && bytes < until; ++next) {
        PreparationStopped::check(*stop);
        take(paths[next]);
    }
    return next == paths.size();
}

void RepositoryPacking::take(const std::string& path) {
    if (const auto reason = reasonInPath(path)) return leaveOut(path, *reason);
    if (!hasNoSymlinkComponents(path, folder)) return leaveOut(path, Reason::link);
    struct stat facts {};
    if (const auto reason = reasonInKind(joinedPath(folder, path), facts)) return leaveOut(path, *reason);
    if (static_cast<std::uint64_t>(facts.st_size) > limit - bytes) throw tooLarge();
    const auto contents = readRegularFile(path, folder, limit - bytes, *stop);
    if (!hasNoSymlinkComponents(path, folder))
        throw RelaySendError("A file target changed during preparation. Try again.");
    bytes += contents.size();
    if (bytes > limit) throw tooLarge();
    own->write(path, contents);
    packed.packed.push_back({path, contents.size()});
}

void RepositoryPacking::leaveOut(const std::string& path, LeftOutPath::Reason reason) {
    packed.leftOut.push_back({path, reason});
}

void RepositoryPacking::compare(std::vector<std::string> entries) const {
    std::vector<std::string> expected;
    expected.reserve(packed.packed.size());
    for (const auto& file : packed.packed)
        expected.push_back(joinedPath(lastPathComponent(own->repository()), file.path));
    std::erase_if(entries, [](const auto& entry) { return entry.ends_with('/'); });
    std::ranges::sort(expected);
    std::ranges::sort(entries);
    // A list of lines can't tell a name with a line feed from two names, so there is none in a ZIP.
    const bool isClean = std::ranges::none_of(
        entries, [](const auto& entry) { return isExcluded(entry) || entry.find('\n') != entry.npos; });
    if (entries != expected || !isClean)
        throw RelaySendError(
            "ZIP contents do not match the selected files. No ZIP was prepared for sending.");
}

void RepositoryPacking::abandon() noexcept {
    *stop = true;
    const std::lock_guard lock(mutex);
    if (own) own->remove();
}

ArchiveProgress RepositoryPacking::progress(ArchiveProgress::Phase phase) const {
    return {phase, candidates->paths.size(), packed.packed.size(), bytes};
}

} // namespace orvel
