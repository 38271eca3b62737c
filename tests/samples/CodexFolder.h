#pragma once
// A home of Codex with a few threads, for one test.

#include "OrvelCore/conversations/TranscriptReader.h"
#include "TemporaryFolder.h"
#include "conversations/Outcome.h"
#include "samples/SampleCodexHome.h"
#include "samples/TranscriptWriter.h"

#include <string>

namespace orvel {

struct CodexFolder {
    static constexpr const char* plain = "11111111-1111-4111-8111-111111111111";
    static constexpr const char* fork = "22222222-2222-4222-8222-222222222222";
    static constexpr const char* unknown = "99999999-9999-4999-8999-999999999999";
    static constexpr std::int64_t moment = 1'790'000'000'000;

    CodexFolder() : plainPath(folder.write(nameOf(plain), plainText())) {}

    static std::string nameOf(const std::string& id) {
        return "sessions/2026/09/21/rollout-2026-09-21T10-00-00-" + id + ".jsonl";
    }
    static std::string plainText() {
        return CodexTranscript({.id = plain}).ask("A").comment("B").runCommand("ls", "x").answer("C").text();
    }

    /// A fork behind the plain thread's first turn; gives its path.
    std::string addFork() const {
        const SampleForkBase base{plain, SampleCodexThread::read(plainPath).nextOrdinal};
        return folder.write(nameOf(fork), CodexTranscript({.id = fork}, base).ask("F").answer("G").text());
    }

    SampleCodexThread thread() const { return SampleCodexThread::read(plainPath); }

    /// What a reader makes of the plain thread's transcript.
    std::string outcome() const { return outcomeOf(TranscriptReader::read(plainPath, Agent::codex)); }

    static std::string reply(std::string_view quoted) {
        return "assistant: This is the reply of Orvel's sample; no agent has read your message. It begins: "
               "“" +
               std::string(quoted) + "”";
    }

    TemporaryFolder folder;
    std::string plainPath;
    SampleCodexHome home{folder.path()};
};

} // namespace orvel
