#include "Orvel/cli/TerminalText.h"

using namespace orvel;

TEST(TerminalText, NothingReachesTheTerminalThatItWouldObey) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"plain, Ünï, 検索", "plain, Ünï, 検索", "plain, Ünï, 検索"},
        {"\x1b]0;title\x07", "␛]0;title␇", "␛]0;title␇"},
        {"a\nb\tc\r", "a␊b␉c␍", "a\nb\tc␍"},
        {std::string("\0\x7f", 2), "␀␡", "␀␡"},
        {"\u009b31m\u0085", "\uFFFD31m\uFFFD", "\uFFFD31m\uFFFD"},
        {"\x9b\xff", "\uFFFD\uFFFD", "\uFFFD\uFFFD"},
        {"a\u2028b\u202Ec\u2066", "a\uFFFDb\uFFFDc\uFFFD", "a\u2028b\u202Ec\u2066"},
        {"", "", ""},
    };
    for (const auto& [text, line, lines] : cases) {
        EXPECT_EQ(visibleLine(text), line);
        EXPECT_EQ(visibleText(text), lines);
    }
}

TEST(TerminalText, IsCutByColumns) {
    const std::tuple<std::string, std::size_t, std::string> cases[] = {
        {"abcdef", 5, "abcd…"}, {"検索語", 5, "検索…"},
        {"検索語", 4, "検…"},   {"e\u0301e\u0301", 2, "e\u0301e\u0301"},
        {"ab", 1, "…"},
    };
    for (const auto& [text, columns, expected] : cases) {
        EXPECT_EQ(fittedToColumns(text, columns), expected);
        EXPECT_LE(columnCount(expected), columns);
    }
}

TEST(TerminalText, IsWrappedAtBlanks) {
    const std::tuple<std::string, std::string, std::size_t> cases[] = {
        {"one two three", "one two\nthree", 7},
        {"one two three", "one\ntwo\nthree", 6},
        {"one two  three", "one two\n three", 7},
        {"a\n\nbc de\nf", "a\n\nbc\nde\nf", 4},
        {"unbroken", "unbr\noken", 4},
        {"ab unbroken", "ab\nunbr\noken", 4},
        {"検索語の扱い", "検索\n語の\n扱い", 5},
    };
    for (const auto& [text, expected, columns] : cases) EXPECT_EQ(wrappedToColumns(text, columns), expected);
}

TEST(TerminalText, TablesStandInColumnsWithAndWithoutStyles) {
    TextTable table;
    table.add({{"検索", TextStyle::codex}, {"long title", TextStyle::plain, 6}, {"end"}});
    table.add({{"a"}, {"b\n"}, {"c"}});
    EXPECT_EQ(table.text(Stylist(false)), "検索  long …  end\n"
                                          "a     b␊      c\n");
    EXPECT_EQ(table.text(Stylist(true)), "\x1b[36m検索\x1b[0m  long …  end\n"
                                         "a     b␊      c\n");
    EXPECT_EQ(TextTable().text(Stylist(true)), "");
}
