#include "Orvel/reading/CodexThreadSession.h"

#include "Orvel/reading/ChildEnding.h"
#include "Orvel/reading/JsonMessage.h"
#include "Orvel/reading/PipeWait.h"
#include "Orvel/runtime/Random.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/Base64.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

CodexWebSocketCodec::Mask newMask() {
    CodexWebSocketCodec::Mask mask;
    randomBytes(mask.size()).copy(mask.data(), mask.size());
    return mask;
}

using namespace std::chrono_literals;
using nlohmann::ordered_json;
using Opcode = CodexWebSocketCodec::Opcode;

constexpr auto connectTimeout = 20s;
constexpr auto completionPollInterval = 250ms;
constexpr std::int64_t initializeID = 1, resumeID = 2;
constexpr std::size_t maximumReason =
    300; // In bytes; a server's words that are longer are none for a person.
constexpr std::size_t maximumTextParsedOnLoop = 65'536; // In bytes; parsing more would hold the main loop.

ChildLaunch serverLaunch(Processes& processes, const std::string& executable) {
    const auto path = processes.environmentVariable("PATH").value_or("/usr/bin:/bin");
    return {.executable = executable,
            .arguments = {"app-server", "proxy"},
            .environment = {{"PATH", std::string(parentFolder(executable)) + ":" + path}},
            .hasPipes = true};
}

std::unique_ptr<ChildProcess> startedServer(Processes& processes, const std::string& executable) try {
    return processes.start(serverLaunch(processes, executable));
} catch (const ProcessError& failure) {
    if (failure.kind() == ProcessError::Case::pipesFailed) throw CodexThreadLoaderError::pipes();
    throw;
}

CodexThreadLoaderError atStage(std::string_view stage, const std::exception& failure) {
    const auto* known = dynamic_cast<const CodexThreadLoaderError*>(&failure);
    return {known ? known->kind() : CodexThreadLoaderError::Kind::other,
            std::string(failure.what()) + " (connection stage: " + std::string(stage) + ")"};
}

std::string upgradeRequest(const std::string& key) {
    return "GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Key: " +
           key + "\r\nSec-WebSocket-Version: 13\r\n\r\n";
}

// The result of the awaited response, or nothing if the message is another one: what carries a method is a
// notification or a request of the server, which counts its identifiers in its own way.
std::optional<simdjson::dom::object> responseResult(const simdjson::dom::object& message,
                                                    std::int64_t expectedID, std::string_view threadID) {
    const bool hasMethod = message["method"].error() == simdjson::SUCCESS;
    if (hasMethod || member<std::int64_t>(message, "id") != expectedID) return std::nullopt;
    if (const auto error = objectMember(message, "error")) {
        const auto reason = stringMember(*error, "message");
        const bool isRefusal = reason && member<std::int64_t>(*error, "code") == -32600;
        if (isRefusal && reason == "thread " + std::string(threadID) + " already has an active writer")
            throw CodexThreadLoaderError::activeWriter();
        if (isRefusal && expectedID != initializeID && reason->size() <= maximumReason)
            throw CodexThreadLoaderError::refused(*reason);
    }
    const bool hasError = message["error"].error() == simdjson::SUCCESS;
    const auto result = objectMember(message, "result");
    if (hasError || !result) throw CodexThreadLoaderError::invalid();
    return result;
}

// The type of the conversation's status; empty if the answer is about another one.
std::string_view statusOf(const simdjson::dom::object& result, std::string_view threadID) {
    const auto thread = objectMember(result, "thread");
    if (!thread || stringMember(*thread, "id") != threadID) return {};
    const auto status = objectMember(*thread, "status");
    return status ? stringMember(*status, "type").value_or("") : std::string_view();
}

} // namespace

// What a notification says of a turn of this conversation.
struct CodexThreadSession::Turn {
    std::string_view method, id, status;
};

CodexThreadSession::CodexThreadSession(MainLoop& loop, Processes& processes, const std::string& executable,
                                       std::string threadID)
    : loop(loop), threadID(std::move(threadID)), process(startedServer(processes, executable)) {}

