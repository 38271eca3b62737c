// The pasteboard as its port promises it.

#include "GnustepTest.h"
#include "Orvel/desktop/PasteboardContents.h"
#include "Orvel/platform/mac/MacPasteboard.h"

namespace orvel {
namespace {

using namespace std::string_literals;

class MacPasteboardTest : public GnustepTest {
  protected:
    FakePasteboard& held = fakes().pasteboard;
    MacPasteboard pasteboard;
};

TEST_F(MacPasteboardTest, givesBackEveryItemInEveryTypeToTheByte) {
    const std::vector<PasteboardItem> items{
        {{"public.utf8-plain-text", "Grüße 👋"}, {"com.example.raw", "\0\xff\x80\0"s}, {"empty", ""}},
        {{"public.url", "codex://threads/1"}}};
    held.copyElsewhere({{{"public.png", "old"}}});
    const auto before = pasteboard.changeCount();
    pasteboard.clearContents();
    EXPECT_EQ(pasteboard.itemCount(), 0U);
    EXPECT_GT(pasteboard.changeCount(), before);
    ASSERT_TRUE(pasteboard.writeItems(items));
    const auto kept = PasteboardContents::of(pasteboard);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->items, items);
    EXPECT_EQ(kept->changeCount, held.changeCount);
    EXPECT_EQ(pasteboard.types().size(), 4U);
}

TEST_F(MacPasteboardTest, writesTextAsPlainText) {
    for (const auto& text : {"a\0b ✓"s, ""s}) {
        pasteboard.clearContents();
        EXPECT_TRUE(pasteboard.setString(text));
        EXPECT_EQ(pasteboard.data(0, std::string(PasteboardType::string)), text);
    }
    pasteboard.clearContents();
    EXPECT_FALSE(pasteboard.setString("\xff"));
    EXPECT_EQ(pasteboard.itemCount(), 0U);
}

TEST_F(MacPasteboardTest, neverWritesOverWhatAnotherProgramHasCopiedMeanwhile) {
    const std::vector<FakePasteboard::Item> newer{{{"public.utf8-plain-text", "newer"}}};
    pasteboard.clearContents();
    held.copyElsewhere(newer);
    EXPECT_FALSE(pasteboard.setString("ours"));
    EXPECT_FALSE(pasteboard.writeItems({{{"t", "ours"}}}));
    EXPECT_EQ(held.items, newer);
}

TEST_F(MacPasteboardTest, writesAllOrNothing) {
    held.refusedTypes = {"bad"};
    pasteboard.clearContents();
    EXPECT_FALSE(pasteboard.writeItems({{{"good", "1"}}, {{"bad", "2"}, {"good", "3"}}}));
    EXPECT_FALSE(pasteboard.writeItems({{{"\xff", "1"}}}));
    EXPECT_EQ(pasteboard.itemCount(), 0U);
}

TEST_F(MacPasteboardTest, saysWhatCantBeRead) {
    held.copyElsewhere({{{"promised", std::nullopt}}});
    EXPECT_EQ(pasteboard.typesOf(0), std::vector{"promised"s});
    EXPECT_EQ(pasteboard.data(0, "promised"), std::nullopt);
    EXPECT_EQ(pasteboard.data(0, "\xff"), std::nullopt);
    EXPECT_EQ(pasteboard.data(1, "promised"), std::nullopt);
    EXPECT_TRUE(pasteboard.typesOf(1).empty());
    held.items.reset();
    held.typesWithoutItems = {"legacy"};
    EXPECT_EQ(pasteboard.itemCount(), std::nullopt);
    EXPECT_EQ(pasteboard.types(), std::vector{"legacy"s});
}

} // namespace
} // namespace orvel
