#pragma once
// Access to an application's elements for recognising composers: by number, one read at a time, so that only
// what a decision needs is read.

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

using NodeID = int;
using Names = std::span<const std::string_view>;

/// Reads the elements of one application. An element always has the same number; the focused one has 0.
template <typename Node>
class ComposerTree {
  public:
    static constexpr NodeID focused = 0;

    virtual ~ComposerTree() = default;

    /// The element; nothing if it can't be read.
    virtual std::optional<Node> readNode(NodeID id) = 0;

    /// The children in order; nothing if they can't be read. May stop one child beyond the limit of the
    /// inspection, which rejects the element anyway.
    virtual std::optional<std::vector<NodeID>> readChildren(NodeID id) = 0;
};

inline bool isOneOf(std::string_view name, Names names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

inline bool holds(const std::vector<std::string>& texts, std::string_view text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

inline bool holdsOneOf(const std::vector<std::string>& texts, Names names) {
    return std::any_of(texts.begin(), texts.end(), [&](const auto& text) { return isOneOf(text, names); });
}

/// Whether the element is a dialog, by its role or its subrole.
inline bool isDialog(std::string_view role, const std::optional<std::string>& subrole) {
    return role == "AXSheet" || role == "AXDialog" || subrole == "AXDialog" || subrole == "AXSystemDialog";
}

/// Whether the elements from here up belong to no page.
inline bool isBoundary(std::string_view role) {
    return role == "AXWindow" || role == "AXApplication";
}

} // namespace orvel
