#include "Orvel/consultation/ChatGPTComposerReader.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace orvel {

namespace {

using Labels = ChatGPTElements::Labels;
using Node = ChatGPTComposerShape::Node;

Labels labelled(std::string_view label) {
    return {std::string(label)};
}

std::string unproven(const ChatGPTComposerReader::Content& content) {
    const auto count = content.characterCount ? std::to_string(*content.characterCount) : "Unavailable";
    return "Couldn't verify an empty ChatGPT editor. Existing content was kept. Value characters=" +
           std::to_string(utf16Length(content.text)) + ", AX characters=" + count;
}

} // namespace

Task<AXElement> ChatGPTComposerReader::composer(AXElement in) {
    const std::string role = "AXTextArea";
    const auto labels = labelled(ChatGPTComposerShape::placeholder);
    const auto editors = co_await elements.find(in, role, labels);
    stopUnless(editors.size() == 1, "Couldn't uniquely identify the ChatGPT editor.");
    co_return editors.front();
}

Task<AXElement> ChatGPTComposerReader::composerRegion(AXElement editor, AXElement web) {
    const std::string button = "AXButton";
    const auto labels = labelled(ChatGPTComposerShape::addFiles);
    const auto above = co_await elements.ancestry(editor, web);
    if (above.end == ChatGPTElements::Ancestry::End::found && !above.ancestors.empty()) {
        const auto below = std::min(above.ancestors.size() - 1, maximumRegionLevel);
        for (std::size_t level = 0; level < below; ++level) {
            const auto& ancestor = above.ancestors[level];
            co_await elements.step();
            const auto role = elements.checkedString(ancestor, "AXRole");
            if (role != "AXGroup") continue;
            const auto adds = co_await elements.find(ancestor, button, labels);
            if (adds.size() == 1) co_return ancestor;
        }
    }
    throw RelaySendError("Couldn't verify the same editor containing the question and attachment.");
}

Task<void> ChatGPTComposerReader::verifyHeldComposer(AXElement editor, AXElement region, ChatGPTPage page) {
    static constexpr std::string_view replaced = "The retained editor was replaced.",
                                      moved = "The retained editor or attachment region changed ownership.";
    co_await elements.step();
    const auto editorRole = elements.checkedString(editor, "AXRole");
    co_await elements.step();
    const auto regionRole = elements.checkedString(region, "AXRole");
    stopUnless(editorRole == "AXTextArea" && regionRole == "AXGroup", replaced);
    const bool isInRegion = co_await elements.checkedWithin(editor, region);
    const bool isInPage = co_await elements.checkedWithin(region, page.web);
    stopUnless(isInRegion && isInPage, moved);
    const std::string role = "AXTextArea";
    const auto editors = co_await elements.elementsOfRole(region, role);
    stopUnless(editors == AXElements{editor}, replaced);
}

// Nothing where the editor doesn't tell.
Task<std::optional<std::int64_t>> ChatGPTComposerReader::characterCount(AXElement editor) {
    constexpr double maximum = 1e9; // Far beyond any question.
    co_await elements.step();
    AXValue value;
    try {
        value = elements.checkedAttribute(editor, "AXNumberOfCharacters");
    } catch (const ChatGPTAXReadFailure& failure) {
        if (failure.isTransient()) throw;
    }
    const auto* number = std::get_if<double>(&value);
    const bool isCount = number && *number >= 0 && *number <= maximum && std::trunc(*number) == *number;
    co_return isCount ? std::optional(static_cast<std::int64_t>(*number)) : std::nullopt;
}

// Whether the editor is drawn as an empty one is, and still holds the text.
Task<bool> ChatGPTComposerReader::showsPlaceholder(AXElement editor, Content content) {
    if (content.text != ChatGPTComposerShape::observedPlaceholder) co_return false;
    const auto shape = co_await shapeOf(editor, shapeBudget);
    if (!shape || !ChatGPTComposerShape::isObservedPlaceholder(*shape, content.characterCount))
        co_return false;
    co_await elements.step();
    co_return elements.requiredText(editor) == content.text;
}

