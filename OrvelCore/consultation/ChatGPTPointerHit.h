#pragma once
// Where a control is clicked, and whether what lies there is that control.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <optional>
#include <string>

namespace orvel::ChatGPTPointerHit {

/// In points.
struct Point {
    double x = 0, y = 0;
    bool operator==(const Point&) const = default;
};

/// In points, from the corner of the least coordinates.
struct Frame {
    double x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Frame&) const = default;
};

/// The centre of the control; nothing unless both frames have an extent and the window contains the control.
std::optional<Point> pointerPoint(const Frame& control, const Frame& window);

/// How the element that lies at the point is related to the control and to the page.
struct Hit {
    bool isSameProcess = false, isSameTarget = false;
    bool isBelowTarget = false, isAboveTarget = false; ///< A descendant, an ancestor of the control.
    bool isInWeb = false;                              ///< Within the page.
    std::string role;
};

enum class Decision {
    exact,
    pendingAncestor, ///< The page has drawn the control, and the search at the point doesn't know it yet.
    rejected
};

Decision decide(const Hit& hit);

FixedWords nameOf(Decision decision);

} // namespace orvel::ChatGPTPointerHit
