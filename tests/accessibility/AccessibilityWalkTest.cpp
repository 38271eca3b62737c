// Walks and reads over a tree of elements: what they find, what they refuse, and how they are bounded.

#include "Orvel/accessibility/AccessibilityWalk.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedScreen.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

template <typename T>
Task<void> keep(Task<T> work, std::optional<T>& result, std::optional<AXStatus>& failure) {
    try {
        result = co_await work;
    } catch (const AccessibilityReadFailure& error) {
        failure = error.status();
    }
}

// A root with two children, the first of which has two of its own.
struct AccessibilityWalkTest : testing::Test {
    using Element = SimulatedElement::Shared;

    AccessibilityWalkTest() {
        root->append(group);
        root->append(tree.makeElement("AXButton"));
        group->append(tree.makeElement("AXButton"));
        group->append(deepest);
    }

    template <typename T>
    std::optional<T> run(Task<T> work) {
        std::optional<T> result;
        failure.reset();
        TaskScope tasks;
        tasks.start(keep(std::move(work), result, failure));
        loop.run();
        return result;
    }
    std::string walked(std::size_t maximumElements) {
        const auto nodes = run(AccessibilityWalk::descendants(reads, root->handle(), maximumElements));
        if (!nodes) return "failed";
        if (!*nodes) return "refused";
        std::string roles;
        for (const auto& node : **nodes) roles += node.role.substr(2) + std::to_string(node.parent) + " ";
        return roles;
    }

    SimulatedLoop loop;
    SimulatedScreen screen{loop};
    SimulatedAccessibility& tree = screen.accessibility;
    AccessibilityReads reads{loop, tree, 30ms};
    Element root = tree.makeElement("AXWindow"), group = tree.makeElement("AXGroup"),
            deepest = tree.makeElement("AXTextArea");
    std::optional<AXStatus> failure;
};

TEST_F(AccessibilityWalkTest, GoesBreadthFirstUpToItsLimit) {
    EXPECT_EQ(walked(5), "Window0 Group0 Button0 Button1 TextArea1 ");
    EXPECT_EQ(walked(4), "refused");
}

TEST_F(AccessibilityWalkTest, BoundsEveryReadAndHoldsTheLoopNoLongerThanAPace) {
    for (int i = 0; i < 300; ++i) group->append(tree.makeElement("AXGroup"));
    tree.ownBound = 0ms; // A read that nobody bounded fails.
    EXPECT_NE(walked(1'000), "failed");
    EXPECT_EQ(deepest->messagingTimeout, 30ms);
    EXPECT_LT(loop.longestHold().duration, Pace::maximumHold + tree.latency.worst);
    EXPECT_GT(loop.uptime(), 2 * Pace::maximumHold) << "there was something to divide";
}

TEST_F(AccessibilityWalkTest, RefusesUnknownShapesAndThrowsForFailedReads) {
    deepest->statuses = {{"AXChildren", AXStatus::noValue}};
    EXPECT_NE(walked(5), "refused") << "an element without children";
    deepest->set("AXRole", true);
    EXPECT_EQ(walked(5), "refused");
    deepest->unset("AXRole");
    EXPECT_EQ(walked(5), "refused");
    deepest->statuses = {{"AXRole", AXStatus::failure}};
    EXPECT_EQ(walked(5), "failed");
    EXPECT_EQ(failure, AXStatus::failure);
}

TEST_F(AccessibilityWalkTest, FindsTheSameBySearchAndByWalk) {
    const auto buttons = [&](std::size_t maximumElements) {
        return run(AccessibilityWalk::elementsOfRole(reads, root->handle(), "AXButton", maximumElements));
    };
    const auto byWalk = buttons(5);
    const auto readsOfWalk = tree.reads();
    tree.supportsSearch = true;
    const auto bySearch = buttons(5);
    EXPECT_EQ(tree.reads(), readsOfWalk);
    ASSERT_TRUE(byWalk && *byWalk && bySearch);
    EXPECT_EQ((*byWalk)->size(), 2U);
    EXPECT_TRUE(byWalk == bySearch);
    EXPECT_FALSE(*buttons(4)) << "too many for the search, and for the walk that follows";
}

TEST_F(AccessibilityWalkTest, TellsTheAncestorsOfAnElement) {
    const auto nodes = run(AccessibilityWalk::descendants(reads, root->handle(), 5));
    const AXElements expected{group->handle(), root->handle()};
    EXPECT_TRUE(AccessibilityWalk::ancestors(**nodes, deepest->handle()) == expected);
    EXPECT_TRUE(AccessibilityWalk::ancestors(**nodes, root->handle()).empty());
    const auto stranger = tree.makeElement("AXGroup");
    EXPECT_TRUE(AccessibilityWalk::ancestors(**nodes, stranger->handle()).empty());
}

TEST_F(AccessibilityWalkTest, TellsOfFailedReadsAndNotOfMissingValues) {
    std::vector<std::string> told;
    const AccessibilityReads owned(loop, tree, 30ms, [&](std::string_view attribute, AXStatus status) {
        told.push_back(std::string(attribute) + std::to_string(static_cast<std::int32_t>(status)));
    });
    const auto element = deepest->handle();
    EXPECT_FALSE(owned.string(element, "AXTitle")) << "unsupported";
    deepest->set("AXValue", AXValue());
    EXPECT_FALSE(owned.string(element, "AXValue")) << "no value";
    deepest->set("AXValue", true);
    EXPECT_FALSE(owned.string(element, "AXValue")) << "of another type";
    EXPECT_TRUE(told.empty());
    deepest->statuses = {{"AXValue", AXStatus::cannotComplete}};
    EXPECT_THROW(owned.string(element, "AXValue"), AccessibilityReadFailure);
    EXPECT_EQ(told, (std::vector<std::string>{"AXValue-25204"}));
}

} // namespace
} // namespace orvel
