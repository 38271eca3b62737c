#include "Orvel/reading/ClaudeCodeSessions.h"

#include "Orvel/desktop/Processes.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <nlohmann/json.hpp>

namespace orvel::ClaudeCodeSessions {

namespace {

constexpr std::string_view ending = ".json";
constexpr std::size_t maximumNoteSize = 65'536; // Real ones have some hundred bytes.

// Nothing for any other file; keys, which lie beside the notes, are never opened.
std::optional<ProcessID> processNamed(std::string_view fileName) {
    if (!fileName.ends_with(ending)) return std::nullopt;
    fileName.remove_suffix(ending.size());
    ProcessID process = 0;
    const auto* end = fileName.data() + fileName.size();
    const auto [stop, error] = std::from_chars(fileName.data(), end, process);
    return error == std::errc() && stop == end && process > 0 ? std::optional(process) : std::nullopt;
}

std::string textOf(const nlohmann::json& note, const char* key) {
    const auto found = note.find(key);
    if (found == note.end()) return {};
    return found->is_string() ? found->get<std::string>() : found->dump();
}

ClaudeCodeSession noteIn(const std::string& path, ProcessID process) {
    ClaudeCodeSession session{.process = process};
    try {
        const auto note = nlohmann::json::parse(readFile(path, maximumNoteSize));
        session.startMark = textOf(note, "procStart");
        session.sessionID = textOf(note, "sessionId");
    } catch (const FileError&) {
    } catch (const nlohmann::json::exception&) {
    }
    return session;
}

} // namespace

std::vector<ClaudeCodeSession> read(const std::string& claudeFolder) {
    const auto folder = joinedPath(claudeFolder, "sessions");
    std::vector<ClaudeCodeSession> sessions;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure))
        if (const auto process = processNamed(entry->path().filename().native()))
            sessions.push_back(noteIn(entry->path().native(), *process));
    if (failure && failure != std::errc::no_such_file_or_directory)
        throw FileError::fromErrno(failure.value(), "list", folder);
    std::sort(sessions.begin(), sessions.end(),
              [](const auto& one, const auto& two) { return one.process < two.process; });
    return sessions;
}

std::optional<ClaudeCodeSession> holder(const std::vector<ClaudeCodeSession>& sessions,
                                        const std::string& sessionID, Processes& processes) {
    for (const auto& session : sessions) {
        const bool isCandidate = session.sessionID.empty() || session.sessionID == sessionID;
        if (isCandidate && processes.isRunning(session.process, session.startMark)) return session;
    }
    return std::nullopt;
}

} // namespace orvel::ClaudeCodeSessions
