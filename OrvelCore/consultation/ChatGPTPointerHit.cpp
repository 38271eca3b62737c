#include "OrvelCore/consultation/ChatGPTPointerHit.h"

#include <cmath>

namespace orvel::ChatGPTPointerHit {

namespace {

bool hasExtent(const Frame& frame) {
    return std::isfinite(frame.x) && std::isfinite(frame.y) && std::isfinite(frame.width) &&
           std::isfinite(frame.height) && frame.width > 0 && frame.height > 0;
}

bool contains(const Frame& outer, const Frame& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.x + inner.width <= outer.x + outer.width &&
           inner.y + inner.height <= outer.y + outer.height;
}

} // namespace

std::optional<Point> pointerPoint(const Frame& control, const Frame& window) {
    if (!hasExtent(control) || !hasExtent(window) || !contains(window, control)) return std::nullopt;
    return Point{control.x + control.width / 2, control.y + control.height / 2};
}

Decision decide(const Hit& hit) {
    if (!hit.isSameProcess) return Decision::rejected;
    if (hit.isSameTarget) return hit.role == "AXButton" ? Decision::exact : Decision::rejected;
    if (hit.isBelowTarget) return Decision::exact;
    const bool isContainer = hit.role == "AXGroup" || hit.role == "AXWebArea" || hit.role == "AXScrollArea";
    return hit.isAboveTarget && hit.isInWeb && isContainer ? Decision::pendingAncestor : Decision::rejected;
}

FixedWords nameOf(Decision decision) {
    switch (decision) {
    case Decision::exact: return "exact";
    case Decision::pendingAncestor: return "pendingAncestor";
    case Decision::rejected: break;
    }
    return "rejected";
}

} // namespace orvel::ChatGPTPointerHit
