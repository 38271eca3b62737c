#include "Orvel/cli/TerminalText.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace orvel {

namespace {

constexpr std::string_view replacement = "\uFFFD";

// Calls `visit` with every character of valid UTF-8 and the piece of the text that it is.
template <typename Visit>
void forEachCharacter(std::string_view text, Visit visit) {
    const auto* data = reinterpret_cast<const std::uint8_t*>(text.data());
    for (std::size_t at = 0; at < text.size();) {
        const auto begin = at;
        UChar32 character = 0;
        U8_NEXT_UNSAFE(data, at, character);
        visit(character, text.substr(begin, at - begin));
    }
}

bool isControl(UChar32 character) {
    return u_charType(character) == U_CONTROL_CHAR;
}

// Characters that break a line or let what follows stand elsewhere than where it belongs.
bool disturbsLine(UChar32 character) {
    return character == 0x2028 || character == 0x2029 || (character >= 0x202A && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

// Unicode has a picture for every control character of ASCII.
void appendPicture(std::string& text, UChar32 character) {
    if (character > 0x7F) {
        text += replacement;
        return;
    }
    const auto picture = static_cast<unsigned>(character == 0x7F ? 0x21 : character);
    text += "\xE2\x90";
    text += static_cast<char>(0x80 | picture);
}

template <typename Disturbs>
std::string visible(std::string_view text, Disturbs disturbs) {
    std::string shown;
    forEachCharacter(displayable(text), [&](UChar32 character, std::string_view piece) {
        if (disturbs(character))
            appendPicture(shown, character);
        else
            shown += piece;
    });
    return shown;
}

std::size_t columnCount(UChar32 character) {
    switch (u_charType(character)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR: return 0;
    default: break;
    }
    const auto width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::string_view sequence(TextStyle style) {
    switch (style) {
    case TextStyle::plain: return "";
    case TextStyle::strong: return "\x1b[1m";
    case TextStyle::faint: return "\x1b[2m";
    case TextStyle::codex: return "\x1b[36m";
    case TextStyle::claude: return "\x1b[33m";
    }
    return "";
}

} // namespace

std::string visibleText(std::string_view text) {
    return visible(text, [](UChar32 c) { return isControl(c) && c != '\n' && c != '\t'; });
}

std::string visibleLine(std::string_view text) {
    return visible(text, [](UChar32 c) { return isControl(c) || disturbsLine(c); });
}

std::size_t columnCount(std::string_view text) {
    std::size_t count = 0;
    forEachCharacter(text, [&](UChar32 character, std::string_view) { count += columnCount(character); });
    return count;
}

std::string fittedToColumns(std::string text, std::size_t columns) {
    if (columnCount(text) <= columns) return text;
    std::size_t taken = 0, kept = 0;
    bool isFull = false;
    forEachCharacter(text, [&](UChar32 character, std::string_view piece) {
        taken += columnCount(character);
        isFull = isFull || taken >= columns;
        if (!isFull) kept += piece.size();
    });
    text.resize(kept);
    return text += "…";
}

std::string wrappedToColumns(std::string_view text, std::size_t columns) {
    std::string lines;
    std::size_t begin = 0, blank = 0, taken = 0; // Of the line under way; without a blank both are equal.
    forEachCharacter(text, [&](UChar32 character, std::string_view piece) {
        if (character == '\n') {
            taken = 0;
            begin = blank = lines.size() + 1;
        } else if (taken + columnCount(character) > columns && lines.size() > begin) {
            if (character == ' ') {
                taken = 0;
                begin = blank = lines.size() + 1;
                lines += '\n';
                return;
            }
            if (blank > begin)
                lines[blank] = '\n';
            else
                lines += '\n', blank = lines.size() - 1;
            begin = blank = blank + 1;
            taken = columnCount(std::string_view(lines).substr(begin));
        } else if (character == ' ') {
            blank = lines.size();
        }
        if (character != '\n') taken += columnCount(character);
        lines += piece;
    });
    return lines;
}

std::string Stylist::operator()(TextStyle style, std::string_view text) const {
    if (!usesStyles || style == TextStyle::plain) return std::string(text);
    return std::string(sequence(style)) + std::string(text) + "\x1b[0m";
}

void TextTable::add(std::vector<Cell> row) {
    for (auto& cell : row) cell.text = fittedToColumns(visibleLine(cell.text), cell.mostColumns);
    rows.push_back(std::move(row));
}

std::string TextTable::text(const Stylist& stylist) const {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(row.size());
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], columnCount(row[i].text));
    }
    std::string lines;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            lines += stylist(row[i].style, row[i].text);
            const bool isLast = i + 1 == row.size();
            if (!isLast) lines.append(widths[i] - columnCount(row[i].text) + 2, ' ');
        }
        lines += '\n';
    }
    return lines;
}

} // namespace orvel
