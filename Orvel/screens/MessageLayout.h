#pragma once
// How tall the messages of a list are, and which of them a place in the list shows. Heights are estimated
// until a message is first seen, so that a conversation of any length shows at once.

#include "OrvelCore/conversations/Conversation.h"

#include <cstddef>
#include <span>
#include <vector>

namespace orvel {

class MessageLayout {
  public:
    /// What the estimates need to know of the screen, in pixels.
    struct Metrics {
        double textWidth = 1;
        double characterWidth = 1; ///< On average.
        double lineHeight = 1;
        double around = 0; ///< What a message takes beside its lines.
        int foldedLines = 1;
    };

    void reset(std::span<const Message> messages, const Metrics& newMetrics);

    /// Takes on messages behind the others, whose heights stay as they are.
    void append(std::span<const Message> messages);

    std::size_t count() const { return heights.size(); }
    double totalHeight() const { return tops.empty() ? 0 : tops.back(); }
    double topOf(std::size_t row) const { return tops[row]; }
    double heightOf(std::size_t row) const { return heights[row]; }
    bool isMeasured(std::size_t row) const { return measured[row]; }

    /// The row at the distance from the list's top; the nearest one outside of the list. The list is not
    /// empty.
    std::size_t rowAt(double y) const;

    /// Notes the true height of a row; gives by how much it differs from what was assumed.
    double setHeight(std::size_t row, double height);

    /// Forgets that the row was measured, since it is going to change.
    void forget(std::size_t row) { measured[row] = false; }

  private:
    void place(std::size_t from);

    Metrics metrics;
    std::vector<double> heights;
    std::vector<double> tops; // One more than rows: the last is the total.
    std::vector<bool> measured;
};

} // namespace orvel
