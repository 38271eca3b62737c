#include "Orvel/platform/sample/SampleClaude.h"

#include "OrvelCore/conversations/ConversationCatalog.h"

#include <cstdint>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

constexpr auto answer = "Thank you. I have read this, and it changes what I would do next.\n\n"
                        "(This is a sample: nobody has really thought about it.)";

// The record to which the next one of the conversation belongs.
std::string lastRecordID(const std::string& transcriptPath) {
    std::ifstream file(transcriptPath, std::ios::binary);
    std::string last;
    for (std::string line; std::getline(file, line);) {
        const auto record = nlohmann::json::parse(line);
        if (record.contains("uuid") && !record.value("isSidechain", false)) last = record.at("uuid");
    }
    return last;
}

} // namespace

SampleClaude::SampleClaude(MainLoop& loop, const AgentFolders& folders)
    : world(loop), claude(simulated, folders.claude + "/projects", folders.claudeDesktop) {
    simulated.accessibility.latency = {{}, {}, {}}; // Nobody waits here for a program that takes its time.
    claude.habits.answer = answer;
    claude.habits.writtenShows = {}; // As on a platform that reads back what it wrote.
    for (const auto& reference : ConversationCatalog::discover(folders.defaultRoots(), folders.claudeDesktop))
        if (reference.desktopSessionID) adopt(reference);
    simulated.applications.start(claude);
}

void SampleClaude::sitDown(const std::string& desktopID) {
    simulated.applications.bringToFront(simulated.applications.processOf(claude));
    if (claude.shown() != desktopID) claude.userNavigates(desktopID);
}

void SampleClaude::type(const std::string& text) {
    constexpr TapEvent anyKey{.keyCode = 0};
    simulated.applications.bringToFront(simulated.applications.processOf(claude)); // Orvel may have come.
    simulated.keyboard.press("", anyKey);
    claude.userSetsDraft(claude.shown(), text);
}

void SampleClaude::pressReturn() {
    simulated.keyboard.stroke("\r", {.keyCode = KeyCode::returnKey});
}

void SampleClaude::adopt(const ConversationReference& reference) {
    SampleSession session{.id = reference.sessionID,
                          .startedAt = static_cast<std::int64_t>(world.now() + referenceDateInUnixTime)};
    if (reference.workingDirectory) session.workingDirectory = *reference.workingDirectory;
    claude.adoptConversation(
        *reference.desktopSessionID, reference.transcriptPath,
        ClaudeTranscript::continued(std::move(session), lastRecordID(reference.transcriptPath)));
}

} // namespace orvel
