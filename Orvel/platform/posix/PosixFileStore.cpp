#include "Orvel/platform/posix/PosixFileStore.h"

#include "Orvel/platform/posix/ReplacedFile.h"
#include "Orvel/runtime/MainLoop.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>

namespace orvel {

// A file and the work on it, which is done in its order by whichever thread comes first.
class PosixFileStore::Place {
  public:
    struct Job {
        Work work;
        bool isDone = false;
        std::exception_ptr failure;
    };

    explicit Place(std::string path) : file(std::move(path)) {}

    std::shared_ptr<Job> add(Work work) {
        auto job = std::make_shared<Job>();
        job->work = std::move(work);
        const std::lock_guard lock(queueing);
        queue.push_back(job);
        return job;
    }

    /// Does what was added up to this job, as far as others have not done it. Gives whether the file lacks a
    /// standby then; throws what the job threw.
    bool runThrough(const std::shared_ptr<Job>& job) {
        const std::lock_guard lock(working);
        while (!job->isDone) run(*next());
        if (job->failure) std::rethrow_exception(job->failure);
        return file.lacksStandby();
    }

  private:
    std::shared_ptr<Job> next() {
        const std::lock_guard lock(queueing);
        auto first = std::move(queue.front());
        queue.pop_front();
        return first;
    }

    void run(Job& job) {
        try {
            job.work(file);
        } catch (...) {
            job.failure = std::current_exception();
        }
        job.work = nullptr;
        job.isDone = true;
    }

    std::mutex queueing, working; ///< Of the queue; of the file and the jobs that have left the queue.
    std::deque<std::shared_ptr<Job>> queue;
    ReplacedFile file;
};

PosixFileStore::PosixFileStore(MainLoop& loop) : loop(loop) {}

PosixFileStore::~PosixFileStore() = default;

std::shared_ptr<PosixFileStore::Place> PosixFileStore::placeOf(const std::string& path) {
    if (path.find('\0') != path.npos)
        throw FileError(FileError::Case::invalidFileName, "save", path, "The file name is not valid");
    const auto target = standardizedPath(path);
    auto& place = places[target];
    if (!place) place = std::make_shared<Place>(target);
    return place;
}

// The copy costs as much as a whole replacement, so that nobody waits for it who need not.
void PosixFileStore::makeStandbyLater(const std::shared_ptr<Place>& place) {
    const auto job = place->add([](ReplacedFile& file) { file.makeStandby(); });
    loop.runInBackground([place, job] { place->runThrough(job); }, [] {});
}

Task<void> PosixFileStore::replaceFile(std::string path, std::shared_ptr<FileContents> contents) {
    return perform(std::move(path),
                   [contents = std::move(contents)](ReplacedFile& file) { file.replace(contents); });
}

Task<void> PosixFileStore::expectContents(std::string path, std::shared_ptr<FileContents> contents) {
    return perform(std::move(path),
                   [contents = std::move(contents)](ReplacedFile& file) { file.expect(contents); });
}

Task<void> PosixFileStore::perform(std::string path, Work work) {
    const auto place = placeOf(path);
    const auto job = place->add(std::move(work));
    const auto through = [place, job] { return place->runThrough(job); };
    if (co_await loop.background(through)) makeStandbyLater(place);
}

} // namespace orvel
