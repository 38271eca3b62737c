#include "Orvel/platform/linux/AtSpiTextReader.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "Orvel/platform/linux/AtSpiVocabulary.h"

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr const char* text = "org.a11y.atspi.Text";
constexpr std::string_view objectCharacter = "\uFFFC";
constexpr std::size_t mostObjects = 2'000, mostAttributes = 200, mostLevels = 32;

struct Loading {
    BusReference object;
    AtSpiTextNode node;
    std::vector<std::size_t> children; // Each behind its parent.
};

class Reader {
  public:
    Reader(AccessibilityBus& bus, bool withSelection, BusDeadline deadline)
        : bus(bus), withSelection(withSelection), deadline(deadline) {}

    AtSpiTextReading read(const BusReference& editor) {
        all.push_back({editor, {}, {}});
        std::size_t next = 0;
        for (std::size_t level = 0; next < all.size(); ++level) {
            if (level == mostLevels) return {AXStatus::failure, {}};
            const auto end = all.size();
            if (const auto status = describe(next, end); status != AXStatus::success) return {status, {}};
            if (const auto status = descend(next, end); status != AXStatus::success) return {status, {}};
            next = end;
        }
        for (auto i = all.size(); i-- > 0;)
            for (const auto child : all[i].children)
                all[i].node.children.push_back(std::move(all[child].node));
        return {AXStatus::success, std::move(all.front().node)};
    }

  private:
    std::size_t callsForEach() const { return withSelection ? 5 : 3; }

    // What the objects from one place to another are, and their own texts.
    AXStatus describe(std::size_t from, std::size_t to) {
        std::vector<BusCall> calls;
        calls.reserve((to - from) * callsForEach());
        for (auto i = from; i < to; ++i) {
            const auto& object = all[i].object;
            calls.push_back({object, accessible, "GetRole", {}, true});
            calls.push_back({object, accessible, "GetAttributes", {}, true});
            calls.push_back({object, text, "GetText", [](sd_bus_message* message) {
                                 return sd_bus_message_append(message, "ii", 0, -1);
                             }});
            if (!withSelection) continue;
            calls.push_back(propertyCall(object, text, "CaretOffset"));
            calls.push_back({object, text, "GetSelection",
                             [](sd_bus_message* message) { return sd_bus_message_append(message, "i", 0); }});
        }
        const auto replies = bus.exchange(calls, deadline);
        for (auto i = from; i < to; ++i) {
            const auto* own = &replies[(i - from) * callsForEach()];
            if (const auto status = describe(all[i].node, own, i == 0); status != AXStatus::success)
                return status;
        }
        return AXStatus::success;
    }

    AXStatus describe(AtSpiTextNode& node, const BusReply* replies, bool isEditor) const {
        for (int i = 0; i < 2; ++i)
            if (replies[i].status() != AXStatus::success) return replies[i].status();
        const auto role = replies[0].number();
        const auto attributes = replies[1].dictionary(mostAttributes);
        if (!role || !attributes) return AXStatus::failure;
        if (*role == AtSpiRole::invalid) return AXStatus::invalidElement;
        const AtSpiFacts facts{.role = *role, .attributes = *attributes};
        const auto display = facts.attribute("display");
        node.isRun = *role == AtSpiRole::staticText;
        // A text area shows its last line break by one more; any other editor's end is its own.
        node.isBlock = isEditor ? facts.attribute("tag") == "textarea"
                                : !display.empty() && !display.starts_with("inline");
        node.isPlaceholder = facts.attribute("tag").starts_with("::");
        if (replies[2].status() == AXStatus::attributeUnsupported && !isEditor) {
            node.text = objectCharacter; // A picture or the like.
            return AXStatus::success;
        }
        if (replies[2].status() != AXStatus::success) return replies[2].status();
        auto own = replies[2].string();
        if (!own) return AXStatus::failure;
        node.text = *std::move(own);
        return withSelection ? describeSelection(node, replies + 3) : AXStatus::success;
    }

    static AXStatus describeSelection(AtSpiTextNode& node, const BusReply* replies) {
        if (replies[0].status() == AXStatus::cannotComplete ||
            replies[1].status() == AXStatus::cannotComplete)
            return AXStatus::cannotComplete;
        if (const auto caret = replies[0].signedProperty(); caret && *caret >= 0) node.caret = *caret;
        const auto selection = replies[1].range();
        if (selection && selection->first >= 0 && selection->second > selection->first)
            node.selection = *selection;
        return AXStatus::success;
    }

    // Appends what the objects with objects in their texts consist of.
    AXStatus descend(std::size_t from, std::size_t to) {
        std::vector<BusCall> calls;
        std::vector<std::size_t> parents;
        for (auto i = from; i < to; ++i) {
            const auto& own = all[i].node.text;
            if (all[i].node.isRun || own.find(objectCharacter) == std::string::npos) continue;
            calls.push_back({all[i].object, accessible, "GetChildren", {}, true});
            parents.push_back(i);
        }
        if (calls.empty()) return AXStatus::success;
        const auto replies = bus.exchange(calls, deadline);
        for (std::size_t i = 0; i < parents.size(); ++i) {
            if (replies[i].status() != AXStatus::success) return replies[i].status();
            auto children = replies[i].references(mostObjects);
            if (!children || all.size() + children->size() > mostObjects) return AXStatus::failure;
            for (auto& child : *children) {
                if (child.name.empty()) child.name = all[parents[i]].object.name;
                all[parents[i]].children.push_back(all.size());
                all.push_back({std::move(child), {}, {}});
            }
        }
        return AXStatus::success;
    }

    AccessibilityBus& bus;
    bool withSelection;
    BusDeadline deadline;
    std::vector<Loading> all;
};

} // namespace

AtSpiTextReading readEditor(AccessibilityBus& bus, const BusReference& editor, bool withSelection,
                            BusDeadline deadline) {
    return Reader(bus, withSelection, deadline).read(editor);
}

} // namespace orvel
