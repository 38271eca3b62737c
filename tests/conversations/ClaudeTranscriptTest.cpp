#include "conversations/Outcome.h"

using namespace orvel;

namespace {

// A record of the chain.
std::string link(const std::string& type, const std::string& uuid, const char* parent,
                 const std::string& rest) {
    return record(R"({"type":")" + type + R"(","uuid":")" + uuid + R"(","parentUuid":)" +
                  (parent ? '"' + std::string(parent) + '"' : "null") + rest + "}");
}

std::string said(const std::string& text, const std::string& stopReason = {}) {
    return R"(,"message":{"content":")" + text + '"' +
           (stopReason.empty() ? "" : R"(,"stop_reason":")" + stopReason + '"') + "}";
}

std::string user(const std::string& uuid, const char* parent, const std::string& text) {
    return link("user", uuid, parent, said(text));
}

std::string done(const std::string& uuid, const char* parent, const std::string& text) {
    return link("assistant", uuid, parent, said(text, "end_turn"));
}

struct Case {
    const char* name;
    std::string transcript;
    std::string outcome;
};

void expectOutcomes(const std::vector<Case>& cases) {
    for (const auto& [name, transcript, outcome] : cases)
        EXPECT_EQ(outcomeOf(transcript, Agent::claude), outcome) << name;
}

} // namespace

TEST(ClaudeTranscript, KeepsTheBranchThatEndsAtTheLatestMessage) {
    const auto a = user("a", nullptr, "A");
    const auto sideOf = [](const std::string& uuid, const char* parent) {
        return link("user", uuid, parent, R"(,"isSidechain":true)" + said("side"));
    };
    expectOutcomes({
        {"a plain chain", a + done("b", "a", "B") + user("c", "b", "C"),
         "user: A | assistant: B | user: C [busy]"},
        {"records of other types connect the chain",
         a + link("attachment", "x", "a", "") + link("system", "y", "x", "") + done("b", "y", "B"),
         "user: A | assistant: B"},
        {"an abandoned answer goes", a + done("b", "a", "B") + done("b2", "a", "B2"),
         "user: A | assistant: B2"},
        {"an abandoned question goes and is noted",
         a + done("b", "a", "B") + user("c", "b", "C") + user("c2", "b", "C2") + done("d", "c2", "D"),
         "user: A | assistant: B | user: C2 | assistant: D [ambiguous]"},
        {"a message without uuid goes",
         a + record(R"({"type":"user","message":{"content":"loose"}})") + done("b", "a", "B"),
         "user: A | assistant: B"},
        {"what is not linked to the latest message goes", a + done("b", "elsewhere", "B"), "assistant: B"},
        {"a parent that is no string ends the chain",
         a + record(R"({"type":"assistant","uuid":"b","parentUuid":17)" + said("B", "end_turn") + "}"),
         "assistant: B"},
        {"a parent without a parent key of its own",
         record(R"({"type":"user","uuid":"a","message":{"content":"A"}})") + done("b", "a", "B"),
         "user: A | assistant: B"},
        {"a cycle ends the walk", user("a", "b", "A") + done("b", "a", "B"), "user: A | assistant: B"},
        {"a blank message is still the latest", a + done("b", "a", "B") + done("c", "gone", "  "),
         "noMessages"},
        {"the parent of a uuid that comes again is the later one",
         a + done("b", "gone", "B") + link("system", "b", "a", "") + user("c", "b", "C"),
         "user: A | assistant: B | user: C [busy]"},
        {"a later record of another type does not move the end",
         a + done("b", "a", "B") + link("system", "z", nullptr, ""), "user: A | assistant: B"},
        {"an empty uuid belongs to no branch", a + done("", "a", "B"), "noMessages"},
        {"a sidechain has no part in the chain", a + sideOf("s", "a") + done("b", "s", "B"), "assistant: B"},
        {"a sidechain that is not the boolean true is none",
         a + link("user", "s", "a", R"(,"isSidechain":"true")" + said("S")), "user: A | user: S [busy]"},
        {"without any parent key all messages stay",
         record(R"({"type":"user","uuid":"a","message":{"content":"A"}})") +
             R"({"type":"user","message":{"content":"B"}})",
         "user: A | user: B [busy]"},
        {"a parent key without uuid raises no chain",
         record(R"({"type":"user","parentUuid":null,"message":{"content":"A"}})") +
             R"({"type":"user","uuid":"b","message":{"content":"B"}})",
         "user: A | user: B [busy]"},
        {"a parent key on a sidechain raises no chain",
         sideOf("s", nullptr) + R"({"type":"user","message":{"content":"B"}})", "user: B [busy]"},
        {"a chain without any uuid among the messages filters nothing",
         link("system", "x", nullptr, "") + R"({"type":"user","message":{"content":"A"}})", "user: A [busy]"},
    });
}

