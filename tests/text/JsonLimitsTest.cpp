#include "OrvelCore/text/JsonLimits.h"

#include <gtest/gtest.h>

using namespace orvel;

TEST(JsonLimits, ChangeWhatIsBeyondThemAndNothingElse) {
    const std::string unchanged = "unchanged", digits(400, '7');
    const std::pair<std::string, std::string> cases[] = {
        {R"([18446744073709551615,-9223372036854775808,1e400,1.8446744073709552000])", unchanged},
        {"[18446744073709551616, -9223372036854775809 ]",
         "[18446744073709551616e0, -9223372036854775809e0 ]"},
        {R"({"18446744073709552000":18446744073709552000})",
         R"({"18446744073709552000":18446744073709552000e0})"},
        {R"(["\"",18446744073709552000])", R"(["\"",18446744073709552000e0])"},
        {"[" + digits + ",1]", "[" + digits.substr(0, 308) + "e0,1]"},
        {"18446744073709552000", "18446744073709552000e0"},

        {R"(["\ud83d\ude00","\\ud83d","\u00e9","\ud7ff\ue000"])", unchanged},
        {R"(["\ud83d","\uDE00x"])", R"(["\ufffd","\ufffdx"])"},
        {R"(["\ud83d\ud83d\ude00\ude00"])", R"(["\ufffd\ud83d\ude00\ufffd"])"},
        {R"(["\ud83d\u0041","\ud83d\n","\\\ud83d"])", R"(["\ufffd\u0041","\ufffd\n","\\\ufffd"])"},
        {R"({"\ud83d":"\ud8)", R"({"\ufffd":"\ud8)"},

        {R"(["\u-123","\ud83g","\u)", unchanged},
        {"\"\\", unchanged},
        {"", unchanged},
    };
    for (const auto& [json, within] : cases)
        EXPECT_EQ(withinJsonLimits(json).value_or(unchanged), within) << json;
}
