#pragma once
// The text of a message as the list shows it: code stands without the marks around it.

#include <vector>

#include <QString>

namespace orvel {

struct ShownMessage {
    /// From `start` up to, not including, `end`; neither is empty.
    struct Range {
        qsizetype start = 0, end = 0;

        bool operator==(const Range&) const = default;
    };

    QString text;
    std::vector<Range> blocks; ///< Whole lines that stood between fences. An open fence reaches to the end.
    std::vector<Range> spans;  ///< Words within a line that stood between backticks, as many as begin them.

    static ShownMessage of(const QString& text);
};

} // namespace orvel
