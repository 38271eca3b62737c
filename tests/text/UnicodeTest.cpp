#include "OrvelCore/text/Unicode.h"

#include <array>
#include <vector>

#include <rapidcheck/gtest.h>

using namespace orvel;
using namespace std::string_literals;

namespace {

constexpr std::array<std::string_view, 7> separators{"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at <= text.size();) {
        const auto line = lineAt(text, at);
        lines.emplace_back(line.text);
        at = line.next;
    }
    return lines;
}

std::vector<std::string> naiveLinesOf(std::string_view text) {
    std::vector<std::string> lines(1);
    while (!text.empty()) {
        const auto separator = std::find_if(separators.begin(), separators.end(),
                                            [&](auto candidate) { return text.starts_with(candidate); });
        if (separator == separators.end()) {
            lines.back() += text.front();
            text.remove_prefix(1);
        } else {
            lines.emplace_back();
            text.remove_prefix(separator->size());
        }
    }
    return lines;
}

// Stretches without separators that are long enough for whole blocks, separators, and pieces of them.
rc::Gen<std::string> separatorRichText() {
    const auto piece = rc::gen::oneOf(
        rc::gen::elementOf(std::vector<std::string>(separators.begin(), separators.end())),
        rc::gen::elementOf(std::vector<std::string>{"\xc2", "\x85", "\xe2", "\x80", "\xa8", "\xe2\x80",
                                                    "\u00a0", "\u2027", "\u202a", "\u20a8", "\x0e", "\x09",
                                                    "\0"s}),
        rc::gen::map(rc::gen::inRange(0, 150), [](int length) { return std::string(length, 'x'); }));
    return rc::gen::map(rc::gen::container<std::vector<std::string>>(piece), [](const auto& pieces) {
        std::string text;
        for (const auto& part : pieces) text += part;
        return text;
    });
}

} // namespace

RC_GTEST_PROP(Lines, EndAtEveryCharacterOfTheNewlineClass, ()) {
    const auto text = *separatorRichText();
    RC_ASSERT(linesOf(text) == naiveLinesOf(text));
}

TEST(Trimming, TakesOffWhiteSpaceOfUnicodeAndNothingElse) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {" \t\n\v\f\r\u0085\u00a0\u1680\u2000\u200a\u2028\u2029\u202f\u205f\u3000", ""},
        {"\u3000 a b \u2029", "a b"},
        {"\u200ba\ufeff", "\u200ba\ufeff"},
        {"\u001f", "\u001f"},
        {"\0 "s, "\0"s},
        {" \xff ", "\xff"},
        {" \xe3\x80", "\xe3\x80"},
        {"\x80 ", "\x80"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(trimmed(text), expected) << testing::PrintToString(text);
}

TEST(FirstCharacters, CountWhatAReaderSeesAsOne) {
    const std::tuple<const char*, std::string, std::size_t, std::string> cases[] = {
        {"ASCII", "abcd", 3, "abc"},
        {"none", "abcd", 0, ""},
        {"none of others", "検索", 0, ""},
        {"a mark behind the last", "abce\u0301d", 4, "abce\u0301"},
        {"a family", "👨‍👩‍👧x", 1, "👨‍👩‍👧"},
        {"flags", "🇯🇵🇫🇷", 1, "🇯🇵"},
        {"CR LF is one", "\r\nab", 2, "\r\na"},
        {"fewer than asked", "検索", 9, "検索"},
    };
    for (const auto& [name, text, count, first] : cases)
        EXPECT_EQ(firstCharacters(text, count), first) << name;
}

TEST(Displayable, ReplacesOnlyWhatIsNoUTF8) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain 検索 😀", "plain 検索 😀"},       {"a\xffz", "a\uFFFDz"},       {"\xe3\x81", "\uFFFD"},
        {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"}, {"\xc0\xaf", "\uFFFD\uFFFD"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(displayable(bytes), text) << testing::PrintToString(bytes);
}

RC_GTEST_PROP(Displayable, IsAlwaysUTF8AndKeepsUTF8, (const std::string& bytes)) {
    const auto text = displayable(bytes);
    RC_ASSERT(isValidUTF8(text));
    RC_ASSERT(displayable(text) == text);
    RC_ASSERT(isValidUTF8(foldedForSearch(bytes)));
}

TEST(SearchFolding, LeavesOutCaseWidthAndComposition) {
    const std::vector<std::vector<std::string>> same{
        {"README", "readme", "ＲＥＡＤＭＥ"},
        {"カタカナ", "ｶﾀｶﾅ"},
        {"ガ", "ｶﾞ", "カ\u3099"},
        {"é", "E\u0301"},
        {"straße", "STRASSE"},
    };
    for (const auto& texts : same)
        for (const auto& text : texts)
            EXPECT_EQ(foldedForSearch(text), foldedForSearch(texts.front())) << text;
    EXPECT_NE(foldedForSearch("カ"), foldedForSearch("ガ"));
}
