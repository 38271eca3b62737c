#include "Failures.h"
#include "conversations/Outcome.h"

using namespace orvel;

namespace {

std::string item(const std::string& payload) {
    return record(R"({"type":"response_item","payload":{"type":"message",)" + payload + "}}");
}

std::string event(const std::string& type) {
    return record(R"({"type":"event_msg","payload":{"type":")" + type + "\"}}");
}

std::string meta(const std::string& payload) {
    return record(R"({"type":"session_meta","payload":)" + payload + "}");
}

const std::string question = item(R"("role":"user","content":"A")");

} // namespace

TEST(CodexTranscript, KeepsWhatUserAndAssistantSaid) {
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"both roles", question + item(R"("role":"assistant","content":"B")"), "user: A | assistant: B"},
        {"other roles", item(R"("role":"developer","content":"D")") + question, "user: A"},
        {"items of other types",
         record(R"({"type":"response_item","payload":{"type":"reasoning","role":"user","content":"R"}})") +
             question,
         "user: A"},
        {"records of other types",
         record(R"({"type":"compacted","payload":{"type":"message","role":"user","content":"R"}})") +
             question,
         "user: A"},
        {"payloads that are no object", record(R"({"type":"response_item","payload":"message"})") + question,
         "user: A"},
        {"the final channel", item(R"("role":"assistant","channel":"final","content":"B")"), "assistant: B"},
        {"another channel", question + item(R"("role":"assistant","channel":"analysis","content":"B")"),
         "user: A"},
        {"an empty channel", question + item(R"("role":"assistant","channel":"","content":"B")"), "user: A"},
        {"a channel that is no string", item(R"("role":"assistant","channel":null,"content":"B")"),
         "assistant: B"},
        {"a channel of the user", item(R"("role":"user","channel":"analysis","content":"A")"), "user: A"},
        {"the phase does not matter", item(R"("role":"assistant","phase":"commentary","content":"B")"),
         "assistant: B"},
    };
    for (const auto& [name, transcript, outcome] : cases)
        EXPECT_EQ(outcomeOf(transcript, Agent::codex), outcome) << name;
}

TEST(CodexTranscript, IsBusyFromTheStartOfATaskToItsEnd) {
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"no events", "", false},
        {"started", event("task_started"), true},
        {"complete", event("task_started") + event("task_complete"), false},
        {"aborted", event("task_started") + event("turn_aborted"), false},
        {"started again", event("task_started") + event("task_complete") + event("task_started"), true},
        {"other events", event("task_started") + event("token_count") + event("item_completed"), true},
        {"the end in another type of record",
         event("task_started") + record(R"({"type":"response_item","payload":{"type":"task_complete"}})"),
         true},
    };
    for (const auto& [name, events, isBusy] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(TranscriptReader::parse(events + question, Agent::codex, "", "").isBusy, isBusy);
        EXPECT_EQ(TranscriptReader::parse(question + events, Agent::codex, "", "").isBusy, isBusy);
    }
}

TEST(CodexTranscript, TakesTheLastSessionAndRefusesInheritedHistory) {
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"no record", question, "fallback"},
        {"one", meta(R"({"id":"one"})") + question, "one"},
        {"the last one, also behind messages", meta(R"({"id":"one"})") + question + meta(R"({"id":"two"})"),
         "two"},
        {"an id that is no string", meta(R"({"id":"one"})") + meta(R"({"id":2})") + question, "one"},
        {"a base that is null", meta(R"({"id":"one","history_base":null})") + question, "one"},
        {"a base", meta(R"({"id":"one","history_base":{"thread_id":"zero"}})") + question,
         "inheritedHistory"},
        {"a base behind messages", question + meta(R"({"history_base":""})"), "inheritedHistory"},
        {"a base behind a malformed line", "{\n" + meta(R"({"history_base":""})"), "malformedLine"},
        {"a base in another record",
         record(R"({"type":"turn_context","payload":{"history_base":1}})") + question, "fallback"},
    };
    for (const auto& [name, transcript, expected] : cases) {
        SCOPED_TRACE(name);
        std::string id;
        const auto end =
            caseOf([&] { id = TranscriptReader::parse(transcript, Agent::codex, "fallback", "T").id; });
        EXPECT_EQ(end == "done" ? id : end, expected);
    }
    EXPECT_EQ(failureOf(meta(R"({"history_base":1})"), Agent::codex),
              "Inherited history must be loaded through the Codex history API.");
}

TEST(CodexTranscript, LeavesOutTheScaffoldingOfUserMessages) {
    const std::string agents = R"("agents_md.instructions")",
                      environment = R"("environments.environment_context")",
                      skill = R"("skills.selected_skill_instructions")", text = R"("user.text")";
    const std::string two = R"([{"type":"input_text","text":"one"},{"type":"input_text","text":"two"}])";
    const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
        {"each kind of scaffolding", two, '[' + agents + ',' + text + ']', "user: two"},
        {"environment", two, '[' + text + ',' + environment + ']', "user: one"},
        {"skills", two, '[' + skill + ',' + text + ']', "user: two"},
        {"nothing but scaffolding", two, '[' + agents + ',' + environment + ']', "noMessages"},
        {"nothing but scaffolding, of another length", two, '[' + skill + ']', "noMessages"},
        {"no scaffolding", two, R"(["user.text","unknown"])", "user: one\ntwo"},
        {"another length", two, '[' + agents + ',' + text + ',' + text + ']', "user: one\ntwo"},
        {"more items than kinds",
         R"([{"type":"text","text":"one"},{"type":"text"},{"type":"text","text":"three"}])",
         '[' + agents + ',' + text + ']', "user: one\nthree"},
        {"content that is no list", R"("plain")", '[' + agents + ',' + text + ']', "user: plain"},
        {"content with something else than objects", R"([{"type":"text","text":"one"},"two"])",
         '[' + agents + ',' + text + ']', "noMessages"},
        {"an empty list of kinds", two, "[]", "user: one\ntwo"},
        {"kinds that are no strings", two, '[' + agents + ",7]", "user: one\ntwo"},
        {"kinds that are no list", two, agents, "user: one\ntwo"},
        {"items are paired by place, whether they give text or not",
         R"([{"type":"tool"},{"type":"input_text","text":"one"},{"type":"input_text","text":"two"}])",
         '[' + text + ',' + agents + ',' + text + ']', "user: two"},
        {"an image of the user stays",
         R"([{"type":"input_text","text":"one"},{"type":"input_image","image_url":"http://x"}])",
         '[' + agents + R"(,"user.image"])", "user: [添付参照: http://x]"},
    };
    for (const auto& [name, content, kinds, outcome] : cases) {
        SCOPED_TRACE(name);
        const auto payload = [&](std::string_view role) {
            return item(R"("role":")" + std::string(role) + R"(","content":)" + content +
                        R"(,"internal_chat_message_metadata_passthrough":{"content_item_kinds":)" + kinds +
                        "}");
        };
        EXPECT_EQ(outcomeOf(payload("user"), Agent::codex), outcome);
    }
    // The kinds belong to the payload, and only users have scaffolding.
    const std::string kinds =
        R"("internal_chat_message_metadata_passthrough":{"content_item_kinds":["agents_md.instructions"]})";
    EXPECT_EQ(outcomeOf(item(R"("role":"assistant","content":"B",)" + kinds), Agent::codex), "assistant: B");
    const auto payload = R"({"type":"message","role":"user","content":"A"})";
    EXPECT_EQ(outcomeOf(R"({"type":"response_item","payload":)" + std::string(payload) + "," + kinds + "}",
                        Agent::codex),
              "user: A");
}
