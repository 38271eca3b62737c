#include "Orvel/model/SidebarContents.h"
#include "Orvel/model/MessageSearch.h"

namespace orvel {
namespace {

ConversationReference reference(Agent agent, std::string session, std::string title, std::string folder) {
    return {.agent = agent,
            .sessionID = session,
            .title = std::move(title),
            .transcriptPath = "/t/" + session + ".jsonl",
            .workingDirectory = folder.empty() ? std::nullopt : std::optional(std::move(folder))};
}

class SidebarContentsTest : public testing::Test {
  protected:
    const std::vector<ConversationReference> catalog{
        reference(Agent::codex, "one", "Parser rewrite", "/code/compiler"),
        reference(Agent::claude, "two", "検索での全角と半角", "/code/site"),
        reference(Agent::claude, "three", "Straße und Ärger", ""),
    };
    const std::vector<RecentConversation> recents{{Agent::claude, "file name", "/t/two.jsonl", 9},
                                                  {Agent::codex, "rollout", "/elsewhere/x.jsonl", 8}};
    const SidebarRow link{.section = SidebarRow::Section::links,
                          .title = "検索 ↔ Parser",
                          .folder = "site ↔ compiler",
                          .link = SidebarLink{.pairID = "P"}};
    const SidebarContents contents{
        {link}, recents, catalog, {{"one", "Named by Codex"}, {"two", "not Codex's"}}};

    std::vector<std::string> titles(std::string_view query, const SidebarContents::Scope& scope = {}) {
        std::vector<std::string> found;
        for (const auto row : contents.matching(query, scope)) found.push_back(contents.rows()[row].title);
        return found;
    }
};

TEST_F(SidebarContentsTest, NamesEveryRowAsWellAsItCan) {
    EXPECT_EQ(titles(""),
              (std::vector<std::string>{"検索 ↔ Parser", "検索での全角と半角", "rollout", "Named by Codex",
                                        "検索での全角と半角", "Straße und Ärger"}));
    EXPECT_EQ(contents.rows()[2].folder, "elsewhere");
    EXPECT_EQ(contents.rows()[3].folder, "compiler");
    EXPECT_EQ(contents.rows()[5].folder, "t"); // The folder of the transcript stands in.
    EXPECT_FALSE(contents.rows()[1].isAvailable);
    EXPECT_TRUE(contents.rows()[1].reference);
    EXPECT_FALSE(contents.rows()[2].reference);
}

TEST_F(SidebarContentsTest, SearchFindsEveryWordWhateverItsCaseAndWidth) {
    for (const auto& [query, found] : std::vector<std::pair<const char*, std::vector<std::string>>>{
             {"NAMED compiler", {"Named by Codex"}},
             {"  codex\tnamed ", {"Named by Codex"}},
             {"named site", {}},
             {"parser compiler", {"検索 ↔ Parser"}},
             {"STRASSE ärger", {"Straße und Ärger"}},
             {"ｎａｍｅｄ", {"Named by Codex"}},
             {"検索", {"検索 ↔ Parser", "検索での全角と半角", "検索での全角と半角"}},
             {"three", {"Straße und Ärger"}},
             {"rewrite", {}},
         })
        EXPECT_EQ(titles(query), found) << query;
}

TEST_F(SidebarContentsTest, WhatHasNoTitleIsCalledAsItsTranscriptSays) {
    const std::vector<ConversationReference> untitled{
        reference(Agent::codex, "01a1fd20-9201", "plain · 01a1fd20", "/code/plain"),
        reference(Agent::claude, "bare", "bare", ""), reference(Agent::claude, "named", "Named", "")};
    const std::vector<RecentConversation> opened{{Agent::codex, "rollout", untitled[0].transcriptPath, 9}};
    SidebarContents rows{{link}, opened, untitled};
    const auto names = [&] {
        std::string all;
        for (const auto& row : rows.rows()) all += row.title + " (" + row.folder + ") ";
        return all;
    };
    EXPECT_EQ(names(), "検索 ↔ Parser (site ↔ compiler) plain · 01a1fd20 (plain) plain · 01a1fd20 (plain) "
                       "bare (t) Named (t) ");
    const ReadNames read{{untitled[0].transcriptPath, {.title = "Why?"}},
                         {untitled[1].transcriptPath, {.title = "And now?", .folder = "/code/site"}},
                         {untitled[2].transcriptPath, {.title = "Not shown", .folder = "/code/lark"}}};
    auto renamed = link;
    renamed.title = "検索 ↔ Why?";
    rows.rename(std::vector{renamed}, {}, read);
    EXPECT_EQ(names(),
              "検索 ↔ Why? (site ↔ compiler) Why? (plain) Why? (plain) And now? (site) Named (lark) ");
    EXPECT_EQ(rows.matching("why", {}), (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(rows.matching("site now", {}), std::vector<std::size_t>{3});
    EXPECT_EQ(rows.matching("nowhere", {}, {untitled[2].transcriptPath}), std::vector<std::size_t>{4});
    rows.rename({}, {{"01a1fd20-9201", "Codex's own"}}, read);
    EXPECT_EQ(rows.rows()[1].title, "Codex's own");
}

TEST(MessageSearchTest, FindsEveryWordInAnyMessageOfAConversation) {
    const auto loaded = [](std::vector<Message> messages) {
        return std::make_shared<Conversation>(Conversation{.messages = std::move(messages)});
    };
    const std::vector<LoadedConversation> all{
        {"/one", loaded({{"1", "user", "Where is the STRASSE?"}, {"2", "assistant", "Here."}})},
        {"/two", loaded({{"1", "user", "Here, ｗｈｅｒｅ else."}})}};
    const std::pair<const char*, std::unordered_set<std::string>> cases[] = {
        {"straße here", {"/one"}}, {"where", {"/one", "/two"}}, {"here nowhere", {}}, {" ", {}}};
    for (const auto& [query, paths] : cases) EXPECT_EQ(conversationsHolding(query, all), paths) << query;
}

TEST_F(SidebarContentsTest, WhereAConversationIsPickedOnlyThoseThatFitAreShown) {
    const std::vector<std::string> recentAndFoundByClaude{"検索での全角と半角", "検索での全角と半角"};
    EXPECT_EQ(titles("検索", {.links = false}), recentAndFoundByClaude);
    EXPECT_EQ(titles("検索", {.links = false, .agent = Agent::claude}), recentAndFoundByClaude);
    EXPECT_EQ(titles("", {.links = false, .agent = Agent::codex}),
              (std::vector<std::string>{"rollout", "Named by Codex"}));
}

} // namespace
} // namespace orvel
