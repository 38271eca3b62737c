#pragma once
// The stand-in for one connection of `codex app-server proxy`: bytes in, bytes out. It knows neither pipes
// nor clocks, so a program and a simulated desktop can both hold one.

#include "samples/SampleCodexHome.h"
#include "samples/SampleWebSocketServer.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

/// One moment on both clocks.
struct SampleMoment {
    std::chrono::milliseconds uptime; ///< Never jumps; only differences count.
    std::int64_t unixMilliseconds = 0;
};

class SampleCodexServer {
  public:
    /// How often a thread that this connection writes is looked at for messages that wait.
    static constexpr std::chrono::milliseconds queueInterval{50};

    SampleCodexServer(SampleCodexHome home, const SampleCodexManner& manner);
    ~SampleCodexServer();

    /// Takes bytes from the client; gives those that answer them.
    std::string receive(std::string_view bytes, const SampleMoment& now);

    /// Does what has fallen due; gives the bytes that tell of it.
    std::string pass(const SampleMoment& now);

    /// When to call `pass` next, as uptime; nothing if only the client can make something happen.
    std::optional<std::chrono::milliseconds> nextPass() const;

    /// The client is gone. The real server outlives its connections, so the turns that wait are performed.
    void end(const SampleMoment& now);

    bool isClosed() const { return socket.isClosed(); }
    /// What the client did wrong; nothing if it did all as it should.
    const std::optional<std::string>& complaint() const;

  private:
    using Json = nlohmann::ordered_json;

    void take(const std::string& text, const SampleMoment& now);
    Json answerTo(const std::string& method, const Json& params, const SampleMoment& now);
    Json initialize(const Json& params, const SampleMoment& now);
    Json resume(const SampleCodexThread& thread, const SampleMoment& now);
    Json readThread(const SampleCodexThread& thread, const SampleMoment& now) const;
    Json listTurns(const SampleCodexThread& thread, const Json& params) const;
    Json jsonOf(const SampleCodexThread& thread, const SampleMoment& now) const;
    Json statusOf(const SampleCodexThread& thread, const SampleMoment& now) const;
    bool isWrittenHere(const SampleCodexThread& thread) const;

    void beginTurn(const SampleMoment& now);
    void finishTurn(const SampleMoment& now);
    void announceStatus(const Json& status, const SampleMoment& now);
    void announceItem(std::string_view method, const SampleCodexTurn& turn, const Json& item,
                      const SampleMoment& now);
    void notify(std::string_view method, Json params, const SampleMoment& now);
    void askClient();

    SampleCodexHome home;
    SampleCodexManner manner;
    SampleWebSocketServer socket;
    bool introduced = false, initialized = false;
    int ownRequests = 0;
    std::string writtenID;
    std::unique_ptr<SampleCodexWriter> writer;
    std::chrono::milliseconds nextLook{0}, turnEnds{0};
    std::optional<std::string> wrong;
};

} // namespace orvel
