#pragma once
// Stand-ins for the user interfaces of other programs.

#include "FakeObjects.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace orvel::macfake {

/// An element of another program. AXRole, AXChildren and AXParent follow from it; a status in place of a
/// value is what a read of that attribute reports.
struct Node : std::enable_shared_from_this<Node> {
    using Shared = std::shared_ptr<Node>;

    Node(pid_t process, std::string role) : process(process) { attributes["AXRole"] = std::move(role); }

    Shared append(const std::string& role);
    bool covers(CGPoint point) const;

    const pid_t process;
    std::map<std::string, FakeValue> attributes;
    std::vector<std::string> actions;
    std::vector<Shared> children;
    std::weak_ptr<Node> parent;
    bool isGone = false;
    /// Takes what is written, which is an object of the caller's; without it nothing can be written.
    std::function<AXError(const std::string& attribute, const Object& value)> write;
    std::function<void(const std::string& action)> perform;
};

struct ElementObject : Object {
    static constexpr auto itsKind = Kind::element;
    explicit ElementObject(Node::Shared node) : Object(itsKind), node(std::move(node)) {}
    bool equals(const Object& other) const override {
        return node == static_cast<const ElementObject&>(other).node;
    }
    std::size_t hash() const override { return std::hash<const Node*>()(node.get()); }

    const Node::Shared node;                             ///< Null for the whole screen.
    std::optional<std::chrono::duration<float>> timeout; ///< Of this reference, and of no other.
};

struct AXValueObject : Object {
    static constexpr auto itsKind = Kind::axValue;
    using Value = std::variant<CGPoint, CGSize, CGRect, CFRange>; ///< In the order of their type numbers.
    explicit AXValueObject(Value value) : Object(itsKind), value(value) {}
    const Value value;
};

} // namespace orvel::macfake
