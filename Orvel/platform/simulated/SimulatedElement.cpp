#include "Orvel/platform/simulated/SimulatedElement.h"

#include <algorithm>

namespace orvel {

void SimulatedElement::set(std::string_view name, AXValue value) {
    for (auto& [known, held] : attributes)
        if (known == name) {
            held = std::move(value);
            return;
        }
    attributes.emplace_back(name, std::move(value));
}

void SimulatedElement::unset(std::string_view name) {
    std::erase_if(attributes, [name](const auto& attribute) { return attribute.first == name; });
}

const AXValue* SimulatedElement::find(std::string_view name) const {
    for (const auto& [known, held] : attributes)
        if (known == name) return &held;
    return nullptr;
}

std::string SimulatedElement::text(std::string_view name) const {
    const auto* value = find(name);
    const auto* held = value ? std::get_if<std::string>(value) : nullptr;
    return held ? *held : std::string();
}

bool SimulatedElement::covers(AXPoint point) const {
    const auto *place = find("AXPosition"), *extent = find("AXSize");
    const auto* corner = place ? std::get_if<AXPoint>(place) : nullptr;
    const auto* size = extent ? std::get_if<AXSize>(extent) : nullptr;
    return corner && size && point.x >= corner->x && point.x < corner->x + size->width &&
           point.y >= corner->y && point.y < corner->y + size->height;
}

void SimulatedElement::insert(std::size_t place, const Shared& child) {
    children.insert(children.begin() + static_cast<std::ptrdiff_t>(place), child);
    child->above = this;
}

void SimulatedElement::moveChildren(SimulatedElement& to) {
    for (const auto& child : std::exchange(children, {})) to.append(child);
}

void SimulatedElement::remove() {
    const auto self = shared_from_this();
    if (above) std::erase(above->children, self);
    forget();
}

void SimulatedElement::forget() {
    gone = true;
    above = nullptr;
    write = nullptr;
    perform = nullptr;
    click = nullptr;
    overrides.clear(); // They may hold this very element.
    for (const auto& child : children) child->forget();
    children.clear();
}

} // namespace orvel