Task<ChatGPTComposerReader::Content> ChatGPTComposerReader::content(AXElement editor,
                                                                    bool allowObservedPlaceholder) {
    co_await elements.step();
    Content content;
    content.text = elements.requiredText(editor);
    if (content.text.empty()) {
        content.kind = Content::Kind::empty;
        co_return content;
    }
    if (trimmed(content.text) != ChatGPTComposerShape::placeholder) {
        content.kind = Content::Kind::draft;
        co_return content;
    }
    content.characterCount = co_await characterCount(editor);
    if (!allowObservedPlaceholder) co_return content;
    const bool isEmpty = co_await showsPlaceholder(editor, content);
    if (isEmpty) content.kind = Content::Kind::empty;
    co_return content;
}

Task<void> ChatGPTComposerReader::requireEmptyComposer(AXElement editor, bool allowObservedPlaceholder) {
    const auto found = co_await content(editor, allowObservedPlaceholder);
    stopUnless(found.kind != Content::Kind::draft,
               "The ChatGPT editor has a draft. Stopped and kept the content.");
    stopUnless(found.kind == Content::Kind::empty, unproven(found));
}

Task<void> ChatGPTComposerReader::requireInitialEmptyRegion(AXElement region) {
    const std::string role = "AXButton";
    const auto send = labelled(ChatGPTComposerShape::send),
               startVoice = labelled(ChatGPTComposerShape::startVoice);
    const std::optional<std::string> noFile;
    const auto names = co_await attachmentNames(region, noFile);
    bool isInitial = names && names->empty();
    if (isInitial) {
        const auto sends = co_await elements.find(region, role, send);
        const auto voices = co_await elements.find(region, role, startVoice);
        co_await elements.step();
        isInitial = sends.empty() && voices.size() == 1 && elements.checkedEnabled(voices.front());
    }
    stopUnless(isInitial, "Couldn't verify the initial empty ChatGPT editor with no attachments. Existing "
                          "content was kept.");
}

// Nothing unless all of it could be told.
Task<std::optional<Node>> ChatGPTComposerReader::shapeOf(AXElement element, std::size_t budget) {
    static constexpr std::array<std::string_view, 4> attributes{"AXTitle", "AXDescription", "AXHelp",
                                                                "AXValue"};
    auto& reads = elements.attributes();
    const auto walked = co_await AccessibilityWalk::descendants(reads, element, budget);
    if (!walked) co_return std::nullopt;
    const auto readAhead = reads.port().readAhead(element, attributes, budget);
    std::vector<Node> nodes;
    for (const auto& [each, role, parent] : *walked) {
        Node node{.role = role};
        node.labels = co_await elements.labels(each);
        if (ChatGPTComposerShape::hasValue(role)) {
            co_await elements.step();
            node.value = elements.checkedString(each, "AXValue");
        }
        co_await elements.step();
        node.valueSettable = elements.isSettable(each, "AXValue");
        nodes.push_back(std::move(node));
    }
    // Parents stand before their children, so from the end each one is whole when its parent takes it.
    for (auto i = nodes.size(); --i > 0;) {
        auto& siblings = nodes[(*walked)[i].parent].children;
        siblings.insert(siblings.begin(), std::move(nodes[i]));
    }
    co_return std::move(nodes.front());
}

Task<Node> ChatGPTComposerReader::composerShapeSnapshot(AXElement element, std::size_t budget) {
    auto shape = co_await shapeOf(element, budget);
    stopUnless(shape.has_value(), "Couldn't read the entire attachment region.");
    co_return *std::move(shape);
}

Task<std::optional<std::vector<std::string>>>
ChatGPTComposerReader::attachmentNames(AXElement region, std::optional<std::string> expectedFilename) {
    const auto shape = co_await shapeOf(region, shapeBudget);
    if (!shape) co_return std::nullopt;
    co_return ChatGPTComposerShape::attachmentNames(*shape, expectedFilename);
}

Task<void> ChatGPTComposerReader::requireOnlyAttachment(AXElement region, std::string filename,
                                                        const char* otherwise) {
    const auto names = co_await attachmentNames(region, filename);
    stopUnless(names == std::vector{filename}, otherwise);
}

} // namespace orvel
