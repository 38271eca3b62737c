#include "Orvel/model/RelativeTime.h"

using namespace orvel;

TEST(RelativeTimeTest, SaysHowLongAgoInTheDaysOfThePerson) {
    // Wednesday, 5 March 2025, 01:30 UTC.
    constexpr Date now = 1'741'138'200 - referenceDateInUnixTime;
    constexpr Date minute = 60, hour = 3600, day = 86'400;
    for (const auto& [age, utcOffset, text] : std::initializer_list<std::tuple<Date, long, const char*>>{
             {-5 * day, 0, "now"}, // A clock that was wrong.
             {59, 0, "now"},
             {minute, 0, "1 min"},
             {59.9 * minute, 0, "59 min"},
             {hour, 0, "1 h"},
             {2 * hour, 0, "yesterday"},
             {2 * hour, 3600, "2 h"}, // Where it is 02:30, it was 00:30.
             {26 * hour, 0, "Monday"},
             {26 * hour, 3600, "yesterday"},
             {6 * day, 0, "Thursday"},
             {7 * day, 0, "26 Feb"},
             {63 * day, 0, "1 Jan"},
             {64 * day, 0, "31 Dec 2024"},
             {64 * day, -3 * 3600, "30 Dec 2024"},
         })
        EXPECT_EQ(relativeTime(now - age, now, utcOffset), text) << age;
}

TEST(RelativeTimeTest, SaysWhenAMessageWasWrittenAndWhichDayWhereItIsAnother) {
    // Wednesday, 5 March 2025, 01:30 UTC.
    constexpr Date now = 1'741'138'200 - referenceDateInUnixTime;
    constexpr Date hour = 3600, day = 86'400;
    const auto inLondon = [](Date) { return 0L; };
    // An hour ahead, from midnight on two.
    const auto whereClocksChange = [](Date date) { return date < now - 1.5 * hour ? 3600L : 7200L; };
    EXPECT_EQ(timeOfMessage(now - hour, now, inLondon), "00:30");
    EXPECT_EQ(timeOfMessage(now - 2 * hour, now, inLondon), "4 Mar 23:30");
    EXPECT_EQ(timeOfMessage(now - hour, now, whereClocksChange), "02:30");
    EXPECT_EQ(timeOfMessage(now - 2 * hour, now, whereClocksChange), "00:30");
    EXPECT_EQ(timeOfMessage(now - 64 * day, now, inLondon), "31 Dec 2024");
}
