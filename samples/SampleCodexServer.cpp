#include "samples/SampleCodexServer.h"

#include "OrvelCore/text/UUID.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

constexpr int invalidRequest = -32600;
constexpr const char* version = "0.169.0";
constexpr std::size_t largestPage = 100;
// The real server forgets a failed turn when it unloads the thread.
constexpr std::int64_t failureRemembered = 60;

struct Refusal : std::exception {
    explicit Refusal(std::string words) : words(std::move(words)) {}
    const char* what() const noexcept override { return words.c_str(); }
    std::string words;
};

const char* nameOf(SampleCodexTurn::Status status) {
    switch (status) {
    case SampleCodexTurn::Status::inProgress: return "inProgress";
    case SampleCodexTurn::Status::completed: return "completed";
    case SampleCodexTurn::Status::failed: return "failed";
    case SampleCodexTurn::Status::interrupted: break;
    }
    return "interrupted";
}

Json errorOf(const SampleCodexTurn& turn) {
    if (turn.error.empty()) return nullptr;
    return {{"message", turn.error}, {"codexErrorInfo", "other"}, {"additionalDetails", nullptr}};
}

Json orNull(std::int64_t seconds) {
    return seconds > 0 ? Json(seconds) : Json();
}

Json jsonOf(const SampleCodexTurn::Item& item) {
    switch (item.kind) {
    case SampleCodexTurn::Item::Kind::user:
        return {{"type", "userMessage"},
                {"id", item.id},
                {"clientId", nullptr},
                {"content",
                 Json::array({{{"type", "text"}, {"text", item.text}, {"text_elements", Json::array()}}})}};
    case SampleCodexTurn::Item::Kind::agent:
        return {{"type", "agentMessage"},
                {"moderation", nullptr},
                {"id", item.id},
                {"text", item.text},
                {"phase", item.phase.empty() ? Json() : Json(item.phase)},
                {"memoryCitation", nullptr}};
    case SampleCodexTurn::Item::Kind::command: break;
    }
    return {{"type", "commandExecution"}, {"id", item.id}, {"command", item.text}, {"status", "completed"}};
}

Json jsonOf(const SampleCodexTurn& turn, std::string_view itemsView, Json items) {
    return {{"id", turn.id},
            {"rootTurnId", turn.id},
            {"items", std::move(items)},
            {"itemsView", itemsView},
            {"status", nameOf(turn.status)},
            {"error", errorOf(turn)},
            {"startedAt", orNull(turn.startedAt)},
            {"completedAt", orNull(turn.completedAt)},
            {"durationMs", turn.completedAt > 0 ? Json(1000 * (turn.completedAt - turn.startedAt)) : Json()}};
}

Json withAllItems(const SampleCodexTurn& turn) {
    auto items = Json::array();
    for (const auto& item : turn.items) items.push_back(jsonOf(item));
    return jsonOf(turn, "full", std::move(items));
}

// The real server names only the last thing that the agent said when a turn ends.
Json withLastItem(const SampleCodexTurn& turn) {
    if (turn.items.empty() || turn.items.back().kind != SampleCodexTurn::Item::Kind::agent)
        return jsonOf(turn, "notLoaded", Json::array());
    return jsonOf(turn, "summary", Json::array({jsonOf(turn.items.back())}));
}

} // namespace

SampleCodexServer::SampleCodexServer(SampleCodexHome newHome, const SampleCodexManner& manner)
    : home(std::move(newHome)), manner(manner) {}

SampleCodexServer::~SampleCodexServer() = default;

std::string SampleCodexServer::receive(std::string_view bytes, const SampleMoment& now) {
    for (const auto& text : socket.receive(bytes)) take(text, now);
    return socket.takeOutput();
}

std::string SampleCodexServer::pass(const SampleMoment& now) {
    if (writer && writer->turn() && now.uptime >= turnEnds) finishTurn(now);
    if (writer && !writer->turn() && now.uptime >= nextLook) {
        nextLook = now.uptime + queueInterval;
        if (writer->begin(now.unixMilliseconds)) beginTurn(now);
    }
    return socket.takeOutput();
}

std::optional<std::chrono::milliseconds> SampleCodexServer::nextPass() const {
    if (!writer) return std::nullopt;
    return writer->turn() ? turnEnds : nextLook;
}

void SampleCodexServer::end(const SampleMoment& now) {
    if (writer) writer->finishAll(now.unixMilliseconds, manner.turnsFail);
    writer.reset();
}

