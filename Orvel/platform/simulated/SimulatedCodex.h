#pragma once
// The command `codex` on a simulated desktop: the sample's stand-in, on the simulated clock, over transcripts
// in a real folder. What the outside world may do differently can be chosen.

#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "samples/SampleCodexHome.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct SampleMoment;

/// What `codex exec` does with a new conversation.
struct SimulatedCodexExec {
    using Duration = MainLoop::Duration;

    bool prints = true;                                     ///< The thread, as it begins.
    bool records = true;                                    ///< A transcript.
    Duration recordsAfter = std::chrono::milliseconds(200); ///< It has said which thread it is.
    std::string adds;                                       ///< Stands behind the message in the transcript.
    std::optional<int> endsEarly; ///< With this status, halfway between the record and the reply.
    bool ends = true;             ///< If not, there is no reply either.
};

class SimulatedCodex {
  public:
    using Duration = MainLoop::Duration;

    /// Puts the command at `path`; `codexHome` holds "sessions". Both references outlive this object, which
    /// outlives all children.
    SimulatedCodex(SimulatedProcesses& processes, SimulatedLoop& loop, const std::string& path,
                   std::string codexHome);
    ~SimulatedCodex();
    SimulatedCodex(const SimulatedCodex&) = delete;
    SimulatedCodex& operator=(const SimulatedCodex&) = delete;

    // From the next connection, queue command or turn on

    SampleCodexManner manner;
    bool hasServer = true; ///< Without one the proxy ends at once with status 1.

    // The queue command

    Duration queueDuration = std::chrono::milliseconds(100);
    bool queueStores = true; ///< Whether the message is stored, halfway through.
    bool queueEnds = true;
    int queueStatus = 0; ///< Where the message was stored, or `queueStores` is false.

    SimulatedCodexExec exec; ///< From its next moment on.
    /// The conversations that it has begun, and recorded.
    const std::vector<std::string>& begun() const { return begunIDs; }

    // Another program as the writer of a thread

    /// Whether the thread is there and nobody is its writer.
    bool isFree(const std::string& threadID) const;
    /// Another client becomes the thread's writer, and performs the turns that are queued for it.
    void holdAsAnother(const std::string& threadID);
    /// It lets the thread go behind its last turn. Nothing happens if it does not hold it.
    void letGo(const std::string& threadID);
    /// Another client sends a message of its own into the thread.
    void queuesAsAnother(const std::string& threadID, const std::string& message);
    /// What somebody types into the thread just before the next message is stored.
    std::optional<std::string> typedWhileStoring;

    /// What Orvel sent against the protocol.
    const std::vector<std::string>& complaints() const { return complained; }

  private:
    class Proxy;
    class Queue;
    class Exec;

    SampleMoment moment() const;
    void lookForMessages(const std::string& threadID);

    SimulatedLoop& loop;
    SampleCodexHome home;
    std::map<std::string, std::unique_ptr<SampleCodexWriter>> others; // By thread.
    std::map<std::string, std::unique_ptr<Timer>> otherTurns;
    std::vector<std::string> complained;
    int startedThreads = 0;
    std::vector<std::string> begunIDs;
};

} // namespace orvel
