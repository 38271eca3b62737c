#include "OrvelCore/conversations/Handoff.h"
#include "OrvelCore/conversations/RelayFormatter.h"

using namespace orvel;

namespace {

const std::string uuid = "0f8fad5b-d9cb-469f-a165-70867728950E";

// "agent | file | session | instruction", or "none".
std::string requestIn(std::string_view url) {
    const auto request = HandoffRequest::parse(url);
    if (!request) return "none";
    return std::string(rawValue(request->source)) + " | " + request->file.value_or("-") + " | " +
           request->sessionID.value_or("-") + " | " + request->instruction;
}

} // namespace

TEST(HandoffRequest, IsWhatAnAcceptableURLSays) {
    const std::string base = "orvel://handoff?source=codex";
    const std::pair<std::string, std::string> cases[] = {
        {base, "codex | - | - | "},
        {"orvel://handoff?source=claude&file=/a.jsonl&session_id=" + uuid + "&instruction=go",
         "claude | /a.jsonl | " + uuid + " | go"},
        {"orvel://handoff?instruction=go&source=codex", "codex | - | - | go"},
        {"orvel://handoff/?source=codex", "codex | - | - | "},
        {base + "&other=1&other=2", "codex | - | - | "},
        {base + "&&", "codex | - | - | "},

        {"", "none"},
        {"orvel:handoff?source=codex", "none"},
        {"orvel://other?source=codex", "none"},
        {"other://handoff?source=codex", "none"},
        {"ORVEL://handoff?source=codex", "none"},
        {"orvel://Handoff?source=codex", "none"},
        {"orvel://handoff", "none"},

        {"orvel://handoff?source=", "none"},
        {"orvel://handoff?source=Codex", "none"},
        {"orvel://handoff?source=co%64ex", "codex | - | - | "},
        {"orvel://handoff?%73ource=codex", "codex | - | - | "},

        {base + "&source=codex", "none"},
        {base + "&s%6furce=claude", "none"},
        {base + "&file&file", "none"},
        {base + "&file=/a&session_id=" + uuid + "&session_id=" + uuid, "none"},

        {base + "&file=", "codex | - | - | "},
        {base + "&file=a.jsonl", "none"},
        {base + "&file=%2Fa%20b%2F%E6%A4%9C.jsonl", "codex | /a b/検.jsonl | - | "},
        {base + "&file=/a b/検.jsonl", "codex | /a b/検.jsonl | - | "},
        {base + "&file=/a=b?c/d", "codex | /a=b?c/d | - | "},

        {base + "&session_id=" + uuid, "none"},
        {base + "&file=/a&session_id=", "none"},
        {base + "&file=/a&session_id=0f8fad5bd9cb469fa16570867728950e", "none"},
        {base + "&file=/a&session_id=0f8fad5b-d9cb-469f-a165-70867728950g", "none"},
        {base + "&file=/a&session_id=%7B0f8fad5b-d9cb-469f-a165-70867728%7D", "none"},

        {base + "&instruction", "codex | - | - | "},
        {base + "&instruction=a+b%2B%26%3D%23", "codex | - | - | a+b+&=#"},
        {base + "&instruction=%0Aline%0D%0A", "codex | - | - | \nline\r\n"},
        {base + "&instruction=[x] {y} \"z\" <w>", "codex | - | - | [x] {y} \"z\" <w>"},
        {base + "&instruction=見て😀", "codex | - | - | 見て😀"},
        {base + "&instruction=%", "none"},
        {base + "&instruction=%zz", "none"},
        {base + "&instruction=%ff", "none"},
        {base + "&instruction=\xff", "none"},
    };
    for (const auto& [url, request] : cases) EXPECT_EQ(requestIn(url), request) << url;
    EXPECT_EQ(HandoffRequest::parse(base + "&instruction=%00")->instruction, std::string(1, '\0'));
}

