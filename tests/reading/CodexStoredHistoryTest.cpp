// Whole conversations from Codex's server, from their file where that is enough, and from neither where one
// of them can't be trusted.

#include "Orvel/reading/CodexStoredHistory.h"

#include "Orvel/reading/JsonMessage.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "TemporaryFolder.h"
#include "conversations/Outcome.h"
#include "reading/DeliveryFixture.h"

#include <deque>
#include <filesystem>
#include <vector>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

const auto metadataWords =
    "invalid: Couldn't verify the Codex conversation metadata (ID, storage path, or status)."s;
const auto pathWords = "invalid: Codex returned an invalid conversation storage path."s;
const auto unverifiedWords =
    "invalid: Codex changed the conversation storage file, but its conversation ID could not be verified. "
    "Refresh or select the conversation again."s;
const auto movedWords = "invalid: Codex changed the conversation storage file while history was loading. "
                        "Refresh the conversation "
                        "and try again."s;
const auto changedWords = "notSent: The conversation changed while loading history. Try again."s;
const auto tooLargeWords =
    "tooLarge: The conversation file is too large. Choose a file no larger than 100 MB."s;

Json user(const char* id, Json content) {
    return {{"type", "userMessage"}, {"id", id}, {"content", std::move(content)}};
}
Json user(const char* id, const char* text) {
    return user(id, Json::array({{{"type", "text"}, {"text", text}}}));
}
Json agent(const char* id, Json text, Json phase = "final_answer") {
    return {{"type", "agentMessage"}, {"id", id}, {"text", std::move(text)}, {"phase", std::move(phase)}};
}
Json turn(const char* id, Json items, const char* status = "completed") {
    return {{"id", id}, {"status", status}, {"itemsView", "full"}, {"items", std::move(items)}};
}
Json page(Json turns, Json cursor = nullptr) {
    return {{"data", std::move(turns)}, {"nextCursor", std::move(cursor)}};
}
Json with(Json object, const char* key, Json value) {
    object[key] = std::move(value);
    return object;
}
Json without(Json object, const char* key) {
    object.erase(key);
    return object;
}

std::string line(const char* type, Json payload) {
    return Json{{"type", type}, {"payload", std::move(payload)}}.dump() + "\n";
}
std::string messageLine(const char* role, const char* text) {
    return line(
        "response_item",
        {{"type", "message"}, {"role", role}, {"content", {{{"type", "input_text"}, {"text", text}}}}});
}
std::string metaLine(const char* id) {
    return line("session_meta", {{"id", id}});
}

class CodexStoredHistoryTest : public DeliveryTest {
  protected:
    CodexStoredHistoryTest() {
        reference.sessionID = Server::thread;
        reference.title = "A title";
        reference.transcriptPath = folder.path("sessions/a.jsonl");
    }

    /// What the server says of the conversation.
    Json thread(Json status = "idle") const {
        return {{"id", Server::thread},
                {"path", reference.transcriptPath},
                {"status", {{"type", std::move(status)}}},
                {"updatedAt", 1795248136}};
    }

    /// Reads with these answers to `thread/read`, the last of them again and again, and these pages.
    std::string read(const std::vector<Json>& threads, const std::vector<Json>& pages,
                     bool prefersLocal = false) {
        std::deque<std::string> texts;
        for (const auto& each : pages) texts.push_back(each.dump());
        return readTexts({threads.begin(), threads.end()}, std::move(texts), prefersLocal);
    }

    std::string readTexts(std::deque<Json> threads, std::deque<std::string> pages,
                          bool prefersLocal = false) {
        asked.clear();
        const CodexStoredHistory::Request request = [&](std::string method, std::string params) {
            asked.push_back(method + " " + params);
            std::string result = "{}";
            if (method == "thread/read") {
                result = Json{{"thread", threads.front()}}.dump();
                if (threads.size() > 1) threads.pop_front();
            } else if (!pages.empty()) {
                result = std::move(pages.front());
                pages.pop_front();
            }
            return answered(std::move(result));
        };
        const auto outcome = run(CodexStoredHistory::read(loop, reference, prefersLocal, request));
        conversation = outcome.value ? *outcome.value : nullptr;
        return conversation ? outcomeOf(*conversation) : outcome.words;
    }

    static Task<SharedMessage> answered(std::string json) { co_return std::make_shared<JsonMessage>(json); }

    TemporaryFolder folder;
    ConversationReference reference;
    SharedConversation conversation;
    std::vector<std::string> asked;
};

