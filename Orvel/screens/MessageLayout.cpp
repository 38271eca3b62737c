#include "Orvel/screens/MessageLayout.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace orvel {

namespace {

// The lines that a text takes, no more than `most`.
double estimatedLines(std::string_view text, double charactersInLine, int most) {
    double lines = 0;
    while (lines < most) {
        const auto end = std::min(text.find('\n'), text.size());
        lines += std::max(1.0, std::ceil(static_cast<double>(end) / charactersInLine));
        if (end == text.size()) break;
        text.remove_prefix(end + 1);
    }
    return std::min<double>(lines, most);
}

} // namespace

void MessageLayout::reset(std::span<const Message> messages, const Metrics& newMetrics) {
    metrics = newMetrics;
    heights.clear();
    measured.clear();
    append(messages);
}

void MessageLayout::append(std::span<const Message> messages) {
    const auto before = heights.size();
    const auto charactersInLine = std::max(1.0, metrics.textWidth / std::max(1.0, metrics.characterWidth));
    const auto charactersShown = static_cast<std::size_t>(charactersInLine * metrics.foldedLines) + 1;
    for (const auto& message : messages) {
        const auto shown = std::string_view(message.text).substr(0, charactersShown);
        heights.push_back(metrics.around +
                          metrics.lineHeight * estimatedLines(shown, charactersInLine, metrics.foldedLines));
    }
    measured.resize(heights.size(), false);
    tops.resize(heights.size() + 1, 0);
    place(before);
}

std::size_t MessageLayout::rowAt(double y) const {
    const auto behind = std::upper_bound(tops.begin(), tops.end(), y) - tops.begin();
    return static_cast<std::size_t>(
        std::clamp<std::ptrdiff_t>(behind - 1, 0, static_cast<std::ptrdiff_t>(count()) - 1));
}

double MessageLayout::setHeight(std::size_t row, double height) {
    const auto difference = height - heights[row];
    heights[row] = height;
    measured[row] = true;
    if (difference != 0) place(row);
    return difference;
}

void MessageLayout::place(std::size_t from) {
    for (auto row = from; row < heights.size(); ++row) tops[row + 1] = tops[row] + heights[row];
}

} // namespace orvel
