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
    const SidebarContents contents{recents, catalog, {{"one", "Named by Codex"}, {"two", "not Codex's"}}};

    std::vector<std::string> titles(std::string_view query) {
        std::vector<std::string> found;
        for (const auto row : contents.matching(query)) found.push_back(contents.rows()[row].title);
        return found;
    }
};

TEST_F(SidebarContentsTest, NamesEveryRowAsWellAsItCan) {
    EXPECT_EQ(titles(""), (std::vector<std::string>{"検索での全角と半角", "rollout", "Named by Codex",
                                                    "検索での全角と半角", "Straße und Ärger"}));
    EXPECT_EQ(contents.rows()[1].folder, "elsewhere");
    EXPECT_EQ(contents.rows()[2].folder, "compiler");
    EXPECT_EQ(contents.rows()[4].folder, "t"); // The folder of the transcript stands in.
    EXPECT_FALSE(contents.rows()[0].isAvailable);
    EXPECT_TRUE(contents.rows()[0].reference);
    EXPECT_FALSE(contents.rows()[1].reference);
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
             {"STRASSE ärger", {"Straße und Ärger"}},
             {"ｎａｍｅｄ", {"Named by Codex"}},
             {"検索", {"検索での全角と半角", "検索での全角と半角"}},
             {"three", {"Straße und Ärger"}},
             {"parser", {}},
         })
        EXPECT_EQ(titles(query), found) << query;
}

} // namespace
} // namespace orvel