CodexThreadSession::~CodexThreadSession() = default;

// Connecting

Task<void> CodexThreadSession::connect(bool readOnly) {
    const auto until = loop.uptime() + connectTimeout;
    std::optional<CodexThreadLoaderError> problem;
    std::string_view stage = "HTTP Upgrade";
    try {
        co_await upgrade(until);
        stage = "initialize";
        co_await initialize(until);
        stage = "initialized / thread-resume";
        co_await send(R"({"method":"initialized","params":{}})", until);
        if (!readOnly) co_await resume(until);
    } catch (const std::exception& failure) {
        problem = atStage(stage, failure);
    }
    if (!problem) co_return;
    co_await close();
    throw *problem;
}

Task<void> CodexThreadSession::upgrade(MainLoop::Duration until) {
    static constexpr std::string_view terminator = "\r\n\r\n";
    const auto key = base64(randomBytes(16));
    co_await write(upgradeRequest(key), until);
    std::string received;
    std::size_t end = received.npos;
    while (end == received.npos) {
        if (received.size() > CodexWebSocketCodec::maximumUpgradeHead)
            throw CodexThreadLoaderError::invalid();
        const auto bytes = co_await readSome(until);
        if (bytes.empty()) throw CodexThreadLoaderError::timeout();
        const auto searched = received.size() - std::min(received.size(), terminator.size() - 1);
        received += bytes;
        end = received.find(terminator, searched);
    }
    const auto head = std::string_view(received).substr(0, end + terminator.size());
    CodexWebSocketCodec::validateUpgrade(head, key);
    codec.append(std::string_view(received).substr(head.size()));
}

Task<void> CodexThreadSession::initialize(MainLoop::Duration until) {
    co_await send(
        R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"orvel","title":"Orvel","version":"0.1"}}})",
        until);
    co_await response(initializeID, until);
}

Task<void> CodexThreadSession::resume(MainLoop::Duration until) {
    const ordered_json request{{"id", resumeID},
                               {"method", "thread/resume"},
                               {"params", {{"threadId", threadID}, {"excludeTurns", true}}}};
    co_await send(request.dump(), until);
    const auto result = co_await response(resumeID, until);
    const auto status = statusOf(result->object(), threadID);
    if (status == "systemError") throw CodexThreadLoaderError::lastTurnFailed();
    if (status != "idle") throw CodexThreadLoaderError::notIdle();
    startedTurns.clear();
}

// Asking

Task<SharedMessage> CodexThreadSession::request(std::string method, std::string params,
                                                MainLoop::Duration until) {
    const auto id = ++requestID;
    co_await send("{\"id\":" + std::to_string(id) + ",\"method\":" + ordered_json(method).dump() +
                      ",\"params\":" + params + "}",
                  until);
    co_return co_await response(id, until);
}

Task<void> CodexThreadSession::send(std::string json, MainLoop::Duration until) {
    co_await write(CodexWebSocketCodec::clientFrame(Opcode::text, json, newMask()), until);
}

Task<SharedMessage> CodexThreadSession::response(std::int64_t expectedID, MainLoop::Duration until) {
    for (;;) {
        const auto message = co_await receive(until);
        const auto result = responseResult(message->object(), expectedID, threadID);
        if (!result) continue;
        message->narrowTo(*result);
        co_return SharedMessage(message);
    }
}

Task<std::shared_ptr<JsonMessage>> CodexThreadSession::receive(MainLoop::Duration until,
                                                               std::optional<MainLoop::Duration> pollUntil) {
    for (;;) {
        if (loop.uptime() >= until) throw CodexThreadLoaderError::timeout();
        auto event = codec.next();
        if (!event) {
            const auto bytes = co_await readSome(pollUntil.value_or(until));
            if (!bytes.empty())
                codec.append(bytes);
            else if (pollUntil)
                co_return nullptr;
            continue;
        }
        switch (event->kind) {
        case CodexWebSocketCodec::Event::Kind::ping:
            co_await write(CodexWebSocketCodec::clientFrame(Opcode::pong, event->payload, newMask()), until);
            break;
        case CodexWebSocketCodec::Event::Kind::pong: break;
        case CodexWebSocketCodec::Event::Kind::close: throw CodexThreadLoaderError::disconnected();
        case CodexWebSocketCodec::Event::Kind::text: co_return co_await parsed(std::move(event->payload));
        }
    }
}

