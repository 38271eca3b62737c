// Where the code of a message stands, and that its marks are gone.

#include "Orvel/screens/ShownMessage.h"

#include <gtest/gtest.h>

using namespace orvel;

namespace {

// The text with code between « and », and blocks between ⟦ and ⟧.
QString marked(const ShownMessage& shown) {
    auto text = shown.text;
    std::vector<std::pair<qsizetype, QString>> marks;
    for (const auto& span : shown.spans) marks.insert(marks.end(), {{span.end, "»"}, {span.start, "«"}});
    for (const auto& block : shown.blocks) marks.insert(marks.end(), {{block.end, "⟧"}, {block.start, "⟦"}});
    std::stable_sort(marks.begin(), marks.end(),
                     [](const auto& one, const auto& two) { return one.first > two.first; });
    for (const auto& [at, mark] : marks) text.insert(at, mark);
    return text;
}

} // namespace

TEST(ShownMessageTest, CodeStandsWithoutTheMarksAroundIt) {
    for (const auto& [text, expected] : std::initializer_list<std::pair<const char*, const char*>>{
             {"plain", "plain"},
             {"`a` and `b`", "«a» and «b»"},
             {"see `fold.cpp`.", "see «fold.cpp»."},
             {"a ``b ` c`` d", "a «b ` c» d"},
             {"`` `a` ``", "«`a`»"},
             {"an open ` tick", "an open ` tick"},
             {"`open\nelsewhere`", "`open\nelsewhere`"},
             {"``a` `b`", "``a« »b`"},
             {"So:\n```cpp\nint `a`;\n```\nThat `is` it.", "So:\n⟦int `a`;\n⟧That «is» it."},
             {"```\nopen", "⟦open⟧"},
             {"```\n```\nempty", "empty"},
             {"```in a line``` of text", "«in a line» of text"},
         })
        EXPECT_EQ(marked(ShownMessage::of(text)).toStdString(), expected) << text;
}