const std::optional<std::string>& SampleCodexServer::complaint() const {
    return wrong ? wrong : socket.complaint();
}

void SampleCodexServer::take(const std::string& text, const SampleMoment& now) {
    const auto message = Json::parse(text, nullptr, false);
    if (!message.is_object()) {
        wrong = "a text that is no JSON object";
        return;
    }
    const auto method = message.value("method", "");
    if (method == "initialized") initialized = introduced;
    if (method.empty() || !message.contains("id")) return; // A notification, or an answer to `askClient`.
    Json answer{{"id", message["id"]}};
    try {
        answer["result"] = answerTo(method, message.value("params", Json::object()), now);
    } catch (const std::exception& failure) {
        answer.erase("result");
        answer["error"] = {{"code", invalidRequest}, {"message", failure.what()}};
    }
    socket.sendText(answer.dump());
    if (method == "initialize")
        notify("remoteControl/status/changed", {{"status", "disabled"}, {"serverName", "orvel-sample"}}, now);
    if (method == "thread/resume" && writer) notify("thread/goal/cleared", {{"threadId", writtenID}}, now);
}

Json SampleCodexServer::answerTo(const std::string& method, const Json& params, const SampleMoment& now) {
    if (method == "initialize") return initialize(params, now);
    if (!introduced) throw Refusal("Not initialized");
    if (!initialized) wrong = "a request before the notification that ends the introduction";
    if (method != "thread/resume" && method != "thread/read" && method != "thread/turns/list")
        throw Refusal("Invalid request: unknown variant `" + method + "`");
    const auto id = params.value("threadId", "");
    if (!isUUID(id)) throw Refusal("invalid thread id: " + id);
    const auto thread = home.thread(id);
    if (!thread) throw Refusal("no rollout found for thread id " + id);
    if (method == "thread/resume") return resume(*thread, now);
    return method == "thread/read" ? readThread(*thread, now) : listTurns(*thread, params);
}

Json SampleCodexServer::initialize(const Json& params, const SampleMoment&) {
    if (introduced) throw Refusal("Already initialized");
    const auto client = params.at("clientInfo");
    introduced = true;
    socket.sendPing("orvel-sample");
    askClient();
    return {{"userAgent", client.at("name").get<std::string>() + '/' + version + " (orvel-sample)"},
            {"codexHome", home.folder()},
            {"platformFamily", "unix"},
            {"platformOs", "linux"}};
}

Json SampleCodexServer::resume(const SampleCodexThread& thread, const SampleMoment& now) {
    if (!isWrittenHere(thread)) {
        auto newWriter = home.writer(thread);
        if (!newWriter) throw Refusal("thread " + thread.id + " already has an active writer");
        end(now); // Of the thread that this connection wrote before.
        writer = std::move(newWriter);
        writtenID = thread.id;
        nextLook = now.uptime;
    }
    // Their identifiers count from 0, so one of these has that of the request it comes before.
    askClient();
    askClient();
    announceStatus(statusOf(thread, now), now);
    return {{"thread", jsonOf(thread, now)},   {"model", "orvel-sample"},
            {"modelProvider", "orvel-sample"}, {"cwd", thread.workingDirectory},
            {"approvalPolicy", "never"},       {"sandbox", {{"type", "readOnly"}}}};
}

Json SampleCodexServer::readThread(const SampleCodexThread& thread, const SampleMoment& now) const {
    return {{"thread", jsonOf(thread, now)}};
}

Json SampleCodexServer::listTurns(const SampleCodexThread& thread, const Json& params) const {
    const bool backwards = params.value("sortDirection", "desc") == "desc";
    const bool full = params.value("itemsView", "summary") == "full";
    auto turns = home.allTurns(thread);
    // Nobody is left who could end a turn that the transcript leaves open.
    if (!turns.empty() && turns.back().status == SampleCodexTurn::Status::inProgress &&
        !isWrittenHere(thread) && !home.hasWriter(thread))
        turns.back().status = SampleCodexTurn::Status::interrupted;
    if (backwards) std::reverse(turns.begin(), turns.end());

    // A cursor is the turn with which its page begins.
    auto first = turns.begin();
    if (const auto cursor = params.find("cursor"); cursor != params.end() && !cursor->is_null()) {
        first = std::find_if(first, turns.end(), [&](const auto& turn) { return turn.id == *cursor; });
        if (first == turns.end()) throw Refusal("invalid cursor");
    }
    const auto limit = std::clamp<std::size_t>(params.value("limit", std::size_t{25}), 1, largestPage);
    const auto count = std::min(limit, static_cast<std::size_t>(turns.end() - first));
    const auto last = first + static_cast<std::ptrdiff_t>(count);
    auto data = Json::array();
    for (auto turn = first; turn != last; ++turn)
        data.push_back(full ? withAllItems(*turn) : withLastItem(*turn));
    return {{"data", std::move(data)}, {"nextCursor", last == turns.end() ? Json() : Json(last->id)}};
}