Task<std::shared_ptr<JsonMessage>> CodexThreadSession::parsed(std::string text) {
    if (text.size() > maximumTextParsedOnLoop) {
        const auto parse = [text = std::make_shared<const std::string>(std::move(text))] {
            return std::make_shared<JsonMessage>(*text);
        };
        co_return co_await loop.background(parse);
    }
    co_await loop.yield(); // A server that talks without a pause must not hold the loop.
    co_return std::make_shared<JsonMessage>(text);
}

// Watching a turn

Task<void> CodexThreadSession::waitForTurnCompletion(MainLoop::Duration timeout,
                                                     CompletionCheck completionConfirmed) {
    const auto until = loop.uptime() + std::max(timeout, MainLoop::Duration::zero());
    for (bool isCompleted = false; !isCompleted;) {
        const auto message = co_await receive(until);
        const auto turn = turnOf(*message);
        if (!turn) continue;
        if (turn->method == "turn/started") startedTurns.emplace(turn->id);
        if (turn->method != "turn/completed" || !startedTurns.contains(turn->id)) continue;
        isCompleted = turn->status == "completed";
        if (isCompleted) continue;
        const bool isOurs = !completionConfirmed || co_await completionConfirmed();
        if (isOurs) throw CodexThreadLoaderError::turnFailed();
    }
    if (!completionConfirmed) co_return;
    for (;;) {
        const bool isConfirmed = co_await completionConfirmed();
        if (isConfirmed) co_return;
        co_await receive(until, std::min(loop.uptime() + completionPollInterval, until));
    }
}

std::optional<CodexThreadSession::Turn> CodexThreadSession::turnOf(const JsonMessage& message) const {
    const auto method = stringMember(message.object(), "method");
    const auto params = objectMember(message.object(), "params");
    if (!method || !params || stringMember(*params, "threadId") != threadID) return std::nullopt;
    const auto turn = objectMember(*params, "turn");
    const auto id = turn ? stringMember(*turn, "id") : std::nullopt;
    if (!id) return std::nullopt;
    return Turn{*method, *id, stringMember(*turn, "status").value_or("")};
}

// The pipes

Task<void> CodexThreadSession::write(std::string bytes, MainLoop::Duration until) {
    for (auto rest = std::string_view(bytes); !rest.empty();) {
        const bool isReady = co_await waitFor(PipeEnd::input, until);
        if (!isReady) throw CodexThreadLoaderError::timeout();
        const auto transfer = process->write(rest);
        if (transfer.kind == PipeTransfer::Kind::finished) throw CodexThreadLoaderError::disconnected();
        rest.remove_prefix(transfer.count);
    }
}

Task<std::string_view> CodexThreadSession::readSome(MainLoop::Duration until) {
    for (;;) {
        const bool isReady = co_await waitFor(PipeEnd::output, until);
        if (!isReady) co_return std::string_view();
        const auto transfer = process->read(chunk);
        if (transfer.kind == PipeTransfer::Kind::finished) throw CodexThreadLoaderError::disconnected();
        if (transfer.kind == PipeTransfer::Kind::moved)
            co_return std::string_view(chunk.data(), transfer.count);
    }
}

Task<bool> CodexThreadSession::waitFor(PipeEnd end, MainLoop::Duration until) {
    if (closed) throw CodexThreadLoaderError::disconnected();
    const auto outcome = co_await PipeWait(loop, *process, end, until);
    if (outcome == PipeWait::Outcome::broken) throw CodexThreadLoaderError::disconnected();
    co_return outcome == PipeWait::Outcome::ready;
}

Task<void> CodexThreadSession::close() {
    if (closed) co_return;
    closed = true;
    process->closePipes();
    co_await endChild(loop, *process);
    process.reset();
}

} // namespace orvel
