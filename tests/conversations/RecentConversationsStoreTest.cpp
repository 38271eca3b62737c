#include "OrvelCore/conversations/RecentConversationsStore.h"

#include "OrvelCore/text/Failure.h"
#include "TemporaryFolder.h"

#include <limits>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <rapidcheck/gtest.h>
#include <sys/stat.h>
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
    const struct {
        const char* name;
        std::string contents;
        bool loads;
    } cases[] = {
        {"an empty list", "[]", true},
        {"the largest", list + std::string(limit - list.size(), ' '), true},
        {"one byte more", list + std::string(limit + 1 - list.size(), ' '), false},
        {"nothing", "", false},
        {"an object", good.dump(), false},
        {"more behind it", list + "]", false},
        {"an entry that is no object", "[" + good.dump() + ",[]]", false},
        {"another agent", with("source", "gemini"), false},
        {"a title that is null", with("title", nullptr), false},
        {"a path that is a number", with("path", 1), false},
        {"a date that is a string", with("lastUsed", "2"), false},
        {"a date beyond a double", R"([{"source":"codex","title":"T","path":"/a","lastUsed":1e999}])", false},
        {"no source", without("source"), false},
        {"not UTF-8", "[" + good.dump().replace(good.dump().find("T"), 1, "\xff") + "]", false},
        {"brackets", std::string(100'000, '['), false},
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
    ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(RecentConversationsStore(folder.path("fifo")).loadErrorDescription(), loadError);
    ASSERT_EQ(symlink("loop", folder.path("loop").c_str()), 0);
    EXPECT_FALSE(RecentConversationsStore(folder.path("loop")).loadErrorDescription());
    EXPECT_EQ(RecentConversationsStore(folder.writeSparse("huge", 1ULL << 36)).loadErrorDescription(),
              loadError);
}

TEST_F(RecentConversations, RecordWithATitleThatNamesTheConversation) {
    const struct {
        const char* name;
        std::string title, path, recordedTitle, recordedPath;
    } cases[] = {
        {"trimmed", " \u3000 Title\n", "/a/b.jsonl", "Title", "/a/b.jsonl"},
        {"blank", " \t\u00a0", "/a/b.c.jsonl", "b.c", "/a/b.c.jsonl"},
        {"empty", "", "/a/b", "b", "/a/b"},
        {"long", std::string(300, 'x'), "/a", std::string(200, 'x'), "/a"},
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
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        std::string path;
        double lastUsed;
    } cases[] = {{"a", 2},
                 {"", 2},
                 {std::string("/a\0b", 4), 2},
                 {"/\xff", 2},
                 {"/b", infinity},
                 {"/b", -infinity},
                 {"/b", std::numeric_limits<double>::quiet_NaN()}};
    for (const auto& [path, lastUsed] : cases) {
        SCOPED_TRACE(path);
        try {
            record(store, Agent::codex, "T", path, lastUsed);
            ADD_FAILURE();
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.caseName(), "invalidFileName");
        }
        EXPECT_THAT(pathsOf(store), ElementsAre("/a"));
        EXPECT_EQ(contentsOf(file), before);
    }
}

TEST_F(RecentConversations, MoveARecordedPathToItsPlace) {
    auto store = loaded("[]");
    for (int i = 1; i <= 20; ++i) record(store, Agent::codex, "T", "/" + std::to_string(i), i);
    record(store, Agent::claude, "new title", "/x/../3", 50);
    EXPECT_EQ(store.entries().front(), (RecentConversation{Agent::claude, "new title", "/3", 50}));
    EXPECT_EQ(store.entries().size(), 20U);

    record(store, Agent::codex, "T", "/late", 0); // Older than all twenty.
    EXPECT_EQ(store.entries().size(), 20U);
    EXPECT_EQ(store.entries().back().path, "/1");

    record(store, Agent::codex, "T", "/3", 0); // The older date counts, since it is the newer record.
    EXPECT_EQ(store.entries().back(), (RecentConversation{Agent::codex, "T", "/3", 0}));
}

TEST_F(RecentConversations, RemoveByIdAndWriteInAnyCase) {
    auto store = loaded("[" + object("/a", 1).dump() + "," + object("/b", 2).dump() + "]");
    remove(store, "/unknown");
    EXPECT_THAT(pathsOf(store), ElementsAre("/b", "/a"));
    EXPECT_EQ(nlohmann::json::parse(contentsOf(file)).size(), 2U);
    EXPECT_EQ(contentsOf(file).find_first_of(" \n"), std::string::npos);
    remove(store, "/b");
    EXPECT_THAT(pathsOf(loaded()), ElementsAre("/a"));
    std::filesystem::remove(file);
    remove(store, "/unknown");
    EXPECT_THAT(pathsOf(loaded()), ElementsAre("/a"));
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
    std::map<std::string, double> dates;
    const auto steps = *rc::gen::container<std::vector<std::pair<int, int>>>(
        rc::gen::pair(rc::gen::inRange(0, 40), rc::gen::inRange(-5, 30)));
    for (const auto& [number, date] : steps) {
        const auto path = "/" + std::to_string(number);
        if (date < 0) {
            remove(store, path);
            dates.erase(path);
        } else {
            record(store, Agent::codex, "T", path, date);
            dates[path] = date;
        }
        std::vector<std::pair<double, std::string>> newest;
        for (const auto& [name, used] : dates) newest.emplace_back(-used, name);
        std::sort(newest.begin(), newest.end());
        if (newest.size() > 20) newest.resize(20);
        dates.clear();
        std::vector<std::string> paths;
        for (const auto& [used, name] : newest) {
            dates[name] = -used;
            paths.push_back(name);
        }
        RC_ASSERT(pathsOf(store) == paths);
    }
    if (!steps.empty()) RC_ASSERT(RecentConversationsStore(folder.path("file")).entries() == store.entries());
}
