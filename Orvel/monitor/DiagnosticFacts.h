#pragma once
// What is noted of one Return for diagnostics, a line for each fact: results and kinds, never contents.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <deque>

namespace orvel {

class DiagnosticFacts {
  public:
    static constexpr std::size_t capacity = 40;

    /// Notes a fact, unless there are too many already.
    void add(const DiagnosticText& fact) {
        if (lines.size() < capacity) lines.push_back(fact);
    }

    /// Notes a fact in any case, for which the oldest ones go until at most `others` of them stand before it.
    void addSurely(const DiagnosticText& fact, std::size_t others = capacity - 1) {
        while (lines.size() > others) lines.pop_front();
        lines.push_back(fact);
    }

    void clear() { lines.clear(); }

    /// One line for each fact.
    DiagnosticText text() const {
        DiagnosticText joined;
        for (const auto& line : lines) {
            if (!joined.text().empty()) joined += DiagnosticText("\n");
            joined += line;
        }
        return joined;
    }

    const std::deque<DiagnosticText>& all() const { return lines; }

  private:
    std::deque<DiagnosticText> lines;
};

} // namespace orvel
