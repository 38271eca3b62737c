#include "Orvel/model/SidebarContents.h"

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
    struct Case {
        const char* query;
        std::vector<std::string> found;
    };
    for (const auto& [query, found] : std::vector<Case>{
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

TEST_F(SidebarContentsTest, WhereAConversationIsPickedOnlyThoseThatFitAreShown) {
    const std::vector<std::string> recentAndFoundByClaude{"検索での全角と半角", "検索での全角と半角"};
    EXPECT_EQ(titles("検索", {.links = false}), recentAndFoundByClaude);
    EXPECT_EQ(titles("検索", {.links = false, .agent = Agent::claude}), recentAndFoundByClaude);
    EXPECT_EQ(titles("", {.links = false, .agent = Agent::codex}),
              (std::vector<std::string>{"rollout", "Named by Codex"}));
}

} // namespace
} // namespace orvel
