#include "OrvelCore/addresses/CodexDeepLink.h"

using namespace orvel;

TEST(CodexDeepLink, IsTheBareLinkAndNothingBesides) {
    const std::string id = "0f8fad5b-d9cb-469f-a165-70867728950e", link = "codex://threads/" + id;
    EXPECT_EQ(CodexDeepLink::threadID(link), id);
    EXPECT_EQ(CodexDeepLink::threadID("codex://threads/0F8FAD5B-D9CB-469F-a165-70867728950E"), id);
    for (const auto& other : {link + "?x=1", link + "#", link + "/", link + "\n", " " + link,
                              "CODEX" + link.substr(5), link.substr(0, link.size() - 1), std::string(),
                              std::string("codex://threads/"), "codex://thread/" + id})
        EXPECT_FALSE(CodexDeepLink::threadID(other)) << other;
    // Each byte broken: a digit where a dash belongs, or no digit.
    for (std::size_t i = 16; i < link.size(); ++i)
        for (const char bad : {'g', '_', '\0', link[i] == '-' ? 'a' : '-'}) {
            auto broken = link;
            broken[i] = bad;
            EXPECT_FALSE(CodexDeepLink::threadID(broken)) << broken;
        }
}
