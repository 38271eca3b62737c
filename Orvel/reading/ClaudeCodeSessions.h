#pragma once
// Which conversations running Claude Codes have open. Each of them notes its own in a file "PID.json" of the
// folder "sessions", and leaves it behind if it is killed.

#include "Orvel/desktop/ProcessID.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

class Processes;

/// What one Claude Code has noted.
struct ClaudeCodeSession {
    ProcessID process = 0;
    std::string startMark; ///< As Processes::isRunning takes it; may be empty.
    std::string sessionID; ///< Empty if the note can't be read.
};

namespace ClaudeCodeSessions {

/// All notes below Claude's folder, in order of their processes; those of ended processes too. Reads files,
/// so it belongs into the background. Throws FileError if the folder is there and can't be listed.
std::vector<ClaudeCodeSession> read(const std::string& claudeFolder);

/// The running Claude Code that has the conversation open, or one whose note can't be read and which so
/// might; nothing if there is none.
std::optional<ClaudeCodeSession> holder(const std::vector<ClaudeCodeSession>& sessions,
                                        const std::string& sessionID, Processes& processes);

} // namespace ClaudeCodeSessions

} // namespace orvel