TEST(ClaudeTranscript, IsAmbiguousOnceAParentHasTwoUserChildrenWithText) {
    const auto start = user("a", nullptr, "A") + done("b", "a", "B");
    expectOutcomes({
        {"the same child twice", start + user("c", "b", "C") + user("c", "b", "C2"),
         "user: A | assistant: B | user: C | user: C2 [busy]"},
        {"a child without text does not count",
         start + user("c", "b", "C") + user("d", "b", "") + user("e", "c", "E"),
         "user: A | assistant: B | user: C | user: E [busy]"},
        {"a child of blanks has text",
         start + user("c", "b", "C") + user("d", "b", " ") + user("e", "c", "E"),
         "user: A | assistant: B | user: C | user: E [busy] [ambiguous]"},
        {"first messages have no parent to share", user("a", nullptr, "A") + user("b", nullptr, "B"),
         "user: B [busy]"},
        {"an empty parent is none", user("a", "", "A") + user("b", "", "B"), "user: B [busy]"},
        {"an assistant beside a user", start + user("c", "b", "C") + done("d", "b", "D"),
         "user: A | assistant: B | assistant: D"},
        {"the fork lies in an abandoned branch",
         start + user("c", "b", "C") + user("d", "b", "D") + done("e", "a", "E"),
         "user: A | assistant: E [ambiguous]"},
        {"the parent need not be in the file", user("c", "gone", "C") + user("d", "gone", "D"),
         "user: D [busy] [ambiguous]"},
    });
}

TEST(ClaudeTranscript, IsBusyUntilTheTurnHasEnded) {
    const auto question = user("a", nullptr, "A");
    const auto stopHook = [](const std::string& rest) {
        return link("system", "s", "b", R"(,"subtype":"stop_hook_summary")" + rest);
    };
    const auto stopped = [&](const std::string& reason) {
        return question + link("assistant", "b", "a", said("B", reason));
    };
    const std::string both = "user: A | assistant: B";
    expectOutcomes({
        {"a question", question, "user: A [busy]"},
        {"end_turn", stopped("end_turn"), both},
        {"stop_sequence", stopped("stop_sequence"), both},
        {"max_tokens", stopped("max_tokens"), both},
        {"tool_use", stopped("tool_use"), both + " [busy]"},
        {"no reason", stopped(""), both + " [busy]"},
        {"a reason that is null",
         question + link("assistant", "b", "a", R"(,"message":{"content":"B","stop_reason":null})"),
         both + " [busy]"},
        {"a stop hook", stopped("tool_use") + stopHook(""), both},
        {"a stop hook of a sidechain", stopped("tool_use") + stopHook(R"(,"isSidechain":true)"),
         both + " [busy]"},
        {"another system record",
         stopped("tool_use") + link("system", "s", "b", R"(,"subtype":"turn_duration")"), both + " [busy]"},
        {"the subtype on another type",
         stopped("tool_use") + link("attachment", "s", "b", R"(,"subtype":"stop_hook_summary")"),
         both + " [busy]"},
        {"a user record without text", stopped("end_turn") + user("c", "b", ""), both + " [busy]"},
        {"a question without message object",
         stopped("end_turn") + link("user", "c", "b", R"(,"message":"C")"), both},
        {"a question in a sidechain",
         stopped("end_turn") + link("user", "c", "b", R"(,"isSidechain":true)" + said("C")), both},
    });
}

TEST(ClaudeTranscript, NotesWhatWasTakenUpWhileAToolRan) {
    const auto queued = [](const std::string& uuid, const char* parent, const std::string& prompt,
                           const std::string& type = "queued_command") {
        return link("attachment", uuid, parent,
                    R"(,"attachment":{"type":")" + type + R"(","prompt":)" + prompt + "}");
    };
    const auto question = user("a", nullptr, "A"), answer = done("c", "b", "C");
    const Case cases[] = {
        {"a text", question + queued("b", "a", R"("B")") + answer, "B after 1"},
        {"parts of a text", question + queued("b", "a", R"([{"type":"text","text":"B"}])") + answer,
         "B after 1"},
        {"at the end",
         question + done("b", "a", "B") + queued("q", "b", R"("Q")") + user("c", "q", "C") +
             queued("r", "c", R"("R")") + done("d", "r", "D"),
         "Q after 2, R after 3"},
        {"another attachment", question + queued("b", "a", R"("B")", "date") + answer, ""},
        {"one of an abandoned branch", question + queued("x", "a", R"("X")") + done("b", "a", "B") + answer,
         ""},
        {"messages of an abandoned branch do not count",
         question + done("x", "a", "X") + queued("b", "a", R"("B")") + answer, "B after 1"},
        {"no chain",
         record(R"({"type":"attachment","attachment":{"type":"queued_command","prompt":"B"}})") +
             record(R"({"type":"user","message":{"content":"A"}})"),
         "B after 0"},
    };
    for (const auto& [name, transcript, outcome] : cases) {
        std::string found;
        for (const auto& [text, before] :
             TranscriptReader::parse(transcript, Agent::claude, "fallback", "T").queuedCommands)
            found += (found.empty() ? "" : ", ") + text + " after " + std::to_string(before);
        EXPECT_EQ(found, outcome) << name;
    }
}

TEST(ClaudeTranscript, TakesTheLastSessionThatAMessageNames) {
    const auto message = [](const std::string& rest) {
        return record(R"({"type":"user","message":{"content":"A"})" + rest + "}");
    };
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"none", message(""), "fallback"},
        {"the last one", message(R"(,"sessionId":"one")") + message(R"(,"sessionId":"two")"), "two"},
        {"not one that is no string", message(R"(,"sessionId":"one")") + message(R"(,"sessionId":2)"), "one"},
        {"not that of another record", record(R"({"type":"mode","sessionId":"mode"})") + message(""),
         "fallback"},
        {"not that of a sidechain",
         message(R"(,"sessionId":"one")") + message(R"(,"sessionId":"two","isSidechain":true)"), "one"},
    };
    for (const auto& [name, transcript, id] : cases)
        EXPECT_EQ(TranscriptReader::parse(transcript, Agent::claude, "fallback", "T").id, id) << name;
}
