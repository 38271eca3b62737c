// The shapes of ChatGPT's editor and of the region around it: the known ones, and each way in which another
// differs.

#include "OrvelCore/consultation/ChatGPTComposerShape.h"

namespace orvel {
namespace {

using namespace ChatGPTComposerShape;

const std::string zip = "orvel.zip";

Node node(std::string role, std::set<std::string, std::less<>> labels = {},
          std::optional<std::string> value = std::nullopt, std::vector<Node> children = {}) {
    return {std::move(role), std::move(labels), std::move(value), std::move(children), std::nullopt};
}
Node group(std::vector<Node> children) {
    return node("AXGroup", {}, "", std::move(children));
}
Node text(std::string value) {
    return node("AXStaticText", {}, std::move(value));
}
Node button(std::string label) {
    return node("AXButton", {label}, std::nullopt, {text(label)});
}

// The region's children: the editor and the last control come last.
struct Region {
    Node chip = group({node("AXButton", {zip}), node("AXButton", {"Remove " + zip}), text(zip)});
    Node add = node("AXButton", {"Add files and more"});
    Node model = node("AXPopUpButton", {"Select ChatGPT model"}, std::nullopt, {group({text("Pro")})});
    Node expand = node("AXCheckBox", {"Expand"});
    Node dictate = button("Dictate");
    Node last = button("Start Voice");
    Node editor = node("AXTextArea", {"Ask ChatGPT"}, "?", {group({group({text("?")})})});
    std::vector<Node> more;
    std::string role = "AXGroup";

    Node root() const {
        auto below = more;
        below.insert(below.end(), {chip, group({add, model, expand, dictate}), last, editor});
        auto root = group(below);
        root.role = role;
        return root;
    }
};

struct Case {
    const char* name;
    void (*change)(Region&);
    bool isKnown = false;
};

// Of a region with the ZIP attached, and Send.
const Case attached[] = {
    {"as it should be", [](Region&) {}, true},
    {"without a model and without what expands it", [](Region& r) { r.model = r.expand = group({}); }, true},
    {"three groups around the text",
     [](Region& r) { r.editor.children = {group({group({group({text("?")})})})}; }, true},
    {"four groups around the text",
     [](Region& r) { r.editor.children = {group({group({group({group({text("?")})})})})}; }},
    {"a control in the editor", [](Region& r) { r.editor.children.push_back(button("Send")); }},
    {"text with something in it",
     [](Region& r) { r.editor.children = {node("AXStaticText", {}, "?", {group({})})}; }},
    {"text without a value", [](Region& r) { r.editor.children = {node("AXStaticText")}; }},
    {"a root that is no group", [](Region& r) { r.role = "AXList"; }},
    {"a group with a label", [](Region& r) { r.more = {node("AXGroup", {"Uploads"})}; }},
    {"a group with a value", [](Region& r) { r.more = {node("AXGroup", {}, "50 %")}; }},
    {"a second attachment",
     [](Region& r) {
         r.more = {node("AXButton", {"other.zip"}), text("other.zip")};
     }},
    {"a button that nobody knows", [](Region& r) { r.more = {button("Cancel upload")}; }},
    {"the same attachment twice", [](Region& r) { r.more = {r.chip}; }},
    {"something that spins", [](Region& r) { r.chip.children.push_back(node("AXProgressIndicator")); }},
    {"something that spins in a button",
     [](Region& r) { r.chip.children[0].children = {node("AXBusyIndicator")}; }},
    {"Remove of another name", [](Region& r) { r.chip.children[1].labels = {"Remove other.zip"}; }},
    {"Remove without a name", [](Region& r) { r.chip.children[1].labels = {"Remove "}; }},
    {"no button for the file", [](Region& r) { r.chip.children[0] = group({}); }},
    {"nothing that removes", [](Region& r) { r.chip.children[1] = group({}); }},
    {"no name", [](Region& r) { r.chip.children[2] = group({}); }},
    {"the name of another file", [](Region& r) { r.chip.children[2] = text("other.zip"); }},
    {"a name with something in it", [](Region& r) { r.chip.children[2].children = {group({})}; }},
    {"a button that is two",
     [](Region& r) {
         r.dictate.labels.insert("Send");
         r.last = group({});
     }},
    {"a button of another language", [](Region& r) { r.dictate = button("Diktieren"); }},
    {"a label that is not the button's", [](Region& r) { r.dictate.children = {text("Stop")}; }},
    {"an editor of another language", [](Region& r) { r.editor.labels = {"Frag ChatGPT"}; }},
    {"a second editor", [](Region& r) { r.more = {r.editor}; }},
    {"no editor", [](Region& r) { r.editor = group({}); }},
    {"no button that adds", [](Region& r) { r.add = group({}); }},
    {"two buttons that add", [](Region& r) { r.more = {r.add}; }},
    {"no dictation", [](Region& r) { r.dictate = group({}); }},
    {"two dictations", [](Region& r) { r.more = {r.dictate}; }},
    {"two models", [](Region& r) { r.more = {r.model}; }},
    {"a model with a control in it", [](Region& r) { r.model.children = {button("Send")}; }},
    {"another menu", [](Region& r) { r.model.labels = {"Select a tool"}; }},
    {"another switch", [](Region& r) { r.expand.labels = {"Search the web"}; }},
    {"a switch with something in it", [](Region& r) { r.expand.children = {text("On")}; }},
    {"still the voice's button", [](Region& r) { r.last = button("Start Voice"); }},
    {"Send and the voice's button", [](Region& r) { r.more = {button("Start Voice")}; }},
    {"neither", [](Region& r) { r.last = group({}); }},
    {"a text of its own", [](Region& r) { r.more = {text("Uploading…")}; }},
};

TEST(ChatGPTComposerShape, KnowsOneAttachmentAndNothingElse) {
    for (const auto& [name, change, isKnown] : attached) {
        Region region;
        region.last = button("Send");
        change(region);
        const auto names = attachmentNames(region.root(), zip);
        EXPECT_EQ(names.has_value(), isKnown) << name;
        EXPECT_EQ(names.value_or(std::vector{zip}), std::vector{zip}) << name;
    }
}

TEST(ChatGPTComposerShape, WithoutAnExpectedFileNothingIsAttached) {
    Region empty;
    empty.chip = group({});
    EXPECT_EQ(attachmentNames(empty.root(), std::nullopt), std::vector<std::string>());
    EXPECT_FALSE(attachmentNames(empty.root(), zip)) << "the file is expected";
    empty.last = button("Send");
    EXPECT_EQ(attachmentNames(empty.root(), std::nullopt), std::vector<std::string>());
    for (const auto& part : Region().chip.children) {
        auto region = empty;
        region.more = {part};
        EXPECT_FALSE(attachmentNames(region.root(), std::nullopt)) << part.role;
    }
}

// The editor of an empty page, as it was observed.
struct Placeholder {
    Node text = {"AXStaticText", {"Ask ChatGPT"}, "Ask ChatGPT", {}, false};
    Node inner = {"AXGroup", {}, "", {}, false};
    Node outer = {"AXGroup", {}, "", {}, true};
    Node editor = {"AXTextArea", {"Ask ChatGPT", "Help"}, "Ask ChatGPT\n", {}, true};
    std::optional<std::int64_t> count = 12;

