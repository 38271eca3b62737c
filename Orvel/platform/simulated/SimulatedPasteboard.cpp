#include "Orvel/platform/simulated/SimulatedPasteboard.h"

#include <set>

namespace orvel {

void SimulatedPasteboard::copiedElsewhere(std::vector<PasteboardItem> newItems) {
    hold(std::move(newItems));
    if (onForeignChange) onForeignChange();
}

void SimulatedPasteboard::copiedElsewhere(std::string_view newText) {
    const PasteboardItem item{{std::string(PasteboardType::string), std::string(newText)}};
    copiedElsewhere(std::vector<PasteboardItem>{item});
}

void SimulatedPasteboard::hold(std::vector<PasteboardItem> newItems) {
    ++changes;
    items = std::move(newItems);
    text.reset();
    const auto* first = items.empty() ? nullptr : &items.front();
    const auto plain =
        first ? first->find(std::string(PasteboardType::string)) : PasteboardItem::const_iterator();
    if (first && plain != first->end()) text = plain->second;
    if (onChange) onChange();
}

std::vector<PasteboardItem> SimulatedPasteboard::contents() const {
    if (!items.empty() || !text) return items;
    return {{{std::string(PasteboardType::string), *text}}};
}

void SimulatedPasteboard::clearContents() {
    const auto step = steps.take("clearContents", true);
    if (!step.report || step.happens) hold({});
}

bool SimulatedPasteboard::setString(std::string_view newText) {
    const auto step = steps.take("setString", true);
    if (refuses || (step.report && !step.happens)) return false;
    hold({{{std::string(PasteboardType::string), std::string(newText)}}});
    return !step.report;
}

bool SimulatedPasteboard::writeItems(const std::vector<PasteboardItem>& newItems) {
    const auto step = steps.take("writeItems", true);
    if (refuses || (holdsOneItem && newItems.size() > 1) || (step.report && !step.happens)) return false;
    hold(newItems);
    return !step.report;
}

std::int64_t SimulatedPasteboard::changeCount() {
    steps.take("changeCount");
    return changes;
}

std::vector<std::string> SimulatedPasteboard::types() {
    std::set<std::string> all;
    if (steps.take("types").report) return {};
    for (const auto& item : contents())
        for (const auto& [type, bytes] : item) all.insert(type);
    return {all.begin(), all.end()};
}

std::optional<std::size_t> SimulatedPasteboard::itemCount() {
    if (steps.take("itemCount").report) return std::nullopt;
    return contents().size();
}

std::vector<std::string> SimulatedPasteboard::typesOf(std::size_t item) {
    std::vector<std::string> types;
    const auto held = contents();
    if (steps.take("typesOf").report || item >= held.size()) return types;
    for (const auto& [type, bytes] : held[item]) types.push_back(type);
    return types;
}

std::optional<std::string> SimulatedPasteboard::data(std::size_t item, const std::string& type) {
    const auto held = contents();
    if (steps.take("data").report || item >= held.size()) return std::nullopt;
    const auto found = held[item].find(type);
    return found == held[item].end() ? std::nullopt : std::optional(found->second);
}

} // namespace orvel