Json SampleCodexServer::jsonOf(const SampleCodexThread& thread, const SampleMoment& now) const {
    return {{"id", thread.id},
            {"sessionId", thread.id},
            {"forkedFromId", thread.forkedFrom ? Json(*thread.forkedFrom) : Json()},
            {"ephemeral", false},
            {"historyMode", "paginated"},
            {"modelProvider", "orvel-sample"},
            {"updatedAt", thread.updatedAt},
            {"status", statusOf(thread, now)},
            {"path", thread.path},
            {"cwd", thread.workingDirectory},
            {"cliVersion", version},
            {"name", nullptr},
            {"turns", Json::array()}};
}

Json SampleCodexServer::statusOf(const SampleCodexThread& thread, const SampleMoment& now) const {
    const bool isWritten = isWrittenHere(thread) || home.hasWriter(thread);
    if (!isWritten) return {{"type", "notLoaded"}};
    if (!thread.turns.empty()) {
        const auto& turn = thread.turns.back();
        if (turn.status == SampleCodexTurn::Status::failed &&
            now.unixMilliseconds / 1000 - turn.completedAt < failureRemembered)
            return {{"type", "systemError"}};
        const bool isRunning = isWrittenHere(thread) ? writer->turn().has_value()
                                                     : turn.status == SampleCodexTurn::Status::inProgress;
        if (isRunning) return {{"type", "active"}, {"activeFlags", Json::array()}};
    }
    return {{"type", "idle"}};
}

bool SampleCodexServer::isWrittenHere(const SampleCodexThread& thread) const {
    return writer && writtenID == thread.id;
}

void SampleCodexServer::beginTurn(const SampleMoment& now) {
    const auto& turn = *writer->turn();
    turnEnds = now.uptime + std::chrono::milliseconds(manner.turnMilliseconds);
    announceStatus({{"type", "active"}, {"activeFlags", Json::array()}}, now);
    notify("turn/started",
           {{"threadId", writtenID}, {"turn", orvel::jsonOf(turn, "notLoaded", Json::array())}}, now);
    const auto item = orvel::jsonOf(turn.items.front());
    announceItem("item/started", turn, item, now);
    announceItem("item/completed", turn, item, now);
}

void SampleCodexServer::finishTurn(const SampleMoment& now) {
    const auto turn = writer->finish(now.unixMilliseconds, manner.turnsFail);
    socket.sendPing("");
    if (turn.status == SampleCodexTurn::Status::failed) {
        announceStatus({{"type", "systemError"}}, now);
        notify("error",
               {{"error", errorOf(turn)}, {"willRetry", false}, {"threadId", writtenID}, {"turnId", turn.id}},
               now);
    } else {
        announceItem("item/completed", turn, orvel::jsonOf(turn.items.back()), now);
        announceStatus({{"type", "idle"}}, now);
    }
    notify("turn/completed", {{"threadId", writtenID}, {"turn", withLastItem(turn)}}, now);
}

void SampleCodexServer::announceStatus(const Json& status, const SampleMoment& now) {
    notify("thread/status/changed", {{"threadId", writtenID}, {"status", status}}, now);
}

void SampleCodexServer::announceItem(std::string_view method, const SampleCodexTurn& turn, const Json& item,
                                     const SampleMoment& now) {
    notify(method, {{"item", item}, {"threadId", writtenID}, {"turnId", turn.id}}, now);
}

void SampleCodexServer::notify(std::string_view method, Json params, const SampleMoment& now) {
    socket.sendText(
        Json{{"method", method}, {"params", std::move(params)}, {"emittedAtMs", now.unixMilliseconds}}
            .dump());
}

// A request of the server, as the real one makes them for approvals. It never waits for the answer.
void SampleCodexServer::askClient() {
    socket.sendText(Json{{"method", "item/commandExecution/requestApproval"},
                         {"id", ownRequests++},
                         {"params", {{"kind", "command"}, {"reason", "The sample only pretends to ask."}}}}
                        .dump());
}

} // namespace orvel
