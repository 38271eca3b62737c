#include "samples/SampleCodexHome.h"

#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"
#include "samples/TranscriptWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

int opened(const std::string& path, int flags) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor < 0) fail(path);
    return descriptor;
}

void writeAll(int descriptor, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const auto count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) fail(path);
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

constexpr std::size_t quotedCharacters = 80;

std::string replyTo(std::string_view message) {
    const auto line = trimmed(lineAt(trimmed(message), 0).text);
    const auto quoted = firstCharacters(line, quotedCharacters);
    return "This is the reply of Orvel's sample; no agent has read your message. It begins: “" +
           std::string(quoted) + (quoted.size() < line.size() ? "…”" : "”");
}

// Where the transcript of a thread is that may have been archived while it is written.
std::string pathNow(const SampleCodexThread& thread) {
    constexpr std::string_view sessions = "/sessions/";
    const auto place = thread.path.rfind(sessions);
    if (place == std::string::npos || std::filesystem::exists(thread.path)) return thread.path;
    return thread.path.substr(0, place) + "/archived_sessions" + thread.path.substr(thread.path.rfind('/'));
}

constexpr std::string_view failure = "The sample lets this turn fail.";

} // namespace

// A file that one process at a time has locked; the system unlocks it when the process ends.
class SampleCodexLock {
  public:
    explicit SampleCodexLock(const std::string& path) : descriptor(opened(path, O_RDWR | O_CREAT)) {}
    ~SampleCodexLock() { close(descriptor); }
    SampleCodexLock(const SampleCodexLock&) = delete;
    SampleCodexLock& operator=(const SampleCodexLock&) = delete;

    void wait() const {
        while (flock(descriptor, LOCK_EX) != 0)
            if (errno != EINTR) throw std::system_error(errno, std::generic_category());
    }
    bool tryNow() const { return flock(descriptor, LOCK_EX | LOCK_NB) == 0; }

    const int descriptor;
};

// The messages that wait for a thread, one JSON text a line. While it exists no other process looks at them,
// becomes the thread's writer or stops being it, except by being killed.
class SampleCodexQueue {
  public:
    explicit SampleCodexQueue(std::string newPath) : path(std::move(newPath)), lock(path) { lock.wait(); }

    void append(std::string_view message) const {
        lseek(lock.descriptor, 0, SEEK_END);
        writeAll(lock.descriptor, nlohmann::json(message).dump() + '\n', path);
    }

    // One write takes a message out, so that a process killed meanwhile harms no other message.
    std::optional<std::string> takeFirst() const {
        const auto lines = contents();
        const auto begin = lines.find_first_not_of(' ');
        if (begin == lines.npos) return std::nullopt;
        const auto end = lines.find('\n', begin);
        auto message = nlohmann::json::parse(lines.substr(begin, end - begin)).get<std::string>();
        const bool isLast = end + 1 >= lines.size();
        const std::string blanks(end + 1, ' ');
        if (isLast ? ftruncate(lock.descriptor, 0) != 0
                   : pwrite(lock.descriptor, blanks.data(), blanks.size(), 0) < 0)
            fail(path);
        return message;
    }

  private:
    std::string contents() const {
        std::string text;
        std::array<char, 4096> bytes{};
        lseek(lock.descriptor, 0, SEEK_SET);
        for (;;) {
            const auto count = read(lock.descriptor, bytes.data(), bytes.size());
            if (count < 0 && errno != EINTR) fail(path);
            if (count == 0) return text;
            if (count > 0) text.append(bytes.data(), static_cast<std::size_t>(count));
        }
    }

    std::string path;
    SampleCodexLock lock;
};

SampleCodexWriter::SampleCodexWriter(SampleCodexThread newThread, std::string newQueuePath,
                                     std::unique_ptr<SampleCodexLock> newLock)
    : thread(std::move(newThread)), queuePath(std::move(newQueuePath)), lock(std::move(newLock)) {}

SampleCodexWriter::~SampleCodexWriter() = default;

bool SampleCodexWriter::begin(std::int64_t moment) {
    if (current) return false;
    // Most looks find nothing, so the lock is only taken where there may be something.
    struct stat facts {};
    if (stat(queuePath.c_str(), &facts) != 0 || facts.st_size == 0) return false;
    SampleCodexQueue queue(queuePath);
    return beginFrom(queue, moment);
}

bool SampleCodexWriter::beginFrom(SampleCodexQueue& queue, std::int64_t moment) {
    const auto message = queue.takeFirst();
    if (!message) return false;
    thread = SampleCodexThread::read(pathNow(thread));
    beginIn(std::make_unique<CodexTranscript>(CodexTranscript::continued(
                {.id = thread.id, .workingDirectory = thread.workingDirectory}, thread.nextOrdinal, moment)),
            *message);
    return true;
}