TEST(HandoffState, DecodesBothDictionariesOrFails) {
    const auto state =
        HandoffState::decode(R"({"checkpoints":{"k":"m"},"lastDestinations":{"codex:claude":"c"},"more":1})");
    EXPECT_EQ(state, (HandoffState{{{"k", "m"}}, {{"codex:claude", "c"}}}));
    EXPECT_EQ(HandoffState::decode(R"({"checkpoints":{},"lastDestinations":{}})"), HandoffState());
    for (const auto* json :
         {R"({"checkpoints":{}})", R"({"lastDestinations":{}})", "{}", "[]", "", "{",
          R"({"checkpoints":[],"lastDestinations":{}})", R"({"checkpoints":{"k":1},"lastDestinations":{}})",
          R"({"checkpoints":{},"lastDestinations":null})",
          R"({"checkpoints":[["k","m"]],"lastDestinations":{}})"})
        EXPECT_THROW(HandoffState::decode(json), std::runtime_error) << json;
    EXPECT_THROW(HandoffState::decode(std::string(R"({"checkpoints":{},"lastDestinations":{}})") + '\0'),
                 std::runtime_error);
}

TEST(HandoffState, KeysArePlainForDirectionsAndJSONForConversations) {
    EXPECT_EQ(HandoffState::directionKey(Agent::codex, Agent::claude), "codex:claude");
    const std::pair<std::string, std::string> cases[] = {
        {"a", R"(["codex","a","claude","b"])"},
        {R"(","x)", R"(["codex","\",\"x","claude","b"])"},
        {"\n\\\x01 検", R"(["codex","\n\\\u0001 検","claude","b"])"},
        {"\xff", "[\"codex\",\"\uFFFD\",\"claude\",\"b\"]"},
    };
    for (const auto& [conversation, key] : cases)
        EXPECT_EQ(HandoffState::key(Agent::codex, conversation, Agent::claude, "b"), key) << conversation;
}

TEST(HandoffFormatter, ContinuesBehindTheLastDeliveredMessage) {
    const std::vector<Message> messages{
        {"a", "user", ""}, {"b", "user", ""}, {"a", "user", ""}, {"c", "user", ""}};
    const std::pair<std::optional<std::string>, std::size_t> cases[] = {
        {std::nullopt, 0}, {"a", 1}, {"b", 2}, {"c", 4}, {"unknown", 0}, {"", 0}};
    for (const auto& [after, index] : cases)
        EXPECT_EQ(HandoffFormatter::nextIndex(messages, after), index) << after.value_or("absent");
    EXPECT_EQ(HandoffFormatter::nextIndex({}, "a"), 0U);
}

TEST(RelayFormatter, JoinsInstructionAndMessagesByEmptyLines) {
    const std::vector<Message> messages{
        {"1", "user", " hi \n"}, {"2", "assistant", "yes"}, {"3", "tool", ""}};
    const struct {
        const char* name;
        Agent source;
        std::size_t count;
        std::string instruction;
        std::optional<std::string> label;
        std::string payload;
    } cases[] = {
        {"everything", Agent::codex, 3, " do\nit \u3000", std::nullopt,
         "do\nit\n\nme:  hi \n\n\ncodex: yes\n\nme: "},
        {"no instruction", Agent::claude, 2, " \n\u2028", std::nullopt, "me:  hi \n\n\nclaude: yes"},
        {"a label", Agent::claude, 2, "", "Claude (review)", "me:  hi \n\n\nClaude (review): yes"},
        {"an empty label", Agent::claude, 2, "", "", "me:  hi \n\n\n: yes"},
        {"no messages", Agent::codex, 0, "do", std::nullopt, "do"},
        {"nothing", Agent::codex, 0, " ", std::nullopt, ""},
    };
    for (const auto& [name, source, count, instruction, label, payload] : cases)
        EXPECT_EQ(RelayFormatter::render(source, std::span(messages).first(count), instruction, label),
                  payload)
            << name;
}
