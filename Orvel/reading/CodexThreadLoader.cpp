#include "Orvel/reading/CodexThreadLoader.h"

#include "Orvel/reading/CodexStoredHistory.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/UUID.h"

namespace orvel::CodexThreadLoader {

namespace {

constexpr auto historyTimeout = std::chrono::seconds(20);

} // namespace

Task<std::unique_ptr<CodexThreadSession>> connect(MainLoop& loop, Processes& processes,
                                                  std::string executable, std::string threadID) {
    if (!isUUID(threadID)) throw CodexThreadLoaderError::invalid();
    auto session = std::make_unique<CodexThreadSession>(loop, processes, executable, threadID);
    co_await session->connect(false);
    co_return session;
}

Task<SharedConversation> readHistory(MainLoop& loop, Processes& processes, std::string executable,
                                     ConversationReference reference, bool preferLocalTranscript) {
    if (reference.agent != Agent::codex || !isUUID(reference.sessionID))
        throw CodexThreadLoaderError::invalid();
    CodexThreadSession session(loop, processes, executable, reference.sessionID);
    SharedConversation conversation;
    std::exception_ptr failure;
    try {
        co_await session.connect(true);
        const CodexStoredHistory::Request request =
            [&session, until = loop.uptime() + historyTimeout](std::string method, std::string params) {
                return session.request(std::move(method), std::move(params), until);
            };
        conversation = co_await CodexStoredHistory::read(loop, reference, preferLocalTranscript, request);
    } catch (...) {
        failure = std::current_exception();
    }
    co_await session.close();
    if (failure) std::rethrow_exception(failure);
    co_return conversation;
}

} // namespace orvel::CodexThreadLoader
