#include "samples/SampleHome.h"

#include "OrvelCore/files/FilePath.h"
#include "samples/SampleConversations.h"
#include "samples/TranscriptWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

std::string makeTemporaryFolder() {
    const char* chosen = std::getenv("TMPDIR");
    auto path = standardizedPath(joinedPath(chosen && *chosen ? chosen : "/tmp", "orvel-sample-XXXXXX"));
    if (!mkdtemp(path.data())) throw std::system_error(errno, std::generic_category(), path);
    return path;
}

void writeFile(const std::string& path, std::string_view contents) {
    std::filesystem::create_directories(parentFolder(path));
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::badbit | std::ios::failbit);
    file << contents;
}

void setModificationDate(const std::string& path, std::time_t date) {
    const std::array<timespec, 2> times{timespec{date, 0}, timespec{date, 0}};
    if (utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0)
        throw std::system_error(errno, std::generic_category(), path);
}

std::string formatted(std::time_t date, const char* format) {
    std::tm parts{};
    gmtime_r(&date, &parts);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), format, &parts);
    return text.data();
}

template <typename Transcript>
std::string transcriptOf(const SampleConversation& conversation, SampleSession session) {
    Transcript transcript(std::move(session));
    for (const auto& step : conversation.steps) {
        switch (step.kind) {
        case SampleStep::Kind::ask: transcript.ask(step.text); break;
        case SampleStep::Kind::comment: transcript.comment(step.text); break;
        case SampleStep::Kind::command: transcript.runCommand(step.text, step.output); break;
        case SampleStep::Kind::answer: transcript.answer(step.text); break;
        }
    }
    return transcript.text();
}

// Writes conversations into the folders of the agents, as the agents lay them out.
class ConversationFiles {
  public:
    explicit ConversationFiles(AgentFolders folders) : folders(std::move(folders)) {}

    void write(const SampleConversation& conversation, std::time_t now) {
        const auto lastUsed = now - std::time_t{60} * conversation.minutesAgo;
        SampleIDs ids(conversation.title + conversation.workingDirectory);
        const SampleSession session{ids.uuid(), conversation.workingDirectory,
                                    lastUsed - std::time_t{45} * 60};
        const auto path = conversation.agent == Agent::codex ? writeCodex(conversation, session)
                                                             : writeClaude(conversation, session, ids);
        setModificationDate(path, lastUsed);
    }

  private:
    std::string writeCodex(const SampleConversation& conversation, const SampleSession& session) {
        const auto path = folders.codex +
                          formatted(session.startedAt, "/sessions/%Y/%m/%d/rollout-%Y-%m-%dT%H-%M-%S-") +
                          session.id + ".jsonl";
        writeFile(path, transcriptOf<CodexTranscript>(conversation, session));
        if (!conversation.title.empty()) {
            titleIndex += Json{{"id", session.id}, {"thread_name", conversation.title}}.dump() + '\n';
            writeFile(folders.codex + "/session_index.jsonl", titleIndex);
        }
        return path;
    }

    std::string writeClaude(const SampleConversation& conversation, const SampleSession& session,
                            SampleIDs& ids) {
        auto project = session.workingDirectory;
        std::replace(project.begin(), project.end(), '/', '-');
        const auto stem = folders.claude + "/projects/" + project + '/' + session.id;
        writeFile(stem + ".jsonl", transcriptOf<ClaudeTranscript>(conversation, session));
        ClaudeTranscript agentsOwn(session);
        agentsOwn.sidechain("Which files mention this?", "I found them in two places.");
        writeFile(stem + "/subagents/agent-" + ids.hex(16) + ".jsonl", agentsOwn.text());

        const auto desktopID = "local_" + ids.uuid();
        writeFile(folders.claudeDesktop + '/' + ids.uuid() + '/' + desktopID + ".json",
                  Json{{"sessionId", desktopID},
                       {"cliSessionId", session.id},
                       {"cwd", session.workingDirectory},
                       {"title", conversation.title}}
                      .dump(2));
        return stem + ".jsonl";
    }

    AgentFolders folders;
    std::string titleIndex;
};

} // namespace

SampleHome::SampleHome(const std::optional<std::string>& codex) : path(makeTemporaryFolder()) {
    try {
        std::filesystem::create_directory(toolFolder());
        if (codex) std::filesystem::create_symlink(*codex, toolFolder() + "/codex");
        ConversationFiles files(folders());
        const auto now = std::time(nullptr);
        for (const auto& conversation : sampleConversations()) files.write(conversation, now);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
        throw;
    }
}

SampleHome::~SampleHome() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

AgentFolders SampleHome::folders() const {
    return AgentFolders::of(path, std::nullopt, std::nullopt, joinedPath(path, ".config"));
}

} // namespace orvel
