#pragma once
// An accessibility tree that a test builds, counts the reads of, and changes at any of them.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orvel {

struct ScriptedNode {
    int id = 0;
    ScriptedNode* parent = nullptr;
    std::vector<ScriptedNode*> children;
    std::map<std::string, AXReading, std::less<>> attributes; ///< Beside parent and children.
    bool isGone = false;

    void set(const std::string& name, AXValue value) {
        attributes[name] = {AXStatus::success, std::move(value)};
    }
    void fail(const std::string& name, AXStatus status) { attributes[name] = {status, {}}; }
};

class ScriptedTree : public Accessibility {
  public:
    explicit ScriptedTree(SimulatedLoop& loop) : loop(loop) {}

    ScriptedNode& add(ScriptedNode* parent, const std::string& role) {
        auto& node = nodes.emplace_back();
        node.id = static_cast<int>(nodes.size());
        node.parent = parent;
        node.set("AXRole", role);
        if (parent) parent->children.push_back(&node);
        return node;
    }

    /// Takes the node with what is below it out of the tree; handles on it are invalid from then on.
    void remove(ScriptedNode& node) {
        std::erase(node.parent->children, &node);
        node.isGone = true;
        for (auto* child : std::vector(node.children)) remove(*child);
    }

    static AXElement elementOf(int id) { return AXElement(std::make_shared<Identity>(id)); }
    static AXElement elementOf(const ScriptedNode& node) { return elementOf(node.id); }

    bool isTrusted() override { return trusted; }
    AXElement application(ProcessID) override { return elementOf(*applicationNode); }
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override {
        timeouts[idOf(element)] = timeout;
    }

    AXReading attribute(const AXElement& element, std::string_view name) override {
        ++reads;
        if (beforeRead) beforeRead(reads);
        loop.spend(latency);
        auto& node = nodeOf(element);
        ++readsOf[{node.id, std::string(name)}];
        if (!timeouts.contains(node.id)) unboundedReads.push_back(std::string(name));
        if (const auto failure = failures.find(reads); failure != failures.end())
            return {failure->second, {}};
        if (node.isGone) return {AXStatus::invalidElement, {}};
        if (const auto found = node.attributes.find(name); found != node.attributes.end())
            return found->second;
        if (name == "AXParent" && node.parent) return {AXStatus::success, elementOf(*node.parent)};
        if (name == "AXChildren") return {AXStatus::success, childrenOf(node)};
        return {AXStatus::attributeUnsupported, {}};
    }

    AXSettable isSettable(const AXElement&, std::string_view) override { return {AXStatus::success, true}; }
    AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) override {
        return onWrite(nodeOf(element), std::string(name), value);
    }
    AXActionNames actionNames(const AXElement&) override { return {}; }
    AXStatus performAction(const AXElement& element, std::string_view name) override {
        return onAction(nodeOf(element), std::string(name));
    }
    AXReading elementAtPosition(AXPoint) override { return {}; }
    std::optional<ProcessID> process(const AXElement&) override { return std::nullopt; }

    Task<std::optional<AXElements>> search(AXElement root, std::vector<std::string> roles,
                                           std::size_t limit) override {
        if (!searches) co_return std::nullopt;
        std::vector<ScriptedNode*> queue{&nodeOf(root)};
        AXElements found;
        for (std::size_t next = 0; next < queue.size(); ++next) {
            if (queue.size() > limit) co_return std::nullopt;
            auto& node = *queue[next];
            const auto reading = node.attributes.find("AXRole");
            const auto* role = reading == node.attributes.end() ? nullptr : reading->second.as<std::string>();
            if (node.isGone || !role || node.attributes.contains("AXChildren")) co_return std::nullopt;
            if (*role == roles.front()) found.push_back(elementOf(node));
            queue.insert(queue.end(), node.children.begin(), node.children.end());
        }
        co_return found;
    }

    bool trusted = true;
    bool searches = false;
    ScriptedNode* applicationNode = nullptr;
    MainLoop::Duration latency{0}; ///< Of every read.
    int reads = 0;
    std::map<std::pair<int, std::string>, int> readsOf;
    std::map<int, std::chrono::milliseconds> timeouts;
    std::vector<std::string> unboundedReads; ///< Of elements without a timeout of their own.
    std::map<int, AXStatus> failures;        ///< By the number of the read.
    std::function<void(int number)> beforeRead;
    std::function<AXStatus(ScriptedNode&, const std::string&, const AXValue&)> onWrite;
    std::function<AXStatus(ScriptedNode&, const std::string&)> onAction;

  private:
    struct Identity : AXIdentity {
        explicit Identity(int id) : id(id) {}
        bool equals(const AXIdentity& other) const override {
            return static_cast<const Identity&>(other).id == id;
        }
        int id;
    };

    static int idOf(const AXElement& element) { return static_cast<const Identity&>(element.identity()).id; }
    ScriptedNode& nodeOf(const AXElement& element) {
        return nodes[static_cast<std::size_t>(idOf(element)) - 1];
    }
    static AXElements childrenOf(const ScriptedNode& node) {
        AXElements elements;
        for (const auto* child : node.children) elements.push_back(elementOf(*child));
        return elements;
    }

    SimulatedLoop& loop;
    std::deque<ScriptedNode> nodes; // By identifier.
};

} // namespace orvel
