#pragma once
// A connection to Codex's own server: a child process `codex app-server proxy`, whose pipes carry a WebSocket
// stream of messages in the style of JSON-RPC. Everything the server sends is validated.

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

/// Serves one history or one delivery, and must not be used after a failure. One operation runs at a time;
/// each throws CodexThreadLoaderError. Destroying the session kills a server that still runs; `close` asks it
/// to end first.
class CodexThreadSession {
  public:
    /// Whether a turn's reply is in the transcript; called after each sign that it might be.
    using CompletionCheck = std::function<Task<bool>()>;

    /// Starts the server. Throws ProcessError if that fails. The ports outlive the session.
    CodexThreadSession(MainLoop& loop, Processes& processes, const std::string& executable,
                       std::string threadID);
    CodexThreadSession(const CodexThreadSession&) = delete;
    CodexThreadSession& operator=(const CodexThreadSession&) = delete;
    ~CodexThreadSession();

    /// Performs the handshake and, unless `readOnly`, becomes the writer of the conversation, which must be
    /// idle. A failure names the stage that was reached, and closes the session.
    Task<void> connect(bool readOnly);

    /// Calls a method of the server. `params` is the JSON text of an object, `until` an uptime. The message
    /// holds the `result` of the response, an object.
    Task<SharedMessage> request(std::string method, std::string params, MainLoop::Duration until);

    /// Waits until a turn that began after `connect` has completed and `completionConfirmed`, if given,
    /// returns true. Also throws if that turn fails.
    Task<void> waitForTurnCompletion(MainLoop::Duration timeout, CompletionCheck completionConfirmed);

    /// Ends the server, by force after a second. Later calls do nothing.
    Task<void> close();

  private:
    struct Turn;

    Task<void> upgrade(MainLoop::Duration until);
    Task<void> initialize(MainLoop::Duration until);
    Task<void> resume(MainLoop::Duration until);

    Task<void> send(std::string json, MainLoop::Duration until);
    Task<SharedMessage> response(std::int64_t expectedID, MainLoop::Duration until);
    /// The next object; null if none has arrived by `pollUntil`.
    Task<std::shared_ptr<JsonMessage>> receive(MainLoop::Duration until,
                                               std::optional<MainLoop::Duration> pollUntil = std::nullopt);
    Task<std::shared_ptr<JsonMessage>> parsed(std::string text);
    std::optional<Turn> turnOf(const JsonMessage& message) const;

    Task<void> write(std::string bytes, MainLoop::Duration until);
    /// The next bytes, in `chunk`; empty if none have arrived by `until`.
    Task<std::string_view> readSome(MainLoop::Duration until);
    /// Whether the end can be used by `until`.
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