TEST_F(CodexStoredHistoryTest, PutsThePagesTogether) {
    EXPECT_EQ(read({thread()}, {page({turn("t1", {user("u", "one"), agent("a", "two")})}, "next"),
                                page({turn("t2", {user("u", "three")}), turn("t3", {agent("a", "four")})})}),
              "user: one | assistant: two | user: three | assistant: four");
    EXPECT_EQ(conversation->id, Server::thread);
    EXPECT_EQ(conversation->title, "A title");
    EXPECT_EQ(conversation->messages[3].id.substr(0, 12), "stored/t3/a:");
    const auto id = R"({"threadId":"01a1fd20-9312-76b3-85b8-a86c82e71d1c",)"s;
    EXPECT_EQ(asked,
              (std::vector<std::string>{
                  "thread/read " + id + R"("includeTurns":false})",
                  "thread/turns/list " + id + R"("limit":20,"sortDirection":"asc","itemsView":"full"})",
                  "thread/turns/list " + id +
                      R"("limit":20,"sortDirection":"asc","itemsView":"full","cursor":"next"})",
                  "thread/read " + id + R"("includeTurns":false})"}));
}

TEST_F(CodexStoredHistoryTest, TakesTheTextsOfMessagesAndRefusesEveryOtherShape) {
    const auto content = [](Json part) {
        return page({turn("t", {user("u", Json::array({std::move(part)}))})});
    };
    const auto items = [](Json list) { return page({turn("t", std::move(list))}); };
    const auto good = turn("t", {user("u", "hi")});
    const auto attachment =
        "[添付あり: ファイル本体は転送されません。必要なパスまたはリンクを追加してください。]"s;
    const std::tuple<const char*, Json, std::string> cases[] = {
        {"commentary and other items",
         items({user("u", "hi"),
                agent("a", "hm", "commentary"),
                agent("b", "hm", nullptr),
                without(agent("c", "hm"), "phase"),
                {{"type", "reasoning"}},
                {{"type", 5}},
                Json::object(),
                agent("d", "yes")}),
         "user: hi | assistant: yes"},
        {"a turn under way", page({turn("t", {user("u", "hi")}, "inProgress")}), "user: hi [busy]"},
        {"an interrupted turn", page({turn("t", {user("u", "hi")}, "interrupted")}), "user: hi"},
        {"no view", page({without(good, "itemsView")}), "user: hi"},
        {"the same item in two turns", page({good, turn("t2", {user("u", "hi")})}), "user: hi | user: hi"},
        {"several parts",
         items({user("u", {{{"type", "text"}, {"text", "one"}},
                           {{"type", "image"}, {"url", "data:x"}},
                           {{"type", "localImage"}},
                           {{"type", "skill"}, {"name", "plan"}, {"path", "/s"}},
                           {{"type", "mention"}, {"name", "file"}, {"path", "/f"}}})}),
         "user: one\n" + attachment + "\n" + attachment + "\n[参照: plan (/s)]\n[参照: file (/f)]"},
        {"characters that end lines or need escapes",
         items({user("u", "\"\\ \b\f\n\r\t\v \u0085 \u2028 \u2029 \u0001")}),
         "user: \"\\ \b\f\n\r\t\v \u0085 \u2028 \u2029 \u0001"},
        {"identifiers that need escapes", page({turn("\"\u2028", {user("\n", "hi")})}), "user: hi"},

        {"nothing", page(Json::array()),
         "noMessages: No user or assistant messages were found. Choose a supported JSONL file."},
        {"no data", without(page({good}), "data"), invalid},
        {"a turn that is no object", page({good, "x"}), invalid},
        {"no cursor", without(page({good}), "nextCursor"), invalid},
        {"an empty cursor", page({good}, ""), invalid},
        {"a cursor behind an empty page", page(Json::array(), "next"), invalid},
        {"a turn without identifier", page({without(good, "id")}), invalid},
        {"a summary", page({with(good, "itemsView", "summary")}), invalid},
        {"a turn without status", page({without(good, "status")}), invalid},
        {"no items", page({without(good, "items")}), invalid},
        {"an item without identifier", items({without(user("u", "hi"), "id")}), invalid},
        {"an empty identifier", items({user("", "hi")}), invalid},
        {"an item that comes twice", items({user("u", "hi"), agent("u", "hi")}), invalid},
        {"an answer without text", items({agent("a", nullptr)}), invalid},
        {"no content", items({without(user("u", "hi"), "content")}), invalid},
        {"content that is a text", items({user("u", Json("hi"))}), invalid},
        {"a part that is a text", content("hi"), invalid},
        {"a part of an unknown kind", content({{"type", "video"}}), invalid},
        {"a text without text", content({{"type", "text"}}), invalid},
        {"a skill without path", content({{"type", "skill"}, {"name", "plan"}}), invalid},
        {"a mention without name", content({{"type", "mention"}, {"path", "/f"}}), invalid},
    };
    for (const auto& [name, first, outcome] : cases) // The second page is there for whoever asks in error.
        EXPECT_EQ(read({thread()}, {first, page({good})}), outcome) << name;
}

