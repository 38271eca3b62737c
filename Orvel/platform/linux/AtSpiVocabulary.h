#pragma once
// What AT-SPI2 calls the things that the port names after macOS Accessibility. Numbers and names are those of
// the AT-SPI2 protocol; how a web page comes out in them was measured on Chromium.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What an object tells of itself. Whatever was not asked for is empty.
struct AtSpiFacts {
    std::uint32_t role = 0;
    std::uint64_t states = 0; ///< A bit for each.
    std::map<std::string, std::string, std::less<>> attributes;
    std::string name, description;

    bool has(unsigned state) const { return (states >> state & 1U) != 0; }
    /// Empty if there is no such attribute.
    std::string_view attribute(std::string_view key) const {
        const auto found = attributes.find(key);
        return found == attributes.end() ? std::string_view() : std::string_view(found->second);
    }
};

namespace AtSpiState {
inline constexpr unsigned active = 1, checked = 4, defunct = 6, editable = 7, enabled = 8, focusable = 11,
                          focused = 12, multiLine = 17, showing = 25, hasPopup = 42, readOnly = 43;
} // namespace AtSpiState

namespace AtSpiRole {
inline constexpr std::uint32_t invalid = 0, frame = 23, label = 29, window = 69, application = 75,
                               documentWeb = 95, staticText = 116;
} // namespace AtSpiRole

/// Whether the object is no more.
inline bool isGone(const AtSpiFacts& facts) {
    return facts.has(AtSpiState::defunct);
}

/// From role, states and attributes. "AXUnknown" for a role without a counterpart.
std::string_view axRole(const AtSpiFacts& facts);

/// Whether role and subrole follow from more than the role's number.
bool needsFacts(std::uint32_t role);

/// The numbers of all roles that may come out as this one; none for "AXUnknown".
std::vector<std::uint32_t> atSpiRoles(std::string_view axRole);

/// From the role.
std::optional<std::string_view> axSubrole(const AtSpiFacts& facts);

/// A label by the attribute that holds it: "AXTitle" (from the contents), "AXDescription" (given to the
/// element) or "AXHelp". From all but the states.
std::optional<std::string> axLabel(const AtSpiFacts& facts, std::string_view attribute);

/// The classes of an element of a web page, none if it has none; nothing for any other element.
std::optional<std::vector<std::string>> axClasses(const AtSpiFacts& facts);

/// Whether a person can change the element's text now.
bool isEditable(const AtSpiFacts& facts);

/// Whether the element is a page with an address.
bool isDocument(const AtSpiFacts& facts);

/// Whether the name is the whole value.
bool isText(const AtSpiFacts& facts);

/// Whether the element holds editable or selectable text of its own.
bool isEditor(const AtSpiFacts& facts);

/// The action's name, as other programs call what a press does.
std::string axAction(std::string_view action);

} // namespace orvel
