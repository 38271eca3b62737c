#include "OrvelCore/conversations/ConversationCatalog.h"

#include "Failures.h"
#include "OrvelCore/files/FileError.h"
#include "TemporaryFolder.h"
#include "conversations/Outcome.h"

#include <algorithm>
#include <chrono>

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvel;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

std::string claudeRecord(const std::string& session, const std::string& rest = {}) {
    return record(R"({"type":"user","sessionId":")" + session + '"' + rest + "}");
}

std::string codexRecord(const std::string& payload) {
    return record(R"({"type":"session_meta","payload":)" + payload + "}");
}

std::string codexNamed(const std::string& id) {
    return codexRecord(R"({"id":")" + id + "\"}");
}

// "session | title | folder", or the name of the failure's case.
std::string identityOf(const std::string& path, Agent agent) try {
    const auto reference = ConversationCatalog::reference(path, agent);
    return reference.sessionID + " | " + reference.title + " | " +
           reference.workingDirectory.value_or("none");
} catch (const Failure& failure) {
    return std::string(failure.caseName());
}

std::vector<std::string> sessionsOf(const std::vector<ConversationReference>& references) {
    std::vector<std::string> sessions;
    for (const auto& reference : references) sessions.push_back(reference.sessionID);
    return sessions;
}

void setDate(const std::string& path, int secondsOf2020) {
    const std::chrono::sys_seconds start{std::chrono::sys_days{std::chrono::year{2020} / 1 / 1}};
    std::filesystem::last_write_time(
        path, std::chrono::file_clock::from_sys(start + std::chrono::seconds(secondsOf2020)));
}

} // namespace

