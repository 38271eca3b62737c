#pragma once
// What the tree of an application's interface looks like, without anything that stands in it: kinds of
// elements, which of the attributes that Orvel reads they have, and how they lie in each other. For people to
// send to somebody else.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <cstddef>
#include <string_view>
#include <vector>

namespace orvel {

/// All texts are of this program's own lists, whatever the application has said: what is not in them is
/// "other", and what is not there is empty.
struct ElementShape {
    std::size_t depth = 0;
    std::string_view role, subrole;
    /// Not all of them need be in the tree: see `isCut`.
    std::size_t children = 0;
    /// As "AXValue text", of those that have a value.
    struct Attribute {
        std::string_view name, kind;
    };
    std::vector<Attribute> attributes;
    std::vector<std::string_view> classes; ///< Of those by which editors are recognised.
    AXStatus status = AXStatus::success;   ///< Of the reading of role and children that failed first.
};

struct TreeShape {
    std::vector<ElementShape> elements; ///< Each before what lies in it.
    bool isCut = false;                 ///< It is larger or slower than the limits, or very deep.
};

struct TreeShapeLimits {
    std::size_t elements = 20'000, depth = 200;
    std::chrono::milliseconds answer{300}; ///< Of one element.
    std::chrono::seconds whole{30};
};

/// Reads alone. The loop and the port outlive the task.
Task<TreeShape> shapeOf(MainLoop& loop, Accessibility& accessibility, AXElement root,
                        TreeShapeLimits limits = {});

} // namespace orvel
