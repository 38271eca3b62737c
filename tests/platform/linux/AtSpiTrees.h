#pragma once
// Whole trees as the readers above read them, with a platform's hints or without.

#include "Finish.h"

#include "Orvel/accessibility/AccessibilityWalk.h"
#include "Orvel/platform/linux/AtSpiAccessibility.h"
#include "Orvel/platform/linux/AtSpiElement.h"

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

/// Leaves the hints out.
class UnhintedAccessibility : public AtSpiAccessibility {
  public:
    using AtSpiAccessibility::AtSpiAccessibility;
    std::unique_ptr<AXReadAhead> readAhead(const AXElement& /*root*/,
                                           std::span<const std::string_view> /*names*/,
                                           std::size_t /*limit*/) override {
        return nullptr;
    }
    Task<std::optional<AXElements>> search(AXElement /*root*/, std::vector<std::string> /*roles*/,
                                           std::size_t /*limit*/) override {
        co_return std::nullopt;
    }
};

/// Runs a task to its end.
template <typename Loop, typename T>
T finished(Loop& loop, Task<T> work) {
    struct Kept {
        static Task<void> in(std::optional<T>& result, Task<T> work) {
            auto value = co_await work;
            result.emplace(std::move(value));
        }
    };
    std::optional<T> result;
    finish(loop, Kept::in(result, std::move(work)));
    return *std::move(result);
}

inline std::string described(const AXElement& element) {
    const auto* known = dynamic_cast<const AtSpiElement*>(&element.identity());
    return known ? known->object.path : "?";
}

/// A line for each element with its parent's number, role and value, as a snapshot reads them; none if the
/// walk came to nothing.
inline Task<std::vector<std::string>> readTree(MainLoop& loop, Accessibility& port, AXElement root,
                                               std::size_t limit) {
    static constexpr std::array<std::string_view, 1> value{"AXValue"};
    AccessibilityReads reads(loop, port, std::chrono::milliseconds(1'000));
    auto walk = AccessibilityWalk::descendants(reads, root, limit);
    const auto nodes = co_await walk;
    std::vector<std::string> lines;
    if (!nodes) co_return lines;
    const auto ahead = port.readAhead(root, value, limit);
    for (const auto& node : *nodes) {
        auto step = reads.step();
        co_await step;
        const auto text = reads.string(node.element, "AXValue");
        lines.push_back(std::to_string(node.parent) + " " + described(node.element) + " " + node.role + " " +
                        text.value_or("-"));
    }
    co_return lines;
}

/// The elements with a role, as a walk or a search finds them.
inline Task<std::vector<std::string>> readRole(MainLoop& loop, Accessibility& port, AXElement root,
                                               std::string role, std::size_t limit) {
    AccessibilityReads reads(loop, port, std::chrono::milliseconds(1'000));
    auto search = AccessibilityWalk::elementsOfRole(reads, root, role, limit);
    const auto found = co_await search;
    std::vector<std::string> lines;
    if (!found) co_return lines;
    for (const auto& element : *found) lines.push_back(described(element));
    co_return lines;
}

} // namespace orvel
