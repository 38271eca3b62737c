#include "Orvel/consultation/ChatGPTRepositoryArchive.h"

#include "Orvel/consultation/PreparationStopped.h"
#include "Orvel/consultation/RepositoryPacking.h"
#include "OrvelCore/consultation/ExclusionRules.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <exception>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace orvel {

namespace {

using Archive = ChatGPTRepositoryArchive;
using Packing = std::shared_ptr<RepositoryPacking>;
using Phase = ArchiveProgress::Phase;

struct Chosen {
    std::string folder;
    std::string output;
};

Chosen chosenPlaces(const std::string& folder, const std::string& outputDirectory) {
    Chosen chosen{chosenFolder(folder), resolvedPath(outputDirectory)};
    if (chosen.output == chosen.folder || chosen.output.starts_with(joinedPath(chosen.folder, "")))
        throw RelaySendError("Choose a folder that does not contain the ZIP staging directory.");
    return chosen;
}

// Has the packing abandoned on another thread if the work ends while this lives, however it ends.
class Abandonment {
  public:
    Abandonment(MainLoop& loop, Packing packing) : loop(loop), packing(std::move(packing)) {}
    Abandonment(const Abandonment&) = delete;
    Abandonment& operator=(const Abandonment&) = delete;
    ~Abandonment() {
        if (!packing) return;
        const auto abandon = [packing = packing] { packing->abandon(); };
        try {
            loop.runInBackground(abandon, [] {});
        } catch (const std::system_error&) {
            abandon();
        }
    }

    void forget() { packing.reset(); }

  private:
    MainLoop& loop;
    Packing packing;
};

Archive finished(const RepositoryPacking& packing, const std::string& source) {
    packing.staging().removeRepository();
    const auto zip = packing.staging().zip();
    const auto digest = digestOf(zip, std::nullopt);
    if (!digest)
        throw RelaySendError(
            "ZIP contents do not match the selected files. No ZIP was prepared for sending.");
    const auto progress = packing.progress(Phase::checking);
    return {.fileURL = zip,
            .sourceFolder = source,
            .fileCount = progress.files,
            .byteCount = progress.bytes,
            .excludedCount = packing.contents().leftOut.size(),
            .sha256 = digest->sha256,
            .archiveByteCount = digest->size,
            .contents = std::make_shared<const ArchiveContents>(packing.contents())};
}

// Everything from the making of the new folder on.
Task<Archive> pack(Archive::Ports ports, Packing packing, Chosen chosen, Archive::Control control) {
    const auto tell = [&](Phase phase) {
        if (control.told) control.told(packing->progress(phase));
    };
    const auto begin = [packing, chosen] {
        packing->begin(chosen.output);
        return true;
    };
    co_await ports.loop.background(begin);
    const auto copy = [packing] { return packing->copySome(); };
    for (bool isLast = false; !isLast;) {
        tell(Phase::copying);
        isLast = co_await ports.loop.background(copy);
    }
    tell(Phase::zipping);
    if (packing->contents().packed.empty())
        throw RelaySendError("There are no files to send. Check the folder and exclusion rules.");
    auto making =
        ports.zipArchives.make(packing->staging().repository(), packing->staging().zip(), control.stop);
    co_await making;
    tell(Phase::checking);
    auto listing = ports.zipArchives.entries(packing->staging().zip());
    auto entries = co_await listing;
    const auto finish = [packing, chosen, entries = std::move(entries)] {
        packing->compare(entries);
        return finished(*packing, chosen.folder);
    };
    co_return co_await ports.loop.background(finish);
}

Task<void> verify(MainLoop& loop, std::string path, std::uint64_t size, std::string sha256) {
    const auto read = [path, size] { return digestOf(path, size); };
    const auto digest = co_await loop.background(read);
    if (!digest) throw RelaySendError("The prepared ZIP changed. Choose the folder again.");
    if (digest->sha256 != sha256)
        throw RelaySendError("The prepared ZIP contents changed. Nothing was sent.");
}

Task<void> removeFolder(MainLoop& loop, std::string zip) {
    const auto remove = [zip] {
        std::error_code ignored;
        // The folder only if nothing else lies there.
        std::filesystem::remove(zip, ignored);
        return std::filesystem::remove(parentFolder(zip), ignored);
    };
    co_await loop.background(remove);
}

} // namespace

Task<Archive> ChatGPTRepositoryArchive::prepare(Ports ports, std::string folder, std::string outputDirectory,
                                                Control control) {
    if (control.told) control.told({});
    const auto choose = [folder, outputDirectory] { return chosenPlaces(folder, outputDirectory); };
    const auto chosen = co_await ports.loop.background(choose);
    auto finding = candidatePaths(ports.loop, ports.processes, chosen.folder, control.stop);
    const auto candidates = co_await finding;

    const auto packing =
        std::make_shared<RepositoryPacking>(chosen.folder, candidates, sizeLimit, control.stop);
    Abandonment abandonment(ports.loop, packing);
    auto work = pack(ports, packing, chosen, control);
    std::optional<Archive> archive;
    std::exception_ptr failure;
    try {
        archive = co_await work;
        PreparationStopped::check(*control.stop);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        const bool isStopped = *control.stop;
        const auto abandon = [packing] {
            packing->abandon();
            return true;
        };
        co_await ports.loop.background(abandon);
        abandonment.forget();
        // What breaks off then is not always told by that name.
        if (isStopped) throw PreparationStopped();
        std::rethrow_exception(failure);
    }
    abandonment.forget();
    co_return std::move(*archive);
}

Task<void> ChatGPTRepositoryArchive::verifyUnchanged(MainLoop& loop) const {
    return verify(loop, fileURL, archiveByteCount, sha256);
}

Task<void> ChatGPTRepositoryArchive::discard(MainLoop& loop) const {
    return removeFolder(loop, fileURL);
}

bool ChatGPTRepositoryArchive::isExcluded(std::string_view path) {
    return orvel::isExcluded(path);
}

} // namespace orvel
