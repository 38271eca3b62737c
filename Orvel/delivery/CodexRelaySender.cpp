#include "Orvel/delivery/CodexRelaySender.h"

#include "Orvel/delivery/CodexMessage.h"
#include "Orvel/reading/AgentTool.h"
#include "Orvel/reading/ChildEnding.h"
#include "Orvel/reading/CodexThreadLoader.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/UUID.h"

#include <array>
#include <chrono>
#include <vector>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr auto acceptanceTimeout = 15s;
constexpr auto acceptancePollInterval = 50ms;
constexpr auto turnTimeout = 3600s;

ChildLaunch queueLaunch(const std::string& executable, const std::string& threadID,
                        const std::string& payload, Processes& processes) {
    ChildLaunch launch{.executable = executable,
                       .arguments = {"queue", "--thread", threadID},
                       .environment = toolEnvironment(executable, processes)};
    for (auto& argument : CodexMessage::arguments(payload)) launch.arguments.push_back(std::move(argument));
    return launch;
}

// Where the command did not start, nothing was handed over.
std::unique_ptr<ChildProcess> started(Processes& processes, const ChildLaunch& launch) try {
    return processes.start(launch);
} catch (const ProcessError& failure) {
    throw RelaySendError(
        std::string("Codex could not be started, so nothing was sent. If that stays so, copy "
                    "the saved message.\n") +
            failure.what(),
        true);
}

} // namespace

CodexRelaySender::CodexRelaySender(MainLoop& loop, Processes& processes, ConversationReader& reading,
                                   std::string home)
    : loop(loop), processes(processes), reading(reading), home(std::move(home)) {}

Task<void> CodexRelaySender::send(SavedTransfer transfer, ConversationReference to,
                                  LifecycleFailure lifecycleFailure) {
    const auto tool = agentTool(Agent::codex, processes, home);
    if (to.agent != Agent::codex || !isUUID(to.sessionID) || !tool)
        throw RelaySendError(
            "Codex CLI was not found or the conversation ID is invalid. Use Copy to recover.", true);

    // Nothing has gone out yet: whatever fails here may be tried again.
    std::unique_ptr<CodexThreadSession> session;
    try {
        session = co_await CodexThreadLoader::connect(loop, processes, *tool, to.sessionID);
    } catch (const std::exception& failure) {
        const auto* known = dynamic_cast<const CodexThreadLoaderError*>(&failure);
        // The program that holds the conversation takes the message; there is just nothing to watch.
        if (!known || known->kind() != CodexThreadLoaderError::Kind::activeWriter)
            throw RelaySendError(std::string("Couldn't load the Codex conversation. Nothing was sent.\n") +
                                     failure.what(),
                                 true);
    }

    // From here on only the transcript can tell whether the message went in.
    auto failure = co_await queue(*tool, to.sessionID, *transfer->payload);
    if (failure) {
        if (session) co_await session->close();
        std::rethrow_exception(failure);
    }
    if (session)
        tasks.start(
            watch(std::move(session), std::move(transfer), std::move(to), std::move(lifecycleFailure)));
}

Task<std::exception_ptr> CodexRelaySender::queue(std::string tool, std::string threadID,
                                                 std::string payload) {
    try {
        const auto child = started(processes, queueLaunch(tool, threadID, payload, processes));
        const auto deadline = loop.uptime() + acceptanceTimeout;
        auto status = child->exitStatus();
        for (; !status && loop.uptime() < deadline; status = child->exitStatus())
            co_await loop.sleep(acceptancePollInterval);
        if (!status) {
            co_await endChild(loop, *child);
            throw RelaySendError(
                "Codex acceptance verification timed out. Check delivery records before resending.");
        }
        if (*status != 0)
            throw RelaySendError(
                "Codex could not accept the queued message. Copy the pending message to recover.");
        co_return nullptr;
    } catch (const std::exception&) {
        co_return std::current_exception();
    }
}

Task<void> CodexRelaySender::watch(std::unique_ptr<CodexThreadSession> session, SavedTransfer transfer,
                                   ConversationReference reference, LifecycleFailure lifecycleFailure) {
    const auto threadID = reference.sessionID;
    watched[threadID] = loop.uptime();
    const CodexThreadSession::CompletionCheck isAnswered = [&] {
        return hasBeenAnswered(transfer, reference);
    };
    std::optional<std::string> failure;
    try {
        co_await session->waitForTurnCompletion(turnTimeout, isAnswered);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    watched.erase(threadID);
    if (failure)
        lifecycleFailure(
            "The connection waiting for the Codex reply ended. Check the conversation and delivery "
            "records without resending.\n" +
            *failure);
    co_await session->close();
}

Task<bool> CodexRelaySender::hasBeenAnswered(SavedTransfer transfer, ConversationReference reference) {
    SharedConversation conversation;
    try {
        conversation = co_await reading.readIfChanged(reference);
    } catch (const std::exception&) {
        co_return false;
    }
    co_return completedPayload(*transfer->payload, transfer->destinationBefore, *conversation);
}

bool CodexRelaySender::completedPayload(std::string_view payload,
                                        const std::optional<std::string>& afterMessageID,
                                        const Conversation& conversation) {
    if (conversation.isBusy || conversation.hasAmbiguousBranches) return false;
    const auto& messages = conversation.messages;
    std::size_t next = 0;
    if (afterMessageID) {
        const auto before = positionOf(messages, *afterMessageID);
        if (!before) return false;
        next = *before + 1;
    }
    while (next < messages.size() && (messages[next].role != "user" || messages[next].text != payload))
        ++next;
    if (next == messages.size()) return false;
    for (++next; next < messages.size() && messages[next].role != "user"; ++next)
        if (messages[next].role == "assistant") return true;
    return false;
}

} // namespace orvel
