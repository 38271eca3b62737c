#include "Orvel/accessibility/AccessibilityWalk.h"

#include <algorithm>
#include <array>
#include <utility>

namespace orvel::AccessibilityWalk {

Task<std::optional<Nodes>> descendants(AccessibilityReads& reads, AXElement root, std::size_t maximumElements,
                                       Rules rules) {
    const auto refuse = [rules](Refusal refusal) {
        if (rules.refusal) *rules.refusal = refusal;
        return std::nullopt;
    };
    static constexpr std::array<std::string_view, 2> attributes{"AXRole", "AXChildren"};
    const auto readAhead = reads.port().readAhead(root, attributes, maximumElements);
    AXElements queue{root};
    std::vector<std::size_t> parents{0};
    Nodes nodes;
    for (std::size_t next = 0; next < queue.size(); ++next) {
        if (queue.size() > maximumElements) co_return refuse(Refusal::tooManyElements);
        const auto element = queue[next];
        reads.bound(element);
        co_await reads.step();
        auto role = reads.string(element, "AXRole");
        if (!role && !rules.rolesMayBeMissing) co_return refuse(Refusal::noRole);
        co_await reads.step();
        const auto value = reads.value(element, "AXChildren");
        const auto* children = std::get_if<AXElements>(&value);
        if (!children && !isNothing(value)) co_return refuse(Refusal::noList);
        if (children) queue.insert(queue.end(), children->begin(), children->end());
        parents.resize(queue.size(), next);
        nodes.push_back({element, std::move(role).value_or(""), parents[next]});
    }
    co_return nodes;
}

Task<std::optional<AXElements>> elementsOfRole(AccessibilityReads& reads, AXElement root, std::string role,
                                               std::size_t maximumElements, Rules rules) {
    const std::vector<std::string> roles{role};
    auto found = co_await reads.port().search(root, roles, maximumElements);
    if (found) {
        for (const auto& element : *found) reads.bound(element);
        co_return found;
    }
    const auto nodes = co_await descendants(reads, root, maximumElements, rules);
    if (!nodes) co_return std::nullopt;
    AXElements elements;
    for (const auto& node : *nodes)
        if (node.role == role) elements.push_back(node.element);
    co_return elements;
}

AXElements ancestors(const Nodes& nodes, const AXElement& element) {
    const auto isIt = [&](const Node& node) { return node.element == element; };
    const auto found = std::find_if(nodes.begin(), nodes.end(), isIt);
    if (found == nodes.end()) return {};
    AXElements above;
    for (auto place = static_cast<std::size_t>(found - nodes.begin()); place != 0;) {
        place = nodes[place].parent;
        above.push_back(nodes[place].element);
    }
    return above;
}

} // namespace orvel::AccessibilityWalk