TEST_F(CodexStoredHistoryTest, BelievesTheServerOnlyWhatIsConsistent) {
    const auto elsewhere = folder.write("archived/b.jsonl", metaLine(Server::thread));
    const auto foreign = folder.write("archived/c.jsonl", metaLine("another"));
    const auto link = folder.path("link.jsonl");
    folder.write("sessions/a.jsonl", metaLine(Server::thread));
    std::filesystem::create_symlink(reference.transcriptPath, link);
    const auto good = thread();
    const auto at = [&](const std::string& path) { return with(good, "path", path); };
    const auto active = Json{{"type", "active"}, {"activeFlags", Json::array()}};
    const auto waiting = Json{{"type", "active"}, {"activeFlags", {"waitingOnApproval"}}};
    const std::tuple<const char*, Json, Json, std::string> cases[] = {
        {"idle", good, good, "user: hi"},
        {"not loaded", thread("notLoaded"), thread("notLoaded"), "user: hi"},
        {"active", thread("active"), thread("active"), "user: hi [busy]"},
        {"after a failed turn", thread("systemError"), good, metadataWords},
        {"another thread", with(good, "id", "other"), good, metadataWords},
        {"no path", without(good, "path"), good, metadataWords},
        {"no status", without(good, "status"), good, metadataWords},
        {"no date", without(good, "updatedAt"), good, metadataWords},

        {"the same file by a link", at(link), good, "user: hi"},
        {"the same file by a detour", at(folder.path("sessions/../sessions/./a.jsonl")), good, "user: hi"},
        {"a relative path", at("a.jsonl"), good, pathWords},
        {"another kind of file", at(folder.path("a.txt")), good, pathWords},
        {"a file that moved", at(elsewhere), at(elsewhere), "user: hi"},
        {"a file of another conversation", at(foreign), good, unverifiedWords},
        {"a file that is not there", at(folder.path("none.jsonl")), good, unverifiedWords},

        {"a file that moves meanwhile", good, at(elsewhere), movedWords},
        {"a file that becomes another's", good, at(foreign), unverifiedWords},
        {"a later date", good, with(good, "updatedAt", 1795248136.5), changedWords},
        {"another status", good, thread("active"), changedWords},
        {"another detail of the status", with(good, "status", active), with(good, "status", waiting),
         changedWords},
        {"the same status in another order", with(good, "status", active),
         with(good, "status", {{"activeFlags", Json::array()}, {"type", "active"}}), "user: hi [busy]"},
        {"metadata that turn bad", good, with(good, "id", "other"), metadataWords},
    };
    for (const auto& [name, first, later, outcome] : cases)
        EXPECT_EQ(read({first, later}, {page({turn("t", {user("u", "hi")})})}), outcome) << name;
}

