#pragma once
// The command `claude` on a simulated desktop: it continues conversations whose transcripts lie in a real
// folder, on the simulated clock. What it may do differently can be chosen.

#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "samples/TranscriptWriter.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace orvel {

/// How the command behaves from its next step on.
struct SimulatedClaudeCodeHabits {
    std::string version = "2.1.329 (Claude Code)\n";
    MainLoop::Duration recordsAfter = std::chrono::milliseconds(500);
    MainLoop::Duration turn = std::chrono::seconds(2); ///< From the record of the message to the end.
    bool records = true;
    bool ends = true;
    int status = 0; ///< With another one there is no answer.
    std::string output = R"({"type":"result","is_error":false,"result":"Done."})";
};

class SimulatedClaudeCode {
  public:
    /// Puts the command at `path`; `claudeFolder` holds "projects" and "sessions", of which the latter is
    /// emptied. The references outlive this object, which outlives all children.
    SimulatedClaudeCode(SimulatedProcesses& processes, const std::string& path, std::string claudeFolder);

    /// A conversation of question and answer in turn, which belongs to a folder.
    void addConversation(const std::string& sessionID, const std::string& workingDirectory,
                         const std::vector<std::string>& texts);
    std::string transcriptPath(const std::string& sessionID) const;

    /// Somebody has the conversation open in a terminal from now on, until `closesElsewhere`.
    void opensElsewhere(const std::string& sessionID);
    void closesElsewhere();
    bool isOpenElsewhere() const { return elsewhere != 0; }
    /// Another process, which has seen only what was there from the beginning, adds a turn of its own; it
    /// does so once.
    void isContinuedElsewhere(const std::string& sessionID, const std::string& text);

    SimulatedClaudeCodeHabits habits;

  private:
    class Turn;
    struct Conversation {
        std::string workingDirectory;
        ClaudeTranscript transcript;
        std::string lastRecord; ///< Identifies the last one that was there from the beginning.
        std::string added;      ///< What others have written.
    };

    ProcessID opens(const std::string& sessionID);
    void closes(ProcessID process);
    void write(const std::string& sessionID);

    SimulatedProcesses& processes;
    std::string folder;
    std::map<std::string, Conversation> conversations; ///< By session.
    ProcessID nextProcess = 5'000;
    ProcessID elsewhere = 0; ///< Who holds a conversation in a terminal, or 0.
};

} // namespace orvel
