#pragma once
// A conversation with Codex's own server: `codex app-server proxy` as a child, whose pipes carry what a
// WebSocket would, and on it objects in the manner of JSON-RPC. Nothing the server says is believed until it
// is checked.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/frames/CodexWebSocketCodec.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace orvel {

class JsonMessage;
using SharedMessage = std::shared_ptr<const JsonMessage>;

/// Lives for one purpose, one reading of a history or one delivery, and is not used again after a failure.
/// One operation runs at a time; each throws CodexThreadLoaderError. Destroying it kills the server that
/// still runs; `close` first asks it to end.
class CodexThreadSession {
  public:
    /// Whether a turn's reply stands in the transcript; asked after each sign that it may.
    using CompletionCheck = std::function<Task<bool>()>;

    /// Starts the server. Throws ProcessError if it can't be launched. The ports outlive the session.
    CodexThreadSession(MainLoop& loop, Processes& processes, const std::string& executable,
                       std::string threadID);
    CodexThreadSession(const CodexThreadSession&) = delete;
    CodexThreadSession& operator=(const CodexThreadSession&) = delete;
    ~CodexThreadSession();

    /// Introduces Orvel and, unless `readOnly`, becomes the writer of an idle conversation. A failure names
    /// the stage of the connection that it reached, and the session is closed.
    Task<void> connect(bool readOnly);

    /// Asks the server. `params` is the JSON text of an object, `until` an uptime. The message holds the
    /// answer's `result`, an object.
    Task<SharedMessage> request(std::string method, std::string params, MainLoop::Duration until);

    /// Waits until a turn that began after `connect` has completed, and `completionConfirmed`, if given,
    /// answers true. Throws also if that turn fails.
    Task<void> waitForTurnCompletion(MainLoop::Duration timeout, CompletionCheck completionConfirmed);

    /// Ends the server, with force after a second. Once only; later calls do nothing.
    Task<void> close();

  private:
    struct Turn;

    Task<void> upgrade(MainLoop::Duration until);
    Task<void> initialize(MainLoop::Duration until);
    Task<void> resume(MainLoop::Duration until);

    Task<void> send(std::string json, MainLoop::Duration until);
    Task<SharedMessage> response(std::int64_t expectedID, MainLoop::Duration until);
    /// The next object, or nothing if none has come by `pollUntil`.
    Task<std::shared_ptr<JsonMessage>> receive(MainLoop::Duration until,
                                               std::optional<MainLoop::Duration> pollUntil = std::nullopt);
    Task<std::shared_ptr<JsonMessage>> parsed(std::string text);
    std::optional<Turn> turnOf(const JsonMessage& message) const;

    Task<void> write(std::string bytes, MainLoop::Duration until);
    /// The next bytes, in `chunk`; nothing if none have come by `until`.
    Task<std::string_view> readSome(MainLoop::Duration until);
    /// Whether the end can be used; not by `until` if not.
    Task<bool> waitFor(PipeEnd end, MainLoop::Duration until);

    MainLoop& loop;
    std::string threadID;
    std::unique_ptr<ChildProcess> process;
    std::array<char, 16'384> chunk;
    CodexWebSocketCodec codec;
    bool closed = false;
    std::set<std::string, std::less<>> startedTurns;
    std::int64_t requestID = 10; ///< The last one used.
};

} // namespace orvel
