#include "Orvel/platform/simulated/SimulatedClaudeCode.h"

#include "Orvel/platform/simulated/SimulatedFileStore.h"

#include <filesystem>
#include <utility>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

constexpr int statusOfMisuse = 1;

SampleSession sessionOf(const std::string& sessionID, const std::string& workingDirectory) {
    return {.id = sessionID, .workingDirectory = workingDirectory};
}

} // namespace

// One turn of a continued conversation.
class SimulatedClaudeCode::Turn : public SimulatedProgram {
  public:
    Turn(SimulatedChildSide side, SimulatedClaudeCode& claude, std::string sessionID, std::string text)
        : SimulatedProgram(side),
          claude(claude),
          sessionID(std::move(sessionID)),
          text(std::move(text)),
          process(claude.opens(this->sessionID)) {}
    ~Turn() override { claude.closes(process); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    void started() override {
        side.after(claude.habits.recordsAfter, [this] { record(); });
    }

  private:
    void record() {
        if (claude.habits.records) {
            claude.conversations.at(sessionID).transcript.ask(text);
            claude.write(sessionID);
        }
        side.after(claude.habits.turn, [this] { end(); });
    }

    void end() {
        const auto& habits = claude.habits;
        if (!habits.ends) return;
        if (habits.records && habits.status == 0) {
            auto& conversation = claude.conversations.at(sessionID);
            conversation.transcript.answer("Answer");
            claude.write(sessionID);
        }
        side.write(habits.output);
        side.exit(habits.status);
    }

    SimulatedClaudeCode& claude;
    std::string sessionID, text;
    ProcessID process;
};

SimulatedClaudeCode::SimulatedClaudeCode(SimulatedProcesses& processes, const std::string& path,
                                         std::string claudeFolder)
    : processes(processes), folder(std::move(claudeFolder)) {
    std::filesystem::remove_all(folder + "/sessions");
    processes.programs[path] = [this](SimulatedChildSide side,
                                      const ChildLaunch& launch) -> std::unique_ptr<SimulatedProgram> {
        const auto& given = launch.arguments;
        if (given == std::vector<std::string>{"--version"})
            return std::make_unique<SimulatedSaying>(side, habits.version, 0);
        if (given.size() < 3 || given[0] != "-p" || given[1] != "--resume" ||
            !conversations.contains(given[2]) || !launch.unattendedInput)
            return std::make_unique<SimulatedSaying>(side, "", statusOfMisuse);
        return std::make_unique<Turn>(side, *this, given[2], *launch.unattendedInput);
    };
}

void SimulatedClaudeCode::addConversation(const std::string& sessionID, const std::string& workingDirectory,
                                          const std::vector<std::string>& texts) {
    ClaudeTranscript transcript(sessionOf(sessionID, workingDirectory));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (i % 2 == 0)
            transcript.ask(texts[i]);
        else
            transcript.answer(texts[i]);
    }
    auto last = transcript.lastRecord();
    conversations.insert_or_assign(
        sessionID, Conversation{workingDirectory, std::move(transcript), std::move(last), {}});
    write(sessionID);
}

std::string SimulatedClaudeCode::transcriptPath(const std::string& sessionID) const {
    return folder + "/projects/-code-lark/" + sessionID + ".jsonl";
}

void SimulatedClaudeCode::opensElsewhere(const std::string& sessionID) {
    if (elsewhere == 0) elsewhere = opens(sessionID);
}

void SimulatedClaudeCode::closesElsewhere() {
    closes(std::exchange(elsewhere, 0));
}

void SimulatedClaudeCode::isContinuedElsewhere(const std::string& sessionID, const std::string& text) {
    auto& conversation = conversations.at(sessionID);
    if (!conversation.added.empty()) return;
    auto branch = ClaudeTranscript::continued(sessionOf(sessionID, conversation.workingDirectory),
                                              conversation.lastRecord);
    conversation.added = branch.ask(text).answer("Another answer").text();
    write(sessionID);
}

// Notes that a process has the conversation open.
ProcessID SimulatedClaudeCode::opens(const std::string& sessionID) {
    const auto process = nextProcess++;
    const auto mark = std::to_string(100'000 + process);
    processes.strangers[process] = mark;
    const nlohmann::ordered_json note{
        {"pid", process}, {"sessionId", sessionID}, {"procStart", mark}, {"status", "busy"}};
    SimulatedFileStore::write(folder + "/sessions/" + std::to_string(process) + ".json", note.dump());
    return process;
}

void SimulatedClaudeCode::closes(ProcessID process) {
    processes.strangers.erase(process);
    std::filesystem::remove(folder + "/sessions/" + std::to_string(process) + ".json");
}

void SimulatedClaudeCode::write(const std::string& sessionID) {
    const auto& conversation = conversations.at(sessionID);
    SimulatedFileStore::write(transcriptPath(sessionID), conversation.transcript.text() + conversation.added);
}

} // namespace orvel