void SampleCodexWriter::beginIn(std::unique_ptr<CodexTranscript> of, std::string_view message) {
    transcript = std::move(of);
    written = 0;
    transcript->ask(message);
    appendNewRecords();
    current = SampleCodexThread::read(pathNow(thread)).turns.back();
}

SampleCodexTurn SampleCodexWriter::finish(std::int64_t moment, bool fails) {
    transcript->at(moment);
    if (fails)
        transcript->fail(failure);
    else
        transcript->answer(replyTo(current->items.front().text));
    appendNewRecords();
    current.reset();
    return SampleCodexThread::read(pathNow(thread)).turns.back();
}

void SampleCodexWriter::finishAll(std::int64_t moment, bool fails) {
    SampleCodexQueue queue(queuePath);
    finishAllOf(queue, moment, fails);
    lock.reset(); // While the queue is still locked, so that nothing is stored for nobody.
}

void SampleCodexWriter::finishAllOf(SampleCodexQueue& queue, std::int64_t moment, bool fails) {
    if (current) finish(moment, fails);
    while (beginFrom(queue, moment)) finish(moment, fails);
}

void SampleCodexWriter::appendNewRecords() {
    const auto records = std::string_view(transcript->text()).substr(written);
    const auto path = pathNow(thread);
    const int file = opened(path, O_WRONLY | O_APPEND);
    try {
        writeAll(file, records, path);
    } catch (...) {
        close(file);
        throw;
    }
    close(file);
    written += records.size();
}

std::optional<SampleCodexThread> SampleCodexHome::thread(std::string_view id) const {
    const std::array<ConversationRoot, 1> roots{{{Agent::codex, joinedPath(folderPath, "sessions")}}};
    for (const auto& reference : ConversationCatalog::discover(roots, std::nullopt))
        if (reference.sessionID == id) return SampleCodexThread::read(reference.transcriptPath);
    return std::nullopt;
}

std::vector<SampleCodexTurn> SampleCodexHome::allTurns(const SampleCodexThread& own) const {
    if (!own.forkedFrom) return own.turns;
    const auto base = thread(*own.forkedFrom);
    if (!base) return own.turns;
    auto turns = allTurns(SampleCodexThread::read(base->path, own.inheritedRecords));
    turns.insert(turns.end(), own.turns.begin(), own.turns.end());
    return turns;
}

std::unique_ptr<SampleCodexWriter> SampleCodexHome::writer(const SampleCodexThread& thread) const {
    const SampleCodexQueue queue(ownPath(thread, ".queue"));
    return writerFor(thread);
}

std::unique_ptr<SampleCodexWriter> SampleCodexHome::writerFor(const SampleCodexThread& thread) const {
    auto lock = std::make_unique<SampleCodexLock>(ownPath(thread, ".writer"));
    if (!lock->tryNow()) return nullptr;
    return std::make_unique<SampleCodexWriter>(thread, ownPath(thread, ".queue"), std::move(lock));
}

std::unique_ptr<SampleCodexWriter> SampleCodexHome::begin(const std::string& id,
                                                          const std::string& workingDirectory,
                                                          std::string_view message,
                                                          std::int64_t moment) const {
    const std::chrono::sys_time<std::chrono::milliseconds> at{std::chrono::milliseconds(moment)};
    const auto seconds = std::chrono::floor<std::chrono::seconds>(at);
    const auto folder = joinedPath(folderPath, fmt::format("sessions/{:%Y/%m/%d}", seconds));
    std::filesystem::create_directories(folder);
    SampleCodexThread thread{
        .id = id,
        .path = joinedPath(folder, fmt::format("rollout-{:%Y-%m-%dT%H-%M-%S}-{}.jsonl", seconds, id)),
        .workingDirectory = workingDirectory};
    auto made = writer(thread);
    if (!made) throw std::runtime_error("there is a writer of " + id);
    close(opened(thread.path, O_WRONLY | O_CREAT | O_EXCL));
    const SampleSession session{
        .id = id, .workingDirectory = workingDirectory, .startedAt = seconds.time_since_epoch().count()};
    made->beginIn(std::make_unique<CodexTranscript>(session), message);
    return made;
}

bool SampleCodexHome::hasWriter(const SampleCodexThread& thread) const {
    const SampleCodexQueue queue(ownPath(thread, ".queue"));
    return !writerFor(thread);
}

bool SampleCodexHome::queue(std::string_view id, std::string_view message, std::int64_t moment,
                            bool fails) const {
    const auto found = thread(id);
    if (!found) return false;
    SampleCodexQueue queue(ownPath(*found, ".queue"));
    queue.append(message);
    if (const auto writer = writerFor(*found)) writer->finishAllOf(queue, moment, fails);
    return true;
}

std::string SampleCodexHome::ownPath(const SampleCodexThread& thread, std::string_view extension) const {
    const auto folder = joinedPath(folderPath, "sample");
    std::filesystem::create_directories(folder);
    return joinedPath(folder, thread.id + std::string(extension));
}

} // namespace orvel
