#include "OrvelCore/consultation/ChatGPTComposerShape.h"

#include <algorithm>
#include <array>
#include <span>

namespace orvel::ChatGPTComposerShape {

namespace {

constexpr int maximumTextGroups = 3; // Nested in each other.

bool isEmptyGroup(const Node& node) {
    return node.role == "AXGroup" && node.labels.empty() && node.value.value_or("").empty();
}

bool isText(const Node& node) {
    return node.role == "AXStaticText" && node.value && node.children.empty();
}

// Whether below the node there is text alone.
bool holdsTextOnly(const Node& node, int groups = 0) {
    return std::all_of(node.children.begin(), node.children.end(), [groups](const Node& child) {
        if (isEmptyGroup(child)) return groups < maximumTextGroups && holdsTextOnly(child, groups + 1);
        return isText(child);
    });
}

// Whether below a control there is at most its label.
bool showsOnly(const Node& node, std::string_view label) {
    return std::all_of(node.children.begin(), node.children.end(),
                       [label](const Node& child) { return isText(child) && child.value == label; });
}

// What a region holds, by number.
class Inventory {
  public:
    explicit Inventory(const std::optional<std::string>& filename)
        : filename(filename), remove(filename ? "Remove " + *filename : std::string()) {}

    // Whether the node and everything below it are known.
    bool takes(const Node& node) {
        if (isEmptyGroup(node)) {
            return std::all_of(node.children.begin(), node.children.end(),
                               [this](const Node& child) { return takes(child); });
        }
        if (node.role == "AXTextArea") return has(node, placeholder, editors) && holdsTextOnly(node);
        if (node.role == "AXPopUpButton") return has(node, selectModel, models) && holdsTextOnly(node);
        if (node.role == "AXCheckBox") return has(node, "Expand", expanders) && showsOnly(node, "Expand");
        if (node.role == "AXButton") return takesButton(node);
        return isText(node) && filename && node.value == filename && ++names > 0;
    }

    bool isWhole() const {
        const int files = filename ? 1 : 0;
        return editors == 1 && adds == 1 && dictations == 1 && sends + voices == 1 && models <= 1 &&
               fileButtons == files && removers == files && names == files && sends >= files;
    }

  private:
    static bool has(const Node& node, std::string_view label, int& count) {
        return node.labels.contains(label) && ++count > 0;
    }

    // A button is known by one label, and is nothing else.
    bool takesButton(const Node& node) {
        struct Known {
            std::string_view label;
            int& count;
        };
        const std::array known{Known{addFiles, adds},   Known{"Dictate", dictations},
                               Known{send, sends},      Known{startVoice, voices},
                               Known{remove, removers}, Known{filename ? *filename : remove, fileButtons}};
        const auto candidates = std::span(known).first(filename ? known.size() : 4);
        const auto isIt = [&](const Known& each) { return node.labels.contains(each.label); };
        const auto found = std::find_if(candidates.begin(), candidates.end(), isIt);
        if (found == candidates.end() || std::count_if(candidates.begin(), candidates.end(), isIt) > 1)
            return false;
        ++found->count;
        return showsOnly(node, found->label);
    }

    const std::optional<std::string>& filename;
    std::string remove;
    int editors = 0, models = 0, expanders = 0, adds = 0, dictations = 0, sends = 0, voices = 0;
    int fileButtons = 0, removers = 0, names = 0;
};

// The only child, if the node is a group like those around the placeholder.
const Node* onlyChildOfGroup(const Node* node, bool valueSettable) {
    const bool isIt =
        node && isEmptyGroup(*node) && node->valueSettable == valueSettable && node->children.size() == 1;
    return isIt ? &node->children.front() : nullptr;
}

} // namespace

bool hasValue(std::string_view role) {
    return role == "AXStaticText" || role == "AXGroup" || role == "AXTextArea";
}

std::optional<std::vector<std::string>> attachmentNames(const Node& region,
                                                        const std::optional<std::string>& expectedFilename) {
    Inventory inventory(expectedFilename);
    if (region.role != "AXGroup" || !inventory.takes(region) || !inventory.isWhole()) return std::nullopt;
    std::vector<std::string> names;
    if (expectedFilename) names.push_back(*expectedFilename);
    return names;
}

bool isObservedPlaceholder(const Node& editor, std::optional<std::int64_t> characterCount) {
    constexpr std::int64_t observedCount = 12; // The line feed counts.
    const bool isEditor = editor.role == "AXTextArea" && editor.labels.contains(placeholder) &&
                          editor.value == observedPlaceholder && characterCount == observedCount &&
                          editor.valueSettable == true && editor.children.size() == 1;
    if (!isEditor) return false;
    const auto* text = onlyChildOfGroup(onlyChildOfGroup(&editor.children.front(), true), false);
    return text && isText(*text) && text->value == placeholder && text->valueSettable == false &&
           std::all_of(text->labels.begin(), text->labels.end(),
                       [](const auto& label) { return label == placeholder; });
}

} // namespace orvel::ChatGPTComposerShape
