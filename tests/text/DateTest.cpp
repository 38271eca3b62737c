#include "OrvelCore/text/Date.h"

#include <gtest/gtest.h>

using namespace orvel;

TEST(DateTest, IsReadFromTheTextsInWhichTheAgentsWriteTimes) {
    constexpr Date known = 1'800'000'000 - referenceDateInUnixTime; // 15 January 2027, 08:00 UTC.
    for (const auto* text : {"2027-01-15T08:00:00Z", "2027-01-15T08:00:00.000Z", "2027-01-15T17:00:00+09:00",
                             "2027-01-14T22:30:00-09:30"})
        EXPECT_EQ(dateFromText(text), known) << text;
    EXPECT_NEAR(dateFromText("2027-01-15T08:00:00.125Z").value_or(0), known + 0.125, 1e-6);
    EXPECT_EQ(dateFromText("2001-01-01T00:00:00Z"), 0);
    for (const auto* text :
         {"", "2027-01-15", "2027-01-15T08:00:00", "2027-01-15 08:00:00Z", "2027-13-15T08:00:00Z",
          "2027-02-29T08:00:00Z", "2027-01-15T24:00:00Z", "2027-01-15T08:60:00Z", "2027-01-15T08:00:61Z",
          "2027-01-15T08:00:00Zx", "2027-01-15T08:00:00+9", "-027-01-15T08:00:00Z", "2027-01-15T08:00:-1Z"})
        EXPECT_EQ(dateFromText(text), std::nullopt) << text;
}
