#include "Orvel/platform/linux/AtSpiVocabulary.h"

#include <algorithm>
#include <array>

namespace orvel {

namespace {

struct RoleName {
    std::uint32_t role;
    std::string_view name;
};

// Those that need no further look, in the order of their numbers.
constexpr std::array roleNames{
    RoleName{2, "AXGroup"},        // alert
    RoleName{7, "AXCheckBox"},     // check box
    RoleName{11, "AXComboBox"},    // combo box
    RoleName{16, "AXGroup"},       // dialog
    RoleName{20, "AXGroup"},       // filler
    RoleName{23, "AXWindow"},      // frame
    RoleName{26, "AXImage"},       // icon
    RoleName{27, "AXImage"},       // image
    RoleName{28, "AXGroup"},       // internal frame
    RoleName{29, "AXStaticText"},  // label
    RoleName{31, "AXList"},        // list
    RoleName{32, "AXGroup"},       // list item
    RoleName{33, "AXMenu"},        // menu
    RoleName{34, "AXMenuBar"},     // menu bar
    RoleName{35, "AXMenuItem"},    // menu item
    RoleName{37, "AXRadioButton"}, // page tab
    RoleName{38, "AXTabGroup"},    // page tab list
    RoleName{39, "AXGroup"},       // panel
    RoleName{40, "AXTextField"},   // password text
    RoleName{41, "AXMenu"},        // popup menu
    RoleName{42, "AXProgressIndicator"},
    RoleName{44, "AXRadioButton"},
    RoleName{46, "AXGroup"}, // root pane
    RoleName{48, "AXScrollBar"},
    RoleName{49, "AXScrollArea"},
    RoleName{50, "AXSplitter"}, // separator
    RoleName{51, "AXSlider"},
    RoleName{52, "AXIncrementor"}, // spin button
    RoleName{54, "AXGroup"},       // status bar
    RoleName{55, "AXTable"},
    RoleName{56, "AXCell"},
    RoleName{62, "AXCheckBox"}, // toggle button
    RoleName{63, "AXToolbar"},
    RoleName{65, "AXOutline"}, // tree
    RoleName{68, "AXGroup"},   // viewport
    RoleName{69, "AXWindow"},
    RoleName{71, "AXGroup"}, // header
    RoleName{72, "AXGroup"}, // footer
    RoleName{73, "AXGroup"}, // paragraph
    RoleName{75, "AXApplication"},
    RoleName{81, "AXGroup"},   // caption
    RoleName{82, "AXWebArea"}, // document frame
    RoleName{83, "AXGroup"},   // heading
    RoleName{85, "AXGroup"},   // section
    RoleName{87, "AXGroup"},   // form
    RoleName{88, "AXLink"},
    RoleName{90, "AXRow"},
    RoleName{91, "AXRow"}, // tree item
    RoleName{95, "AXWebArea"},
    RoleName{98, "AXList"},   // list box
    RoleName{99, "AXGroup"},  // grouping
    RoleName{101, "AXGroup"}, // notification
    RoleName{105, "AXGroup"}, // block quote
    RoleName{109, "AXGroup"}, // article
    RoleName{110, "AXGroup"}, // landmark
    RoleName{111, "AXGroup"}, // log
    RoleName{112, "AXGroup"}, // marquee
    RoleName{115, "AXGroup"}, // timer
    RoleName{116, "AXStaticText"},
};

constexpr std::uint32_t alert = 2, comboBox = 11, dialog = 16, panel = 39, pushButton = 43, text = 61,
                        entry = 79;

bool isList(std::string_view words, std::string_view word) {
    while (!words.empty()) {
        const auto end = std::min(words.find(' '), words.size());
        if (words.substr(0, end) == word) return true;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

std::string_view buttonRole(const AtSpiFacts& facts) {
    const auto popup = facts.attribute("haspopup");
    const bool opensMenu = facts.has(AtSpiState::hasPopup) && popup != "dialog" && popup != "false";
    return opensMenu ? "AXPopUpButton" : "AXButton";
}

std::string_view fieldRole(const AtSpiFacts& facts) {
    if (facts.has(AtSpiState::multiLine)) return "AXTextArea";
    return facts.attribute("text-input-type") == "search" ? "AXSearchField" : "AXTextField";
}

} // namespace

std::string_view axRole(const AtSpiFacts& facts) {
    switch (facts.role) {
    case pushButton: return buttonRole(facts);
    case entry:
    case text: return fieldRole(facts);
    case panel:
        if (isList(facts.attribute("xml-roles"), "radiogroup")) return "AXRadioGroup";
        break;
    case comboBox:
        if (facts.attribute("tag") == "select") return "AXPopUpButton";
        break;
    default: break;
    }
    const auto* found = std::find_if(roleNames.begin(), roleNames.end(),
                                     [&](const RoleName& each) { return each.role == facts.role; });
    return found == roleNames.end() ? "AXUnknown" : found->name;
}

bool needsFacts(std::uint32_t role) {
    static constexpr std::array roles{alert, comboBox, panel, pushButton, text, entry};
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

std::vector<std::uint32_t> atSpiRoles(std::string_view wanted) {
    static constexpr std::uint32_t mostRoles = 256;
    // Every way in which one role comes out as several.
    static const std::array variants{
        AtSpiFacts{},
        AtSpiFacts{.states = std::uint64_t{1} << AtSpiState::multiLine},
        AtSpiFacts{.states = std::uint64_t{1} << AtSpiState::hasPopup},
        AtSpiFacts{.attributes = {{"text-input-type", "search"}}},
        AtSpiFacts{.attributes = {{"xml-roles", "radiogroup"}}},
        AtSpiFacts{.attributes = {{"tag", "select"}}},
    };
    std::vector<std::uint32_t> roles;
    for (std::uint32_t role = 0; role < mostRoles && wanted != "AXUnknown"; ++role) {
        const bool isPossible = std::any_of(variants.begin(), variants.end(), [&](AtSpiFacts facts) {
            facts.role = role;
            return axRole(facts) == wanted;
        });
        if (isPossible) roles.push_back(role);
    }
    return roles;
}

std::optional<std::string_view> axSubrole(const AtSpiFacts& facts) {
    if (facts.role == dialog) return "AXDialog";
    // An alert that is no dialog announces something.
    if (facts.role == alert && isList(facts.attribute("xml-roles"), "alertdialog")) return "AXDialog";
    if (facts.role == AtSpiRole::frame || facts.role == AtSpiRole::window) return "AXStandardWindow";
    return std::nullopt;
}

std::optional<std::string> axLabel(const AtSpiFacts& facts, std::string_view attribute) {
    const auto unlessEmpty = [](const std::string& text) {
        return text.empty() ? std::nullopt : std::optional(text);
    };
    if (attribute == "AXHelp") return unlessEmpty(facts.description);
    const bool isWindow = facts.role == AtSpiRole::frame || facts.role == AtSpiRole::window;
    const auto from = isWindow ? std::string_view() : facts.attribute("name-from");
    if (isText(facts) || from == "placeholder") return std::nullopt;
    const bool isGiven = !from.empty() && from != "contents" && from != "value";
    return isGiven == (attribute == "AXDescription") ? unlessEmpty(facts.name) : std::nullopt;
}

std::optional<std::vector<std::string>> axClasses(const AtSpiFacts& facts) {
    auto words = facts.attribute("class");
    if (words.empty() && facts.attribute("tag").empty()) return std::nullopt;
    std::vector<std::string> classes;
    while (!words.empty()) {
        const auto end = std::min(words.find_first_of(" \t\r\n\f"), words.size());
        if (end > 0) classes.emplace_back(words.substr(0, end));
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return classes;
}

bool isEditable(const AtSpiFacts& facts) {
    return facts.has(AtSpiState::editable) && facts.has(AtSpiState::enabled) &&
           !facts.has(AtSpiState::readOnly);
}

bool isDocument(const AtSpiFacts& facts) {
    return axRole(facts) == "AXWebArea";
}

bool isText(const AtSpiFacts& facts) {
    return facts.role == AtSpiRole::staticText || facts.role == AtSpiRole::label;
}

bool isEditor(const AtSpiFacts& facts) {
    return facts.role == entry || facts.role == text;
}

std::string axAction(std::string_view action) {
    static constexpr std::array<std::string_view, 10> presses{
        "press", "click", "activate", "doDefault", "jump", "open", "check", "uncheck", "toggle", "select"};
    if (std::find(presses.begin(), presses.end(), action) != presses.end()) return "AXPress";
    if (action == "showContextMenu") return "AXShowMenu";
    return std::string(action);
}

} // namespace orvel
