#pragma once
// Walks over the elements of another program's window, bounded in their number. A tree that is too large, or
// whose roles and children aren't what they must be, gives no result rather than a part of one. An element's
// role is read before its children.

#include "Orvel/accessibility/AccessibilityReads.h"
#include "Orvel/runtime/Task.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvel::AccessibilityWalk {

/// An element that a walk has met.
struct Node {
    AXElement element;
    std::string role;   ///< Empty where there is none, if that is allowed.
    std::size_t parent; ///< Its index among the nodes; the root's own index is its parent.
};

using Nodes = std::vector<Node>;

/// Why a walk gives no result.
enum class Refusal { tooManyElements, noRole, noList };

/// What a walk bears with.
struct Rules {
    bool rolesMayBeMissing = false;
    Refusal* refusal = nullptr; ///< Told why there is no result; outlives the task.
};

/// `root` and its descendants, breadth-first. Throws AccessibilityReadFailure. `reads` outlives the task.
Task<std::optional<Nodes>> descendants(AccessibilityReads& reads, AXElement root, std::size_t maximumElements,
                                       Rules rules = {});

/// The elements with this role among `root` and its descendants, breadth-first. Has the platform search for
/// them if it can. Throws AccessibilityReadFailure. `reads` outlives the task.
Task<std::optional<AXElements>> elementsOfRole(AccessibilityReads& reads, AXElement root, std::string role,
                                               std::size_t maximumElements, Rules rules = {});

/// The ancestors of an element within a walk, its parent first and the root last. Empty if the walk has not
/// met it.
AXElements ancestors(const Nodes& nodes, const AXElement& element);

} // namespace orvel::AccessibilityWalk
