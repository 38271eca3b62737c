#pragma once
// The folder of the stand-in for Codex: its threads, the messages that wait for them, and which process
// writes a thread. Processes share all of it through files, so each may be killed at any moment.

#include "samples/SampleCodexThread.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orvel {

class CodexTranscript;
class SampleCodexLock;
class SampleCodexQueue;

/// How turns go.
struct SampleCodexManner {
    std::int64_t turnMilliseconds = 1'500;
    bool turnsFail = false;
};

/// Writes one thread, as only one process may at a time. Destroying it lets the thread go as a killed process
/// does: a turn that has begun never ends.
class SampleCodexWriter {
  public:
    SampleCodexWriter(SampleCodexThread thread, std::string queuePath, std::unique_ptr<SampleCodexLock> lock);
    ~SampleCodexWriter();
    SampleCodexWriter(const SampleCodexWriter&) = delete;
    SampleCodexWriter& operator=(const SampleCodexWriter&) = delete;

    /// The turn that has begun and not ended.
    const std::optional<SampleCodexTurn>& turn() const { return current; }

    /// Begins a turn with the first message that waits, if one does and no turn is under way; gives whether
    /// it did. `moment` is in milliseconds of the Unix epoch.
    bool begin(std::int64_t moment);
    /// Ends the turn with a reply, or without one if it is to fail; gives the whole turn.
    SampleCodexTurn finish(std::int64_t moment, bool fails);
    /// Ends the turn and performs all that wait, so that nothing is left when the thread is let go.
    void finishAll(std::int64_t moment, bool fails);

  private:
    friend class SampleCodexHome;
    void beginIn(std::unique_ptr<CodexTranscript> of, std::string_view message);
    bool beginFrom(SampleCodexQueue& queue, std::int64_t moment);
    void finishAllOf(SampleCodexQueue& queue, std::int64_t moment, bool fails);
    void appendNewRecords();

    SampleCodexThread thread;
    std::string queuePath;
    std::unique_ptr<SampleCodexLock> lock;
    std::unique_ptr<CodexTranscript> transcript; // Of the current turn.
    std::size_t written = 0;                     // Bytes of `transcript` that stand in the file.
    std::optional<SampleCodexTurn> current;
};

class SampleCodexHome {
  public:
    /// `folder` is the one that CODEX_HOME names.
    explicit SampleCodexHome(std::string folder) : folderPath(std::move(folder)) {}

    const std::string& folder() const { return folderPath; }

    /// Nothing if there is no such thread. Throws where its transcript cannot be read.
    std::optional<SampleCodexThread> thread(std::string_view id) const;

    /// The thread's turns behind those that it inherited as a fork.
    std::vector<SampleCodexTurn> allTurns(const SampleCodexThread& thread) const;

    /// Becomes the writer of the thread; nothing if there is already one.
    std::unique_ptr<SampleCodexWriter> writer(const SampleCodexThread& thread) const;

    /// Makes a thread whose first turn begins with the message, and becomes its writer. Throws where its file
    /// can't be made, and where the thread is there already.
    std::unique_ptr<SampleCodexWriter> begin(const std::string& id, const std::string& workingDirectory,
                                             std::string_view message, std::int64_t moment) const;

    bool hasWriter(const SampleCodexThread& thread) const;

    /// Stores a message for the thread. If nobody writes it, the turn is performed here and now. Gives false
    /// if there is no such thread.
    bool queue(std::string_view id, std::string_view message, std::int64_t moment, bool fails) const;

  private:
    std::string ownPath(const SampleCodexThread& thread, std::string_view extension) const;
    std::unique_ptr<SampleCodexWriter> writerFor(const SampleCodexThread& thread) const;

    std::string folderPath;
};

} // namespace orvel
