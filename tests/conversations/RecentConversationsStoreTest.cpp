#include "OrvelCore/conversations/RecentConversationsStore.h"

#include "Failures.h"
#include "TemporaryFolder.h"

#include <limits>
#include <map>

#include <nlohmann/json.hpp>
#include <rapidcheck/gtest.h>
#include <unistd.h>

using namespace orvel;
using testing::ElementsAre;

namespace {

const std::string loadError = "Couldn't load recent conversations. Open the conversation file again.";

// What a caller does whose writing succeeds.
void save(RecentConversationsStore& store, RecentConversationsStore::Change change) {
    std::ofstream(store.path(), std::ios::binary) << change.contents;
    store.adopt(std::move(change));
}

void record(RecentConversationsStore& store, Agent source, std::string_view title, std::string_view path,
            Date lastUsed) {
    save(store, store.recording(source, title, path, lastUsed));
}

void remove(RecentConversationsStore& store, std::string_view id) {
    save(store, store.removing(id));
}

nlohmann::json object(const std::string& path, double lastUsed, const std::string& title = "T") {
    return {{"source", "codex"}, {"title", title}, {"path", path}, {"lastUsed", lastUsed}};
}

std::vector<std::string> pathsOf(const RecentConversationsStore& store) {
    std::vector<std::string> paths;
    for (const auto& entry : store.entries()) paths.push_back(entry.path);
    return paths;
}

// A store on a file in a fresh folder.
struct RecentConversations : testing::Test {
    TemporaryFolder folder;
    std::string file = folder.path("recent-conversations.json");

    RecentConversationsStore loaded() const { return RecentConversationsStore(file); }
    RecentConversationsStore loaded(std::string_view contents) const {
        folder.write("recent-conversations.json", contents);
        return loaded();
    }
};

} // namespace

TEST_F(RecentConversations, LoadWhatIsUsableNewestFirst) {
    auto document = nlohmann::json::array();
    const std::string longTitle = std::string(199, 't') + "e\u0301x";
    const std::string nul("/nul\0", 5);
    document.push_back(object("/b", 5));
    document.push_back(object("/a", 5));
    document.push_back(object("relative", 9));
    document.push_back(object("", 9));
    document.push_back(object(nul, 9));
    document.push_back(object("/x/../c/./d/", 7, longTitle));
    document.push_back(object("/c/d", 8, "older spelling, newer date"));
    document.push_back(object("/e", -1e9, ""));
    document.push_back({{"source", "claude"}, {"title", "T"}, {"path", "/f"}, {"lastUsed", 6}, {"more", 1}});
    const auto store = loaded(document.dump());
    EXPECT_FALSE(store.loadErrorDescription());
    EXPECT_THAT(store.entries(),
                ElementsAre(RecentConversation{Agent::codex, "older spelling, newer date", "/c/d", 8},
                            RecentConversation{Agent::claude, "T", "/f", 6},
                            RecentConversation{Agent::codex, "T", "/a", 5},
                            RecentConversation{Agent::codex, "T", "/b", 5},
                            RecentConversation{Agent::codex, "", "/e", -1e9}));
    EXPECT_EQ(loaded("[" + object("/a", 1, longTitle).dump() + "]").entries().front().title,
              std::string(199, 't') + "e\u0301");
}

TEST_F(RecentConversations, KeepTheNewestTwenty) {
    auto document = nlohmann::json::array();
    for (int i = 0; i < 25; ++i) document.push_back(object("/" + std::to_string(i), i * 7 % 25));
    document.push_back(object("/again", 100));
    document.push_back(object("/x/../again", 99)); // Repetitions do not use up places.
    const auto store = loaded(document.dump());
    ASSERT_EQ(store.entries().size(), 20U);
    EXPECT_EQ(store.entries()[0].lastUsed, 100);
    EXPECT_EQ(store.entries()[1].lastUsed, 24);
    EXPECT_EQ(store.entries()[19].lastUsed, 6);
}

TEST_F(RecentConversations, RefuseABadFileAsAWholeAndLeaveIt) {
    const auto good = object("/a", 1);
    const auto with = [&](const char* key, const nlohmann::json& value) {
        auto bad = object("/b", 2);
        bad[key] = value;
        return nlohmann::json{good, bad}.dump();
    };
    const auto without = [&](const char* key) {
        auto bad = object("/b", 2);
        bad.erase(key);
        return nlohmann::json{good, bad}.dump();
    };
    const std::string list = "[" + good.dump() + "]";
    const std::size_t limit = 131'072;
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"an empty list", "[]", true},
        {"the largest", list + std::string(limit - list.size(), ' '), true},
        {"one byte more", list + std::string(limit + 1 - list.size(), ' '), false},
        {"nothing", "", false},
        {"more behind it", list + "]", false},
        {"more behind a NUL", list + '\0' + "x", false},
        {"an entry that is no object", "[" + good.dump() + ",[]]", false},
        {"another agent", with("source", "gemini"), false},
        {"a title that is null", with("title", nullptr), false},
        {"a date that is a string", with("lastUsed", "2"), false},
        {"a date beyond a double", R"([{"source":"codex","title":"T","path":"/a","lastUsed":1e999}])", false},
        {"no source", without("source"), false},
        {"not UTF-8", "[" + good.dump().replace(good.dump().find("T"), 1, "\xff") + "]", false},
    };
    for (const auto& [name, contents, loads] : cases) {
        SCOPED_TRACE(name);
        const auto store = loaded(contents);
        EXPECT_EQ(store.loadErrorDescription(), loads ? std::nullopt : std::optional(loadError));
        EXPECT_EQ(contentsOf(file), contents);
        EXPECT_TRUE(loads || store.entries().empty());
    }
}

