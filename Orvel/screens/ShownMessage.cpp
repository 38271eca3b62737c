#include "Orvel/screens/ShownMessage.h"

#include <algorithm>

#include <QStringList>

namespace orvel {

namespace {

constexpr QLatin1Char tick('`');

qsizetype ticksAt(const QString& line, qsizetype from) {
    auto end = from;
    while (end < line.size() && line[end] == tick) ++end;
    return end - from;
}

// Where the ticks stand that end what so many ticks began; -1 if nothing ends it.
qsizetype closingTicks(const QString& line, qsizetype from, qsizetype count) {
    for (auto at = line.indexOf(tick, from); at >= 0; at = line.indexOf(tick, at)) {
        const auto found = ticksAt(line, at);
        if (found == count) return at;
        at += found;
    }
    return -1;
}

// A blank at both ends only keeps the code apart from its ticks.
QString withoutMargins(const QString& code) {
    const bool hasMargins = code.startsWith(QLatin1Char(' ')) && code.endsWith(QLatin1Char(' '));
    return hasMargins && !code.trimmed().isEmpty() ? code.mid(1, code.size() - 2) : code;
}

void addLine(const QString& line, ShownMessage& shown) {
    for (qsizetype at = 0; at < line.size();) {
        const auto begin = line.indexOf(tick, at);
        if (begin < 0) {
            shown.text += line.mid(at);
            return;
        }
        const auto count = ticksAt(line, begin);
        const auto end = closingTicks(line, begin + count, count);
        if (end < 0) {
            shown.text += line.mid(at, begin + count - at);
            at = begin + count;
            continue;
        }
        shown.text += line.mid(at, begin - at);
        const auto start = shown.text.size();
        shown.text += withoutMargins(line.mid(begin + count, end - begin - count));
        shown.spans.push_back({start, shown.text.size()});
        at = end + count;
    }
}

} // namespace

ShownMessage ShownMessage::of(const QString& text) {
    const QLatin1String fence("```");
    ShownMessage shown;
    bool isInCode = false;
    for (const auto& line : text.split(QLatin1Char('\n'))) {
        const auto words = line.trimmed();
        // Behind its ticks a fence has no others; a line that has is code of its own.
        const bool isFence = words.startsWith(fence) && words.lastIndexOf(tick) < ticksAt(words, 0);
        if (!isFence) {
            if (isInCode)
                shown.text += line;
            else
                addLine(line, shown);
            shown.text += QLatin1Char('\n');
            continue;
        }
        if (isInCode)
            shown.blocks.back().end = shown.text.size();
        else
            shown.blocks.push_back({shown.text.size(), 0});
        isInCode = !isInCode;
    }
    shown.text.chop(1);
    if (isInCode) shown.blocks.back().end = shown.text.size();
    for (auto& block : shown.blocks) block.end = std::min(block.end, shown.text.size());
    std::erase_if(shown.blocks, [](const Range& block) { return block.start >= block.end; });
    return shown;
}

} // namespace orvel
