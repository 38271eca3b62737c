#include "Orvel/monitor/CodexKeybindingFileReader.h"

#include "OrvelCore/keybindings/CodexKeybindingFile.h"

#include <utility>

namespace orvel {

// What the read on the other thread shares with the one who waits.
struct CodexKeybindingFileReader::Job {
    std::atomic<bool> isLate = false;
    LocalFiles::Reading reading; ///< Read by the one who waits only if the work ended in time.
};

CodexKeybindingFileReader::CodexKeybindingFileReader(const MainLoop& loop, SideQueue& queue,
                                                     LocalFiles& files)
    : loop(loop), queue(queue), files(files), isInFlight(std::make_shared<std::atomic<bool>>(false)) {}

LocalFiles::Reading CodexKeybindingFileReader::read(const std::string& path, MainLoop::Duration timeout) {
    if (isInFlight->exchange(true)) return {};
    const auto job = std::make_shared<Job>();
    const auto work = [job, path, read = files.reader(), inFlight = isInFlight] {
        job->reading = read(path, CodexKeybindingFile::maximumBytes, [&job] { return job->isLate.load(); });
        *inFlight = false;
    };
    const auto started = loop.uptime();
    if (!queue.run(work, timeout)) {
        job->isLate = true;
        return {};
    }
    return loop.uptime() - started <= timeout ? std::move(job->reading) : LocalFiles::Reading{};
}

} // namespace orvel
