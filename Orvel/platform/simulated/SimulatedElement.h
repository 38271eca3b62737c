#pragma once
// An element in the user interface of a simulated application: attributes by name, and a place in a tree.

#include "Orvel/desktop/Accessibility.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvel {

/// Is its own identity: a handle on it is equal to no other element's, and stays after it was removed.
class SimulatedElement : public AXIdentity, public std::enable_shared_from_this<SimulatedElement> {
  public:
    using Shared = std::shared_ptr<SimulatedElement>;

    /// Numbers make traces readable; they grow in the order in which elements are made.
    SimulatedElement(std::uint64_t number, std::string_view role) : number(number) {
        set("AXRole", std::string(role));
    }

    bool equals(const AXIdentity& other) const override { return this == &other; }
    AXElement handle() { return AXElement(shared_from_this()); }

    // Attributes. Those of the tree follow from it.

    void set(std::string_view name, AXValue value);
    void unset(std::string_view name);
    /// Its value, or null if the element has none of that name.
    const AXValue* find(std::string_view name) const;
    /// Text of an attribute, empty if there is none.
    std::string text(std::string_view name) const;

    // The tree

    void append(const Shared& child) { insert(children.size(), child); }
    void insert(std::size_t place, const Shared& child);
    /// Hands all below it to another element.
    void moveChildren(SimulatedElement& to);
    /// Takes the element out of its parent; it and all below it are no more.
    void remove();
    bool isRemoved() const { return gone; }
    SimulatedElement* parent() const { return above; }
    const std::vector<Shared>& below() const { return children; }

    const std::uint64_t number;
    /// What a read of an attribute gives in place of its value, by name: a status, or another value.
    std::vector<std::pair<std::string, AXStatus>> statuses;
    std::map<std::string, AXValue, std::less<>> overrides;
    /// Bounds calls on it; 0 for the platform's own bound.
    std::chrono::milliseconds messagingTimeout{0};
    /// Calls on it and on all below it take so much longer.
    std::chrono::nanoseconds slowness{0};
    /// Takes a written value; without it the element can't be written.
    std::function<AXStatus(std::string_view name, const AXValue& value)> write;
    /// Does an action; without it the element has none.
    std::function<AXStatus(std::string_view action)> perform;
    /// What a click does, of an application that takes clicks.
    std::function<void()> click;
    /// Whether a hit test finds it, which may be some time after it was drawn.
    bool isHittable = true;
    /// Whether it has a place on the screen that holds the point.
    bool covers(AXPoint point) const;

  private:
    void forget();

    std::vector<std::pair<std::string, AXValue>> attributes;
    std::vector<Shared> children;
    SimulatedElement* above = nullptr;
    bool gone = false;
};

} // namespace orvel
