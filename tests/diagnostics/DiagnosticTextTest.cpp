#include "OrvelCore/diagnostics/DiagnosticText.h"

#include "OrvelCore/composers/DiagnosticSummary.h"

#include <array>
#include <limits>

using namespace orvel;

// Nothing that could hold a value read from an editor becomes a diagnostic text.
template <typename T>
constexpr bool isRefused = !std::is_constructible_v<DiagnosticText, T>;
static_assert(isRefused<std::string> && isRefused<std::string_view> && isRefused<const char*> &&
              isRefused<char> && isRefused<unsigned char> && isRefused<char32_t> && isRefused<double>);
static_assert(!std::is_convertible_v<std::string, FixedWords> &&
              !std::is_convertible_v<const char*, FixedWords>);

TEST(DiagnosticText, IsMadeOfWordsNumbersAndNames) {
    const auto text = DiagnosticText::of("{}={}, {}/{} {}", DiagnosticText(FixedWords("a {} b")), true,
                                         Agent::claude, -7, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(text.text(), "a {} b=true, Claude/-7 18446744073709551615");

    constexpr std::array<FixedWords, 2> names{"one", "two"};
    EXPECT_EQ(DiagnosticText::oneOf("two", names, "other").text(), "two");
    EXPECT_EQ(DiagnosticText::oneOf("secret", names, "other").text(), "other");
}

TEST(DiagnosticText, WritesTimes) {
    const std::pair<double, std::string> durations[] = {
        {0, "0"},
        {0.0006, "1"},
        {-1.5, "-1500"},
        {std::numeric_limits<double>::infinity(), "Unavailable"},
        {std::numeric_limits<double>::quiet_NaN(), "Unavailable"},
        {1e300, "Unavailable"},
    };
    for (const auto& [seconds, milliseconds] : durations)
        EXPECT_EQ(DiagnosticText::milliseconds(seconds).text(), milliseconds);

    const std::tuple<Date, int, std::string, std::string> dates[] = {
        {0, 0, "00:00:00", "12:00:00 AM"},
        {43'200, 0, "12:00:00", "12:00:00 PM"},
        {46'985, 0, "13:03:05", "1:03:05 PM"},
        {0, -3600, "23:00:00", "11:00:00 PM"},
        {-0.5, 0, "23:59:59", "11:59:59 PM"},
        {86'400 * 9000 + 61, 19'800, "05:31:01", "5:31:01 AM"},
        {std::numeric_limits<double>::quiet_NaN(), 0, "Unavailable", "Unavailable"},
    };
    for (const auto& [date, offset, inTwentyFour, inTwelve] : dates) {
        EXPECT_EQ(DiagnosticText::timeOfDay(date, {offset, false}).text(), inTwentyFour);
        EXPECT_EQ(DiagnosticText::timeOfDay(date, {offset, true}).text(), inTwelve);
    }
}

TEST(DiagnosticText, IsShortenedByCharacters) {
    const DiagnosticText text = FixedWords("か\u3099き😀x");
    EXPECT_EQ(text.shortened(1).text(), "か\u3099");
    EXPECT_EQ(text.shortened(3).text(), "か\u3099き😀");
    EXPECT_EQ(text.shortened(4), text);
}

TEST(DiagnosticSummary, TellsOnlyWhatIsKnownBeforehand) {
    using Classes = std::vector<std::string>;
    namespace summary = DiagnosticSummary;
    const std::string unregistered = "Unregistered label (content not recorded)";
    const std::pair<DiagnosticText, std::string> cases[] = {
        {summary::role(std::nullopt), "Unavailable"},
        {summary::role("AXTextArea"), "AXTextArea"},
        {summary::role(""), "Other role"},
        {summary::role("axtextarea"), "Other role"},
        {summary::role("AXTextArea "), "Other role"},
        {summary::classes(std::nullopt), "Array unavailable"},
        {summary::classes(Classes{}), "ProseMirror=false, tiptap=false, class count=0"},
        {summary::classes(Classes{"secret", "ProseMirror"}), "ProseMirror=true, tiptap=false, class count=2"},
        {summary::classes(Classes{"tiptap", "ProseMirror-x"}),
         "ProseMirror=false, tiptap=true, class count=2"},
        {summary::label(std::nullopt), "String unavailable"},
        {summary::label(""), "Empty string"},
        {summary::label("送信"), "Matches a known conversation label"},
        {summary::label("Send "), unregistered},
        {summary::label("Remove a.txt"), unregistered},
        {summary::input(classifyInput("my secret")), "Not command syntax (content not recorded)"},
        {summary::input(ReturnInputClassification::unread), "Not read"},
        {summary::input(ReturnInputClassification::unavailable), "Unavailable"},
    };
    for (const auto& [told, words] : cases) EXPECT_EQ(told.text(), words);
}

TEST(DiagnosticSummary, PrintsIdentifiersOfInputSourcesOnlyInTheirForm) {
    const auto source = [](std::optional<std::string> id) {
        return DiagnosticSummary::inputSource(InputSourceIdentity{std::move(id), "a.B_c-9", std::nullopt})
            .text();
    };
    const std::string rest = ", mode=a.B_c-9, type=None";
    EXPECT_EQ(DiagnosticSummary::inputSource(std::nullopt).text(), "Unavailable");
    const std::pair<std::optional<std::string>, std::string> cases[] = {
        {"com.apple.keylayout.ABC", "com.apple.keylayout.ABC"},
        {std::nullopt, "None"},
        {"", ""},
        {"a\n", "Nonstandard format"},
        {"日本", "Nonstandard format"},
        {std::string("a\0b", 3), "Nonstandard format"},
        {std::string(200, 'x'), std::string(200, 'x')},
        {std::string(201, 'x'), "Nonstandard format"},
    };
    for (const auto& [id, printed] : cases) EXPECT_EQ(source(id), "ID=" + printed + rest);
}