TEST_F(RecentConversations, AreEmptyWithoutAFileAndRefuseWhatIsNone) {
    EXPECT_FALSE(loaded().loadErrorDescription());
    EXPECT_EQ(RecentConversationsStore(folder.path()).loadErrorDescription(), loadError);
    ASSERT_EQ(symlink("loop", folder.path("loop").c_str()), 0);
    EXPECT_FALSE(RecentConversationsStore(folder.path("loop")).loadErrorDescription());
}

TEST_F(RecentConversations, RecordWithATitleThatNamesTheConversation) {
    const std::tuple<const char*, std::string, std::string, std::string, std::string> cases[] = {
        {"trimmed", " \u3000 Title\n", "/a/b.jsonl", "Title", "/a/b.jsonl"},
        {"blank", " \t\u00a0", "/a/b.c.jsonl", "b.c", "/a/b.c.jsonl"},
        {"empty", "", "/a/b", "b", "/a/b"},
        {"long in characters", std::string(199, 'x') + "👨‍👩‍👧👨‍👩‍👧", "/a",
         std::string(199, 'x') + "👨‍👩‍👧", "/a"},
        {"trimmed before it is cut", std::string(300, ' ') + "x", "/a", "x", "/a"},
        {"a long file name", "", "/" + std::string(250, 'x'), std::string(200, 'x'),
         "/" + std::string(250, 'x')},
        {"detours", "T", "/a/../b/./c//", "T", "/b/c"},
    };
    for (const auto& [name, title, path, recordedTitle, recordedPath] : cases) {
        SCOPED_TRACE(name);
        auto store = loaded("[]");
        record(store, Agent::claude, title, path, 1);
        const RecentConversation expected{Agent::claude, recordedTitle, recordedPath, 1};
        EXPECT_THAT(store.entries(), ElementsAre(expected));
        EXPECT_THAT(loaded().entries(), ElementsAre(expected));
    }
}

TEST_F(RecentConversations, RefuseToRecordWhatNoFileIsNamed) {
    auto store = loaded("[]");
    record(store, Agent::codex, "T", "/a", 1);
    const auto before = contentsOf(file);
    using Limits = std::numeric_limits<double>;
    for (const auto& [path, lastUsed] :
         std::vector<std::pair<std::string, double>>{{"a", 2},
                                                     {"", 2},
                                                     {std::string("/a\0b", 4), 2},
                                                     {"/\xff", 2},
                                                     {"/b", -Limits::infinity()},
                                                     {"/b", Limits::quiet_NaN()}}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(caseOf([&] { record(store, Agent::codex, "T", path, lastUsed); }), "invalidFileName");
        EXPECT_THAT(pathsOf(store), ElementsAre("/a"));
        EXPECT_EQ(contentsOf(file), before);
    }
}

TEST_F(RecentConversations, StayAsTheyAreUntilAChangeIsAdopted) {
    auto store = loaded("broken");
    auto change = store.recording(Agent::codex, "T", "/a", 1);
    store.removing("/a");
    EXPECT_EQ(store.loadErrorDescription(), loadError);
    EXPECT_TRUE(store.entries().empty());
    EXPECT_EQ(contentsOf(file), "broken");

    save(store, std::move(change));
    EXPECT_FALSE(store.loadErrorDescription());
    EXPECT_THAT(pathsOf(store), ElementsAre("/a"));
    EXPECT_THAT(pathsOf(loaded()), ElementsAre("/a"));
}

// Whatever is recorded and removed, the list agrees with a plain model of it and with its file.
RC_GTEST_PROP(RecentConversationsModel, HoldsTheNewestTwentyPathsThroughAnyHistory, ()) {
    const TemporaryFolder folder;
    RecentConversationsStore store(folder.path("file"));
    std::map<std::string, RecentConversation> known;
    const auto steps = *rc::gen::container<std::vector<std::pair<int, int>>>(
        rc::gen::pair(rc::gen::inRange(0, 40), rc::gen::inRange(-5, 30)));
    for (const auto& [number, date] : steps) {
        const auto path = "/" + std::to_string(number);
        if (date < 0) {
            remove(store, path);
            known.erase(path);
        } else {
            const auto agent = date % 2 ? Agent::codex : Agent::claude;
            record(store, agent, std::to_string(date), "/x/.." + path, date);
            known[path] = {agent, std::to_string(date), path, static_cast<Date>(date)};
        }
        std::vector<RecentConversation> newest;
        for (const auto& [name, entry] : known) newest.push_back(entry);
        std::ranges::stable_sort(newest, std::greater(), &RecentConversation::lastUsed);
        while (newest.size() > 20) {
            known.erase(newest.back().path);
            newest.pop_back();
        }
        RC_ASSERT(store.entries() == newest);
    }
    if (!steps.empty()) RC_ASSERT(RecentConversationsStore(folder.path("file")).entries() == store.entries());
}
