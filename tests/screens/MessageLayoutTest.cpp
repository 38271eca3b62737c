// Where the messages of a list are, while most of their heights are only guessed.

#include "Orvel/screens/MessageLayout.h"

#include <string>

using namespace orvel;
constexpr MessageLayout::Metrics metrics{
    .textWidth = 100, .characterWidth = 10, .lineHeight = 20, .around = 5, .foldedLines = 3};

TEST(MessageLayoutTest, GuessesHeightsFromTheTextThatIsShown) {
    const std::vector<Message> messages{{"1", "user", "short"},
                                        {"2", "user", "two\nlines"},
                                        {"3", "user", "wraps once at ten"},
                                        {"4", "user", std::string(5000, 'x')},
                                        {"5", "user", std::string(5000, '\n')}};
    MessageLayout layout;
    layout.reset(messages, metrics);
    std::vector<double> heights;
    for (std::size_t row = 0; row < layout.count(); ++row) heights.push_back(layout.heightOf(row));
    EXPECT_EQ(heights, (std::vector<double>{25, 45, 45, 65, 65}));
    EXPECT_EQ(layout.totalHeight(), 245);
}

TEST(MessageLayoutTest, MeasuredHeightsMoveWhatFollows) {
    const std::vector<Message> messages(1000, {"1", "user", "x"});
    MessageLayout layout;
    layout.reset(messages, metrics);
    EXPECT_EQ(layout.setHeight(10, 125), 100);
    EXPECT_TRUE(layout.isMeasured(10));
    EXPECT_EQ(layout.topOf(10), 250);
    EXPECT_EQ(layout.topOf(11), 375);
    EXPECT_EQ(layout.totalHeight(), 25'100);
    const std::vector<std::pair<double, std::size_t>> rows{{-50, 0},  {24.9, 0},     {25, 1},   {374, 10},
                                                           {375, 11}, {25'099, 999}, {1e9, 999}};
    for (const auto& [y, row] : rows) EXPECT_EQ(layout.rowAt(y), row) << y;
}