TEST(TranscriptIdentity, StandsInTheFirstRecordThatNamesASession) {
    const TemporaryFolder folder;
    const std::tuple<const char*, Agent, std::string, std::string> cases[] = {
        {"everything", Agent::claude, claudeRecord("s", R"(,"cwd":"/w","customTitle":"T")"), "s | T | /w"},
        {"a folder and no title", Agent::claude, claudeRecord("0123456789", R"(,"cwd":"/w/lark")"),
         "0123456789 | lark · 01234567 | /w/lark"},
        {"no folder", Agent::claude, claudeRecord("0123456789"), "0123456789 | 0123456789 | none"},
        {"a title that is empty", Agent::claude, claudeRecord("s", R"(,"cwd":"/w","customTitle":"")"),
         "s |  | /w"},
        {"title and folder that are no strings", Agent::claude,
         claudeRecord("s", R"(,"cwd":1,"customTitle":null)"), "s | s | none"},
        {"later records add nothing", Agent::claude, claudeRecord("s") + claudeRecord("t", R"(,"cwd":"/w")"),
         "s | s | none"},
        {"sidechains", Agent::claude, claudeRecord("s", R"(,"isSidechain":true)") + claudeRecord("t"),
         "t | t | none"},
        {"a sidechain that is not true", Agent::claude, claudeRecord("s", R"(,"isSidechain":1)"),
         "s | s | none"},
        {"a session that is no string", Agent::claude, "{\"sessionId\":5}\n" + claudeRecord("t"),
         "t | t | none"},
        {"a session that is empty", Agent::claude, claudeRecord("") + claudeRecord("t"), "invalidMetadata"},
        {"lines that are no objects", Agent::claude, "\n{\n[]\n\xff\n{\"a\":1} x\n" + claudeRecord("t"),
         "t | t | none"},
        {"only line feeds end a line", Agent::claude,
         "{\"a\":1}\r" + claudeRecord("s") + "\v" + claudeRecord("t") + claudeRecord("u"), "u | u | none"},
        {"no identity", Agent::claude, "{}\n", "invalidMetadata"},
        {"brackets", Agent::claude, std::string(100'000, '[') + "\n" + claudeRecord("t"), "t | t | none"},
        {"a Codex transcript", Agent::claude, codexNamed("s"), "invalidMetadata"},

        {"Codex", Agent::codex, codexRecord(R"({"id":"s","cwd":"/w","title":"T"})"), "s | T | /w"},
        {"other records first", Agent::codex,
         record(R"({"type":"event_msg","payload":{"id":"e"}})") + codexNamed("s"), "s | s | none"},
        {"a payload that is no object", Agent::codex, codexRecord("[]") + codexNamed("s"), "s | s | none"},
        {"an id that is no string ends the search", Agent::codex, codexRecord("{}") + codexNamed("s"),
         "invalidMetadata"},
        {"an id that is empty", Agent::codex, codexNamed("") + codexNamed("s"), "invalidMetadata"},
        {"a Claude transcript", Agent::codex, claudeRecord("s"), "invalidMetadata"},
    };
    for (const auto& [name, agent, contents, identity] : cases)
        EXPECT_EQ(identityOf(folder.write("t.jsonl", contents), agent), identity) << name;
}

TEST(TranscriptIdentity, IsSoughtInTheFirstMebibyteAlone) {
    const TemporaryFolder folder;
    const auto first = R"({"sessionId":"s"})"s;
    const std::size_t limit = 1'048'576;
    const auto at = [&](std::size_t end, char filler) {
        auto text = std::string(end - first.size() - 1, filler) + '\n' + first;
        return folder.write("t.jsonl", text + '\n' + claudeRecord("later"));
    };
    for (const char filler : {'x', '\n'}) {
        EXPECT_EQ(identityOf(at(limit, filler), Agent::claude), "s | s | none") << filler;
        EXPECT_EQ(identityOf(at(limit + 1, filler), Agent::claude), "invalidMetadata") << filler;
    }
    EXPECT_EQ(identityOf(folder.writeSparse("huge.jsonl", 1ULL << 36), Agent::claude), "invalidMetadata");
}

TEST(ChosenTranscript, OfCodexTakesItsNameFromTheNearestIndexAbove) {
    const TemporaryFolder folder;
    const auto index = [](const std::string& id, const std::string& name) {
        return record(R"({"id":")" + id + R"(","thread_name":")" + name + "\"}");
    };
    folder.write("codex/session_index.jsonl",
                 index("a", "first") + "{ broken\n\n[]\n{\"id\":7,\"thread_name\":\"x\"}\n{\"id\":\"a\"}\n" +
                     index("", "nobody") + index("a", " latest ") + index("b", " \\t\u3000") +
                     index("c", "kept") + index("c", " ") + "{\"id\":\"d\",\"thread_name\":\"cut");
    folder.write("codex/sessions/2026/session_index.jsonl", index("a", "too near"));
    folder.write("codex/sessions/x/sessions/../session_index.jsonl", index("a", "inner"));
    const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
        {"the later line counts, untrimmed", "codex/sessions/2026/01/a.jsonl", "a", " latest "},
        {"in the folder itself", "codex/sessions/a.jsonl", "a", " latest "},
        {"archived", "codex/archived_sessions/a.jsonl", "a", " latest "},
        {"a name of blanks is none", "codex/sessions/b.jsonl", "b", "b"},
        {"nor does it erase one", "codex/sessions/c.jsonl", "c", "kept"},
        {"a cut line", "codex/sessions/d.jsonl", "d", "d"},
        {"the nearest folder of that name", "codex/sessions/x/sessions/a.jsonl", "a", "inner"},
        {"no such folder", "codex/elsewhere/a.jsonl", "a", "a"},
        {"a folder of that name only in part", "codex/sessions2/a.jsonl", "a", "a"},
    };
    const auto titleOf = [&](const std::string& file, const std::string& contents, Agent agent) {
        return ConversationCatalog::reference(folder.write(file, contents), agent).title;
    };
    for (const auto& [name, file, id, title] : cases)
        EXPECT_EQ(titleOf(file, codexNamed(id), Agent::codex), title) << name;
    EXPECT_EQ(titleOf("codex/sessions/claude.jsonl", claudeRecord("a"), Agent::claude), "a");
    const auto folders = AgentFolders::of(folder.path(), folder.path("codex"), {}, folder.path());
    EXPECT_EQ(ConversationCatalog::codexThreadTitles(folders),
              (std::map<std::string, std::string>{{"a", " latest "}, {"c", "kept"}}));
    EXPECT_TRUE(
        ConversationCatalog::codexThreadTitles(AgentFolders::of(folder.path("none"), {}, {}, "/")).empty());
}

TEST(Discovery, FindsTheTranscriptsOfARootAndNothingElse) {
    const TemporaryFolder folder;
    const auto root = folder.path("root/.claude/projects");
    const auto add = [&](const std::string& name, const std::string& session) {
        folder.write("root/.claude/projects/" + name, claudeRecord(session));
    };
    add("top.jsonl", "top");
    add("a/b/c/d/deep.jsonl", "deep");
    add("folder.jsonl/inside.jsonl", "inside");
    add("a/two.dots.jsonl", "dots");
    add("a/subagents/agent.jsonl", "subagent");
    add("a/.hidden.jsonl", "hidden file");
    add(".hidden/x.jsonl", "hidden folder");
    add("a/x.JSONL", "capitals");
    add("a/x.json", "json");
    add("a/jsonl", "no extension");
    add("a/\xff.jsonl", "no UTF-8");
    folder.write("root/.claude/projects/a/empty.jsonl", "");
    folder.write("root/.claude/projects/a/nobody.jsonl", "{}");
    folder.write("elsewhere/linked.jsonl", claudeRecord("linked file"));
    folder.write("elsewhere/folder/linked.jsonl", claudeRecord("linked folder"));
    std::filesystem::create_symlink(folder.path("elsewhere/linked.jsonl"), root + "/link.jsonl");
    std::filesystem::create_symlink(folder.path("elsewhere/folder"), root + "/link");
    std::filesystem::create_symlink(folder.path("elsewhere/folder"), root + "/folderlink.jsonl");
    std::filesystem::create_symlink(root, root + "/a/up");
    std::filesystem::create_symlink(root + "/loop.jsonl", root + "/loop.jsonl");
    ASSERT_EQ(mkfifo((root + "/fifo.jsonl").c_str(), 0600), 0);

    const auto found = [&](std::vector<ConversationRoot> roots) {
        return sessionsOf(ConversationCatalog::discover(roots, std::nullopt));
    };
    EXPECT_THAT(found({{Agent::claude, root}}),
                UnorderedElementsAre("top", "deep", "inside", "dots", "linked file"));
    EXPECT_THAT(
        found({{Agent::claude, root}, {Agent::claude, root + "/a/../"}, {Agent::claude, root + "/a"}}),
        UnorderedElementsAre("top", "deep", "inside", "dots", "linked file"));
    std::filesystem::create_symlink(root + "/a", folder.path("rootlink"));
    EXPECT_THAT(found({{Agent::claude, folder.path("rootlink")}}), UnorderedElementsAre("deep", "dots"));
    EXPECT_THAT(found({{Agent::claude, folder.path("none")},
                       {Agent::claude, root + "/top.jsonl"},
                       {Agent::claude, root + "/folder.jsonl"}}),
                ElementsAre("inside"));
    EXPECT_THAT(found({{Agent::claude, root + "/a/subagents"}}), ElementsAre());
    EXPECT_THAT(found({{Agent::codex, root}}), ElementsAre());

    // A folder with that name means nothing to Codex.
    folder.write("codex/sessions/subagents/x.jsonl", codexNamed("codex"));
    EXPECT_THAT(found({{Agent::codex, folder.path("codex/sessions")}}), ElementsAre("codex"));
}

TEST(Discovery, SortsByDateAndThenByPath) {
    const TemporaryFolder folder;
    const auto add = [&](const char* name, int date) { setDate(folder.write(name, codexNamed(name)), date); };
    add("root/b.jsonl", 100);
    add("root/a.jsonl", 100);
    add("root/z/new.jsonl", 200);
    add("other/0.jsonl", 100);
    add("other/old.jsonl", 0);
    const std::vector<ConversationRoot> roots{{Agent::codex, folder.path("root")},
                                              {Agent::codex, folder.path("other")}};
    const auto found = ConversationCatalog::discover(roots, std::nullopt);
    EXPECT_THAT(sessionsOf(found), ElementsAre("root/z/new.jsonl", "other/0.jsonl", "root/a.jsonl",
                                               "root/b.jsonl", "other/old.jsonl"));
    EXPECT_EQ(found.back().modifiedAt, 599'529'600); // 2020-01-01 counted from 2001-01-01.
    EXPECT_EQ(found.back().transcriptPath, folder.path("other/old.jsonl"));
}

TEST(Discovery, AddsTheNamesThatTheAgentsKeepElsewhere) {
    const TemporaryFolder folder;
    const auto desktop = [&](const std::string& name, std::string_view contents) {
        folder.write("desktop/" + name, contents);
    };
    const auto entry = [](const std::string& cli, const std::string& rest) {
        return "{\"cliSessionId\":\"" + cli + "\"," + rest + "}";
    };
    const std::string id = R"("sessionId":"local_1")";
    desktop("local_full.json", entry("full", id + R"(,"title":"Desktop","cwd":"/desktop")"));
    desktop("a/b/local_bare.json", entry("bare", id + R"(,"title":1,"cwd":null)"));
    desktop("local_empty.json", entry("empty", id + R"(,"title":"","cwd":"")"));
    desktop("local_twice1.json", entry("twice", id));
    desktop("local_twice2.json", entry("twice", id));
    desktop("other_name.json", entry("name", id));
    desktop("local_extension.jsonl", entry("extension", id));
    desktop(".hidden/local_x.json", entry("hidden", id));
    desktop("local_id.json", entry("foreign", R"("sessionId":"remote_1")"));
    desktop("local_none.json", entry("none", R"("title":"T")"));
    desktop("local_cli.json", entry("", id));
    desktop("local_list.json", "[" + entry("list", id) + "]");
    desktop("local_cut.json", entry("cut", id).substr(0, 30));
    const auto sized = [&](const std::string& cli, std::size_t size) {
        const auto text = entry(cli, id);
        desktop("local_" + cli + ".json", text + std::string(size - text.size(), '\n'));
    };
    sized("largest", 4'194'304);
    sized("tooLarge", 4'194'305);

    struct Case {
        std::string session, title, folder, desktopID;
    };
    std::vector<Case> cases{{"full", "Desktop", "/desktop", "local_1"},
                            {"bare", "Own", "/own", "local_1"},
                            {"empty", "", "", "local_1"},
                            {"largest", "Own", "/own", "local_1"}};
    for (const auto* unknown :
         {"twice", "name", "extension", "hidden", "foreign", "none", "list", "cut", "tooLarge", "in no file"})
        cases.push_back({unknown, "Own", "/own", "none"});
    for (const auto& one : cases)
        folder.write("projects/" + one.session + ".jsonl",
                     claudeRecord(one.session, R"(,"cwd":"/own","customTitle":"Own")"));
    folder.write("sessions/full.jsonl", codexRecord(R"({"id":"full","title":"Own"})"));
    folder.write("sessions/named.jsonl", codexRecord(R"({"id":"named","title":"Own"})"));
    folder.write("session_index.jsonl", "{\"id\":\"named\",\"thread_name\":\"Index\"}\n"
                                        "{\"id\":\"bare\",\"thread_name\":\"Index\"}\n");
    const std::vector<ConversationRoot> roots{{Agent::codex, folder.path("sessions/")},
                                              {Agent::claude, folder.path("projects")}};
    const auto found = ConversationCatalog::discover(roots, folder.path("desktop"));
    EXPECT_EQ(found.size(), cases.size() + 2);
    for (const auto& one : cases) {
        SCOPED_TRACE(one.session);
        const auto reference = ConversationCatalog::resolve(Agent::claude, one.session, found);
        EXPECT_EQ(reference.title, one.title);
        EXPECT_EQ(reference.workingDirectory, one.folder);
        EXPECT_EQ(reference.desktopSessionID.value_or("none"), one.desktopID);
    }
    const auto codex = [&](const char* session) {
        return ConversationCatalog::resolve(Agent::codex, session, found);
    };
    EXPECT_EQ(codex("named").title, "Index");
    EXPECT_EQ(codex("full").title, "Own");
    EXPECT_FALSE(codex("full").desktopSessionID);
    const auto withoutDesktop = ConversationCatalog::resolve(Agent::claude, "full", roots, std::nullopt);
    EXPECT_EQ(withoutDesktop.title, "Own");
}

TEST(Resolving, FindsExactlyOneReferenceOrRefuses) {
    const auto claude = [](const char* session, const char* path, std::optional<std::string> desktop = {}) {
        return ConversationReference{.agent = Agent::claude,
                                     .sessionID = session,
                                     .transcriptPath = path,
                                     .desktopSessionID = std::move(desktop)};
    };
    std::vector references{
        claude("a", "/1", "local_a"), claude("b", "/2"),      claude("b", "/3"), claude("a", "/4"),
        claude("c", "/5", "local_c"), claude("local_c", "/6")};
    references[3].agent = Agent::codex;
    const struct {
        Agent agent;
        const char *id, *expected; // The path, or the failure.
    } cases[] = {
        {Agent::claude, "a", "/1"},       {Agent::codex, "a", "/4"},
        {Agent::claude, "local_a", "/1"}, {Agent::claude, "b", "ambiguous"},
        {Agent::claude, "A", "notFound"}, {Agent::codex, "local_a", "notFound"},
        {Agent::codex, "", "notFound"},   {Agent::claude, "local_c", "ambiguous"},
    };
    for (const auto& [agent, id, expected] : cases) {
        std::string path;
        const auto end =
            caseOf([&] { path = ConversationCatalog::resolve(agent, id, references).transcriptPath; });
        EXPECT_EQ(end == "done" ? path : end, expected) << id;
    }
}

TEST(RecognizedAgent, IsTheOneThatWritesSuchRecords) {
    const TemporaryFolder folder;
    const std::pair<std::string, std::optional<Agent>> cases[] = {
        {codexNamed("s"), Agent::codex},
        {R"({"type":"response_item","payload":{}})", Agent::codex},
        {"{}\n{\n" + claudeRecord("s") + codexNamed("s"), Agent::claude},
        {R"({"type":"user","message":{}})", Agent::claude},
        {R"({"type":"response_item"})", std::nullopt},
        {"", std::nullopt},
        {"# Notes\n", std::nullopt},
    };
    for (const auto& [contents, agent] : cases)
        EXPECT_EQ(ConversationCatalog::recognizedAgent(folder.write("f", contents)), agent) << contents;
    EXPECT_EQ(ConversationCatalog::recognizedAgent(folder.path("none")), std::nullopt);
}