TEST_F(CodexStoredHistoryTest, ReadsTheFileWhereThatIsPreferredAndEnough) {
    const auto meta = metaLine(Server::thread);
    const auto fork = line("session_meta", {{"id", Server::thread}, {"history_base", {{"id", "x"}}}});
    const auto hello = messageLine("user", "from the file");
    const struct {
        const char* name;
        std::string file, outcome;
        std::vector<Json> threads = {}; // Idle where none is given.
    } cases[] = {
        {"a whole transcript", meta + hello, "user: from the file"},
        {"a busy one", meta + line("event_msg", {{"type", "task_started"}}) + hello,
         "user: from the file [busy]"},
        {"one whose conversation is active", meta + hello, "user: from the file [busy]", {thread("active")}},
        {"the tail of a fork", fork + hello, "user: from the server"},
        {"a tail behind messages", meta + hello + fork, "user: from the server"},
        {"a malformed line", meta + hello + "{\n",
         "malformedLine: Couldn't read conversation file line 3. If the file is being written, refresh it."},
        {"no messages", meta,
         "noMessages: No user or assistant messages were found. Choose a supported JSONL file."},
        {"another conversation", metaLine("another") + hello,
         "conversationMismatch: The selected conversation ID does not match the loaded transcript."},
        {"a change meanwhile", meta + hello, changedWords, {thread(), with(thread(), "updatedAt", 1)}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        folder.write("sessions/a.jsonl", each.file);
        const auto threads = each.threads.empty() ? std::vector<Json>{thread()} : each.threads;
        EXPECT_EQ(read(threads, {page({turn("t", {user("u", "from the server")})})}, true), each.outcome);
        const bool usedServer = std::any_of(asked.begin(), asked.end(), [](const auto& request) {
            return request.starts_with("thread/turns/list");
        });
        EXPECT_EQ(usedServer, each.outcome == "user: from the server");
        if (conversation) {
            EXPECT_EQ(conversation->title, "A title");
        }
    }
}

TEST_F(CodexStoredHistoryTest, DoesNotFollowPagesForEver) {
    const auto oneTurn = [](const std::string& id, Json cursor) {
        return page({turn(id.c_str(), {user("u", "x")})}, std::move(cursor));
    };
    const auto pages = [&](int cursors) {
        std::vector<Json> made;
        for (int i = 0; i < cursors; ++i) made.push_back(oneTurn(std::to_string(i), "c" + std::to_string(i)));
        made.push_back(oneTurn("last", nullptr));
        return made;
    };
    EXPECT_EQ(read({thread()}, pages(999)).substr(0, 20), "user: x | user: x | ");
    EXPECT_EQ(conversation->messages.size(), 1'000U);
    EXPECT_EQ(read({thread()}, pages(1'000)), tooLargeWords);
    EXPECT_EQ(asked.size(), 1'001U);
    EXPECT_EQ(
        read({thread()}, {oneTurn("a", "x"), oneTurn("b", "y"), oneTurn("c", "x"), oneTurn("d", nullptr)}),
        invalid);
}

TEST_F(CodexStoredHistoryTest, ReadsAHundredMillionBytesAndNotOneMore) {
    const auto pageOf = [](std::size_t total) {
        const auto item = [](const std::string& id, std::size_t size) {
            const auto line =
                R"({"type":"response_item","payload":{"type":"message","id":"stored/t/","role":"assistant","content":[{"type":"output_text","text":""}]}})"s;
            return R"({"type":"agentMessage","phase":"final_answer","id":")" + id + R"(","text":")" +
                   std::string(size - line.size() - id.size(), 'x') + "\"}";
        };
        return R"({"nextCursor":null,"data":[{"id":"t","status":"completed","items":[)" +
               item("a", 60'000'000) + "," + item("bb", total - 60'000'000) + "]}]}";
    };
    (void)readTexts({thread()}, {pageOf(TranscriptReader::maximumSize)});
    ASSERT_TRUE(conversation);
    EXPECT_EQ(conversation->messages.size(), 2U);
    EXPECT_EQ(readTexts({thread()}, {pageOf(TranscriptReader::maximumSize + 1)}), tooLargeWords);
}

// Through a server

class CodexHistoryReadingTest : public CodexStoredHistoryTest {
  protected:
    CodexHistoryReadingTest() {
        server.answers["thread/read"] = Server::result({{"thread", thread()}});
        server.answers["thread/turns/list"] = [](const Json& request) {
            const auto& params = request.at("params");
            const int at =
                params.count("cursor") != 0 ? std::stoi(params.at("cursor").get<std::string>()) : 0;
            return Server::result(page({turn(std::to_string(at).c_str(), {user("u", "x")})},
                                       at < 2 ? Json(std::to_string(at + 1)) : Json(nullptr)))(request);
        };
    }

    Task<SharedConversation> history() {
        return CodexThreadLoader::readHistory(loop, processes, server.executable, reference, false);
    }
    std::string readAll() {
        const auto outcome = run(history());
        return outcome.value ? outcomeOf(**outcome.value) : outcome.words;
    }
};

TEST_F(CodexHistoryReadingTest, ReadsWithoutBecomingTheWriter) {
    for (const std::size_t most : {std::size_t{1}, std::string::npos}) {
        processes.mostBytesPerTransfer = most;
        server.texts.clear();
        EXPECT_EQ(readAll(), "user: x | user: x | user: x");
        EXPECT_EQ(processes.running(), 0);
        EXPECT_EQ(server.texts.size(), 2U + 5U);
        for (const auto& text : server.texts) EXPECT_EQ(text.find("thread/resume"), text.npos);
    }
}

TEST_F(CodexHistoryReadingTest, HasTwentySecondsForAllRequestsBehindTheConnection) {
    server.delays = {{"initialize", 15s}, {"thread/turns/list", 6s}};
    EXPECT_EQ(readAll(), "user: x | user: x | user: x");
    server.delays["thread/turns/list"] = 7s;
    EXPECT_EQ(readAll(), timeout);
    EXPECT_EQ(processes.running(), 0);
}

TEST_F(CodexHistoryReadingTest, RefusesAWrongResultAtAnyRequest) {
    for (const auto* method : {"thread/read", "thread/turns/list"})
        for (const auto& answer : {Server::error(-32601, "unknown method"), Server::result(nullptr)}) {
            SCOPED_TRACE(method);
            const auto plain = std::exchange(server.answers[method], answer);
            EXPECT_EQ(readAll(), invalid);
            EXPECT_EQ(processes.running(), 0);
            server.answers[method] = plain;
        }
}

TEST_F(CodexHistoryReadingTest, LeavesNoChildWhereverTheReadingEnds) {
    for (const auto end : {End::childDies, End::isGivenUp})
        EXPECT_GE(endAtEveryStep<SharedConversation>(end, [&] { return history(); }), 20);
}

} // namespace
} // namespace orvel
