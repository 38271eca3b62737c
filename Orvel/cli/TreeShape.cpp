#include "Orvel/cli/TreeShape.h"

#include "Orvel/accessibility/Pace.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

namespace orvel {

namespace {

constexpr std::array<std::string_view, 62> roles{"AXApplication",
                                                 "AXBrowser",
                                                 "AXBusyIndicator",
                                                 "AXButton",
                                                 "AXCell",
                                                 "AXCheckBox",
                                                 "AXColorWell",
                                                 "AXColumn",
                                                 "AXComboBox",
                                                 "AXDateField",
                                                 "AXDialog",
                                                 "AXDisclosureTriangle",
                                                 "AXDocument",
                                                 "AXDrawer",
                                                 "AXForm",
                                                 "AXGrid",
                                                 "AXGroup",
                                                 "AXHandle",
                                                 "AXHeading",
                                                 "AXHelpTag",
                                                 "AXImage",
                                                 "AXIncrementor",
                                                 "AXLayoutArea",
                                                 "AXLayoutItem",
                                                 "AXLink",
                                                 "AXList",
                                                 "AXListItem",
                                                 "AXListMarker",
                                                 "AXMatte",
                                                 "AXMenu",
                                                 "AXMenuBar",
                                                 "AXMenuBarItem",
                                                 "AXMenuButton",
                                                 "AXMenuItem",
                                                 "AXOutline",
                                                 "AXPopover",
                                                 "AXPopUpButton",
                                                 "AXProgressIndicator",
                                                 "AXRadioButton",
                                                 "AXRadioGroup",
                                                 "AXRow",
                                                 "AXRuler",
                                                 "AXScrollArea",
                                                 "AXScrollBar",
                                                 "AXSearchField",
                                                 "AXSheet",
                                                 "AXSlider",
                                                 "AXSplitGroup",
                                                 "AXSplitter",
                                                 "AXStaticText",
                                                 "AXSystemWide",
                                                 "AXTabGroup",
                                                 "AXTable",
                                                 "AXTextArea",
                                                 "AXTextField",
                                                 "AXTimeField",
                                                 "AXToolbar",
                                                 "AXUnknown",
                                                 "AXValueIndicator",
                                                 "AXVideo",
                                                 "AXWebArea",
                                                 "AXWindow"};

constexpr std::array<std::string_view, 48> subroles{"AXApplicationAlert",
                                                    "AXApplicationAlertDialog",
                                                    "AXApplicationDialog",
                                                    "AXApplicationGroup",
                                                    "AXApplicationLog",
                                                    "AXApplicationMarquee",
                                                    "AXApplicationStatus",
                                                    "AXApplicationTimer",
                                                    "AXCloseButton",
                                                    "AXCodeStyleGroup",
                                                    "AXContentList",
                                                    "AXDecrementArrow",
                                                    "AXDefinitionList",
                                                    "AXDescriptionList",
                                                    "AXDialog",
                                                    "AXDocumentArticle",
                                                    "AXDocumentMath",
                                                    "AXDocumentNote",
                                                    "AXEmptyGroup",
                                                    "AXFloatingWindow",
                                                    "AXFullScreenButton",
                                                    "AXIncrementArrow",
                                                    "AXLandmarkBanner",
                                                    "AXLandmarkComplementary",
                                                    "AXLandmarkContentInfo",
                                                    "AXLandmarkForm",
                                                    "AXLandmarkMain",
                                                    "AXLandmarkNavigation",
                                                    "AXLandmarkRegion",
                                                    "AXLandmarkSearch",
                                                    "AXMinimizeButton",
                                                    "AXOutlineRow",
                                                    "AXPreformattedStyleGroup",
                                                    "AXSearchField",
                                                    "AXSecureTextField",
                                                    "AXSectionListbox",
                                                    "AXSortButton",
                                                    "AXStandardWindow",
                                                    "AXSwitch",
                                                    "AXSystemDialog",
                                                    "AXSystemFloatingWindow",
                                                    "AXTabButton",
                                                    "AXTabPanel",
                                                    "AXTableRow",
                                                    "AXTextLink",
                                                    "AXToggle",
                                                    "AXUnknown",
                                                    "AXZoomButton"};

constexpr std::array<std::string_view, 2> editorClasses{"ProseMirror", "tiptap"};

// Role and children first.
constexpr std::array<std::string_view, 21> attributes{"AXRole",
                                                      "AXChildren",
                                                      "AXSubrole",
                                                      "AXDOMClassList",
                                                      "AXValue",
                                                      "AXTitle",
                                                      "AXDescription",
                                                      "AXHelp",
                                                      "AXIdentifier",
                                                      "AXURL",
                                                      "AXEnabled",
                                                      "AXFocused",
                                                      "AXSelected",
                                                      "AXPosition",
                                                      "AXSize",
                                                      "AXPlaceholderValue",
                                                      "AXNumberOfCharacters",
                                                      "AXSelectedTextRange",
                                                      "AXTextInputMarkedTextMarkerRange",
                                                      "AXInsertionPointLineNumber",
                                                      "AXIsEditable"};
constexpr std::size_t firstOfTheOthers = 3;

template <std::size_t N>
std::string_view known(const std::array<std::string_view, N>& names, const AXReading& reading) {
    const auto* text = reading.as<std::string>();
    if (!text) return {};
    const auto* found = std::ranges::find(names, std::string_view(*text));
    return found == names.end() ? "other" : *found;
}

std::string_view kindOf(const AXValue& value) {
    struct Kind {
        std::string_view operator()(const std::string& text) const {
            return text.empty() ? "empty text" : "text";
        }
        std::string_view operator()(bool isOn) const { return isOn ? "true" : "false"; }
        std::string_view operator()(double) const { return "number"; }
        std::string_view operator()(const AXURL&) const { return "address"; }
        std::string_view operator()(const AXRange&) const { return "range"; }
        std::string_view operator()(const AXPoint&) const { return "point"; }
        std::string_view operator()(const AXSize&) const { return "size"; }
        std::string_view operator()(const AXElement&) const { return "element"; }
        std::string_view operator()(const AXElements& list) const {
            return list.empty() ? "empty list" : "elements";
        }
        std::string_view operator()(const std::vector<std::string>&) const { return "texts"; }
        std::string_view operator()(const AXOpaque&) const { return "opaque"; }
        std::string_view operator()(std::monostate) const { return {}; }
        std::string_view operator()(AXNull) const { return {}; }
    };
    return std::visit(Kind(), value);
}

// Fills in what the readings tell, and gives the children.
AXElements take(ElementShape& shape, const std::vector<AXReading>& readings) {
    shape.role = known(roles, readings[0]);
    shape.subrole = known(subroles, readings[2]);
    for (std::size_t i = firstOfTheOthers; i < attributes.size(); ++i) {
        if (readings[i].status != AXStatus::success) continue;
        if (const auto kind = kindOf(readings[i].value); !kind.empty())
            shape.attributes.push_back({attributes[i], kind});
    }
    if (const auto* classes = readings[firstOfTheOthers].as<std::vector<std::string>>())
        for (const auto name : editorClasses)
            if (std::ranges::find(*classes, name) != classes->end()) shape.classes.push_back(name);
    const auto lacksChildren =
        readings[1].status == AXStatus::noValue || readings[1].status == AXStatus::attributeUnsupported;
    if (readings[0].status != AXStatus::success)
        shape.status = readings[0].status;
    else if (!lacksChildren)
        shape.status = readings[1].status;
    const auto* children = readings[1].as<AXElements>();
    shape.children = children ? children->size() : 0;
    return children ? *children : AXElements();
}

} // namespace

Task<TreeShape> shapeOf(MainLoop& loop, Accessibility& accessibility, AXElement root,
                        TreeShapeLimits limits) {
    struct Waiting {
        AXElement element;
        std::size_t depth;
    };
    TreeShape tree;
    Pace pace(loop);
    const auto deadline = loop.uptime() + limits.whole;
    std::vector<Waiting> waiting{{std::move(root), 0}};
    while (!waiting.empty()) {
        if (tree.elements.size() >= limits.elements || loop.uptime() >= deadline) {
            tree.isCut = true;
            break;
        }
        co_await pace.step();
        const auto [element, depth] = waiting.back();
        waiting.pop_back();
        accessibility.setMessagingTimeout(element, limits.answer);
        std::vector<AXRequest> requests;
        requests.reserve(attributes.size());
        for (const auto name : attributes) requests.push_back({element, name});
        auto& shape = tree.elements.emplace_back();
        shape.depth = depth;
        const auto children = take(shape, accessibility.attributes(requests));
        const auto room = limits.elements - std::min(limits.elements, tree.elements.size() + waiting.size());
        const bool fit = children.size() <= room && depth < limits.depth;
        tree.isCut = tree.isCut || (!fit && !children.empty());
        for (std::size_t i = fit ? children.size() : 0; i > 0; --i)
            waiting.push_back({children[i - 1], depth + 1});
    }
    co_return tree;
}

} // namespace orvel
