// Which Code page a window shows, and the address of a conversation.

#include "Orvel/delivery/ClaudeCodePageSelection.h"
#include "Orvel/delivery/ClaudeConversationNavigation.h"

namespace orvel {
namespace {

using ClaudeCodePageSelection::Failure;
using Value = ClaudeCodePageSelection::URLValue;

const std::string id = "local_11111111-1111-4111-8111-11111111111a";

Value url(const std::string& text) {
    return {Value::Kind::url, text};
}

const Value missing{}, invalid{Value::Kind::invalidType, {}};
const Value conversation = url("https://claude.ai/epitaxy/" + id);

TEST(ClaudeCodePageSelection, FindsTheOneCodePageOrRefuses) {
    struct Row {
        const char* name;
        std::vector<Value> values;
        std::string expected; // A path, "" for none, or the case of a failure.
    };
    const std::string path = "/epitaxy/" + id;
    for (const auto& [name, values, expected] : std::vector<Row>{
             {"nothing", {}, ""},
             {"no URL", {missing, missing}, ""},
             {"other pages", {url("file:///index.html"), url("https://claude.ai/new")}, ""},
             {"a conversation", {missing, url("https://claude.ai/"), conversation}, path},
             {"the new page", {url("https://claude.ai/epitaxy")}, "/epitaxy"},
             {"the same page twice", {conversation, conversation}, "multipleCodePages"},
             {"two pages", {url("https://claude.ai/epitaxy"), missing, conversation}, "multipleCodePages"},
             {"a value that is no URL behind a page", {conversation, invalid}, "invalidURLValue"},
             {"a value that is no URL behind two pages",
              {conversation, conversation, invalid},
              "invalidURLValue"},
             {"another host", {url("https://claude.ai.example/epitaxy/" + id)}, ""}}) {
        std::string result;
        try {
            result = ClaudeCodePageSelection::select(values).value_or("");
        } catch (const Failure& failure) {
            result = failure.caseName();
        }
        EXPECT_EQ(result, expected) << name;
    }
}

TEST(ClaudeConversationNavigation, AddressesOnlyWhatSurelyIsTheConversation) {
    const auto target = ClaudeConversationNavigation::target(id);
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, "/epitaxy/" + id);
    EXPECT_EQ(target->url, "claude://claude.ai/epitaxy/" + id);
    for (const auto& bad :
         {std::string(), std::string("local_"), id + "/", id + "?a=b", id + "#top", id + " ", "../" + id,
          id.substr(6), std::string("local_11111111-1111-4111-8111-11111111111g"), "LOCAL_" + id.substr(6),
          "local_%31" + id.substr(7)})
        EXPECT_FALSE(ClaudeConversationNavigation::target(bad)) << bad;
}

} // namespace
} // namespace orvel
