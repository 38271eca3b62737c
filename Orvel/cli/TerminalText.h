#pragma once
// Text for a terminal: nothing in it that the terminal would obey, columns that stand under each other,
// colour where it is wanted.

#include "OrvelCore/conversations/Agent.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// The text with control characters made visible, line feeds and tabs aside. Bytes that are no UTF-8 become
/// U+FFFD.
std::string visibleText(std::string_view text);

/// The text as one line: line ends, tabs and characters that turn the direction of writing are made visible
/// as well.
std::string visibleLine(std::string_view text);

/// How many columns of a terminal the text takes. It is UTF-8 without control characters.
std::size_t columnCount(std::string_view text);

/// The text, or as much of its beginning as leaves a column for "…".
std::string fittedToColumns(std::string text, std::size_t columns);

/// The text in lines of at most so many columns, broken at blanks where there are any. It is UTF-8 without
/// control characters but line feeds.
std::string wrappedToColumns(std::string_view text, std::size_t columns);

enum class TextStyle { plain, strong, faint, codex, claude };

constexpr TextStyle styleOf(Agent agent) {
    return agent == Agent::codex ? TextStyle::codex : TextStyle::claude;
}

/// Puts the terminal's styles round texts, or leaves them as they are.
class Stylist {
  public:
    explicit Stylist(bool usesStyles) : usesStyles(usesStyles) {}

    std::string operator()(TextStyle style, std::string_view text) const;

  private:
    bool usesStyles;
};

/// Rows whose cells stand in columns.
class TextTable {
  public:
    struct Cell {
        std::string text; ///< Any text; shown as a visible line.
        TextStyle style = TextStyle::plain;
        std::size_t mostColumns = std::string::npos; ///< A longer text is cut.
    };

    /// All rows have the same number of cells.
    void add(std::vector<Cell> row);

    /// One line a row. The last cell of a row is not padded.
    std::string text(const Stylist& stylist) const;

  private:
    std::vector<std::vector<Cell>> rows;
};

} // namespace orvel
