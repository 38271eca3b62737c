#include "Orvel/platform/linux/AtSpiTextReader.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

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
    bool hasSelection = false;         // The caret or an edge of the selection may be in it.
};

// The number of objects that a text consists of, or nothing if there is anything else in it.
std::optional<std::size_t> objectsIn(std::string_view text) {
    std::size_t count = 0;
    for (; text.starts_with(objectCharacter); ++count) text.remove_prefix(objectCharacter.size());
    return text.empty() ? std::optional(count) : std::nullopt;
}

class Reader {
  public:
    Reader(AtSpiRounds& rounds, BusReference editor, bool withSelection) : rounds(rounds) {
        all.push_back({std::move(editor), {}, {}, withSelection});
    }

    Task<AtSpiTextReading> read() {
        std::size_t next = 0;
        for (std::size_t level = 0; next < all.size(); ++level) {
            if (level == mostLevels) co_return failed(AXStatus::failure);
            const auto end = all.size();
            auto described = describe(next, end);
            const auto status = co_await described;
            if (status != AXStatus::success) co_return failed(status);
            auto descended = descend(next, end);
            const auto below = co_await descended;
            if (below != AXStatus::success) co_return failed(below);
            next = end;
        }
        for (auto i = all.size(); i-- > 0;)
            for (const auto child : all[i].children)
                all[i].node.children.push_back(std::move(all[child].node));
        co_return AtSpiTextReading{AXStatus::success, std::move(all.front().node), std::move(facts)};
    }

  private:
    AtSpiTextReading failed(AXStatus status) { return {status, {}, std::move(facts)}; }

    static void askWhat(const Loading& loading, bool isEditor, std::vector<BusCall>& calls) {
        const auto& object = loading.object;
        calls.push_back({object, accessible, "GetRole", {}, true});
        calls.push_back({object, accessible, "GetAttributes", {}, true});
        calls.push_back({object, text, "GetText", [](sd_bus_message* message) {
                             return sd_bus_message_append(message, "ii", 0, -1);
                         }});
        if (loading.hasSelection) {
            calls.push_back(propertyCall(object, text, "CaretOffset"));
            calls.push_back({object, text, "GetSelection",
                             [](sd_bus_message* message) { return sd_bus_message_append(message, "i", 0); }});
        }
        if (!isEditor) return;
        calls.push_back({object, accessible, "GetState", {}, true});
        calls.push_back({object, accessible, "GetChildren", {}, true}); // Nearly every editor has some.
    }

    // What the objects from one place to another are, and their own texts.
    Task<AXStatus> describe(std::size_t from, std::size_t to) {
        std::vector<BusCall> calls;
        for (auto i = from; i < to; ++i) askWhat(all[i], i == 0, calls);
        AtSpiQuestion asked(rounds, std::move(calls));
        const auto answers = co_await asked;
        const auto* own = answers.data();
        for (auto i = from; i < to; ++i) {
            auto status = describe(all[i], own, i == 0);
            own += all[i].hasSelection ? 5 : 3;
            if (status == AXStatus::success && i == 0) status = describeEditor(own);
            if (status != AXStatus::success) co_return status;
        }
        co_return AXStatus::success;
    }

    AXStatus describe(Loading& loading, const BusReply* replies, bool isEditor) {
        auto& node = loading.node;
        for (int i = 0; i < 2; ++i)
            if (replies[i].status() != AXStatus::success) return replies[i].status();
        const auto role = replies[0].number();
        const auto attributes = replies[1].dictionary(mostAttributes);
        if (!role || !attributes) return AXStatus::failure;
        if (*role == AtSpiRole::invalid) return AXStatus::invalidElement;
        AtSpiFacts own{.role = *role, .attributes = *attributes};
        const auto display = own.attribute("display");
        node.isRun = *role == AtSpiRole::staticText;
        // A text area shows its last line break by one more; any other editor's end is its own.
        node.isBlock = isEditor ? own.attribute("tag") == "textarea"
                                : !display.empty() && !display.starts_with("inline");
        node.isPlaceholder = own.attribute("tag").starts_with("::");
        if (isEditor) facts = std::move(own);
        if (replies[2].status() == AXStatus::attributeUnsupported && !isEditor) {
            node.text = objectCharacter; // A picture or the like.
            return AXStatus::success;
        }
        if (replies[2].status() != AXStatus::success) return replies[2].status();
        auto words = replies[2].string();
        if (!words) return AXStatus::failure;
        node.text = *std::move(words);
        return loading.hasSelection ? describeSelection(node, replies + 3) : AXStatus::success;
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

    AXStatus describeEditor(const BusReply* replies) {
        for (int i = 0; i < 2; ++i)
            if (replies[i].status() != AXStatus::success) return replies[i].status();
        const auto states = replies[0].bits();
        if (!states) return AXStatus::failure;
        facts.states = *states;
        if (isGone(facts)) return AXStatus::invalidElement;
        return hasObjects(all.front()) ? append(0, replies[1]) : AXStatus::success;
    }

    static bool hasObjects(const Loading& loading) {
        return !loading.node.isRun && loading.node.text.find(objectCharacter) != std::string::npos;
    }

    // Appends what the objects with objects in their texts consist of. The editor's own are there already.
    Task<AXStatus> descend(std::size_t from, std::size_t to) {
        std::vector<BusCall> calls;
        std::vector<std::size_t> parents;
        for (auto i = std::max(from, std::size_t{1}); i < to; ++i) {
            if (!hasObjects(all[i])) continue;
            calls.push_back({all[i].object, accessible, "GetChildren", {}, true});
            parents.push_back(i);
        }
        AtSpiQuestion asked(rounds, std::move(calls));
        const auto answers = co_await asked;
        for (std::size_t i = 0; i < parents.size(); ++i)
            if (const auto status = append(parents[i], answers[i]); status != AXStatus::success)
                co_return status;
        co_return AXStatus::success;
    }

    AXStatus append(std::size_t parent, const BusReply& reply) {
        if (reply.status() != AXStatus::success) return reply.status();
        auto children = reply.references(mostObjects);
        if (!children || all.size() + children->size() > mostObjects) return AXStatus::failure;
        const bool areObjects = objectsIn(all[parent].node.text) == children->size();
        for (std::size_t place = 0; place < children->size(); ++place) {
            auto& child = (*children)[place];
            if (child.name.empty()) child.name = all[parent].object.name;
            all[parent].children.push_back(all.size());
            const bool mayHave = all[parent].hasSelection && (!areObjects || isEdge(all[parent].node, place));
            all.push_back({std::move(child), {}, {}, mayHave});
        }
        return AXStatus::success;
    }

    // Whether the caret is in the object at this place of a text of objects, or the selection begins or ends
    // there.
    static bool isEdge(const AtSpiTextNode& node, std::size_t place) {
        const auto at = static_cast<std::int64_t>(place);
        const bool isOfSelection =
            node.selection && (at == node.selection->first || at == node.selection->second - 1);
        return isOfSelection || (node.caret && at == *node.caret);
    }

    AtSpiRounds& rounds;
    AtSpiFacts facts;
    std::vector<Loading> all;
};

} // namespace

Task<AtSpiTextReading> readEditor(AtSpiRounds& rounds, BusReference editor, bool withSelection) {
    Reader reader(rounds, std::move(editor), withSelection);
    auto work = reader.read();
    auto reading = co_await work;
    co_return reading;
}

} // namespace orvel