    bool isObserved() {
        inner.children.push_back(text);
        outer.children.push_back(inner);
        editor.children.push_back(outer);
        return isObservedPlaceholder(editor, count);
    }
};

TEST(ChatGPTComposerShape, ThePlaceholderIsOneShape) {
    struct Difference {
        const char* name;
        void (*change)(Placeholder&);
        bool isObserved = false;
    };
    const Difference differences[] = {
        {"none", [](Placeholder&) {}, true},
        {"text without a label", [](Placeholder& p) { p.text.labels.clear(); }, true},
        {"typed: no line feed is counted", [](Placeholder& p) { p.count = 11; }},
        {"no count", [](Placeholder& p) { p.count.reset(); }},
        {"typed: no line feed", [](Placeholder& p) { p.editor.value = "Ask ChatGPT"; }},
        {"more words", [](Placeholder& p) { p.editor.value = "Ask ChatGPT\n\n"; }},
        {"no value", [](Placeholder& p) { p.editor.value.reset(); }},
        {"another editor", [](Placeholder& p) { p.editor.labels = {"Message"}; }},
        {"no editor", [](Placeholder& p) { p.editor.role = "AXTextField"; }},
        {"an editor that can't be written", [](Placeholder& p) { p.editor.valueSettable = false; }},
        {"it can't be told whether it can", [](Placeholder& p) { p.editor.valueSettable.reset(); }},
        {"something besides the group", [](Placeholder& p) { p.editor.children = {group({})}; }},
        {"typed: the text is not in groups", [](Placeholder& p) { p.outer = p.text; }},
        {"an outer group that can't be written", [](Placeholder& p) { p.outer.valueSettable = false; }},
        {"an outer group with a label", [](Placeholder& p) { p.outer.labels = {"Draft"}; }},
        {"an outer group with a value", [](Placeholder& p) { p.outer.value = "Ask"; }},
        {"something besides the inner group", [](Placeholder& p) { p.outer.children = {group({})}; }},
        {"typed: an inner group that can be written", [](Placeholder& p) { p.inner.valueSettable = true; }},
        {"an inner group that is none", [](Placeholder& p) { p.inner.role = "AXList"; }},
        {"something besides the text", [](Placeholder& p) { p.inner.children = {group({})}; }},
        {"typed: text that can be written", [](Placeholder& p) { p.text.valueSettable = true; }},
        {"other text", [](Placeholder& p) { p.text.value = "Ask ChatGPT\n"; }},
        {"text with another label", [](Placeholder& p) { p.text.labels.insert("Draft"); }},
        {"text with something in it", [](Placeholder& p) { p.text.children = {group({})}; }},
        {"no text", [](Placeholder& p) { p.text.role = "AXGroup"; }},
    };
    for (const auto& [name, change, isObserved] : differences) {
        Placeholder placeholder;
        change(placeholder);
        EXPECT_EQ(placeholder.isObserved(), isObserved) << name;
    }
}

} // namespace
} // namespace orvel
