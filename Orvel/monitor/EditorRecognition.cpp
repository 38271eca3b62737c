#include "Orvel/monitor/EditorRecognition.h"

#include "OrvelCore/composers/ClaudeComposer.h"
#include "OrvelCore/composers/CodexComposer.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

#include <algorithm>

namespace orvel {

namespace {

// Numbers the elements that an inspection meets. The same element always has the same number.
class Numbers {
  public:
    explicit Numbers(const AXElement& focused) : met{focused} {}

    NodeID of(const AXElement& element) {
        const auto found = std::find(met.begin(), met.end(), element);
        if (found != met.end()) return static_cast<NodeID>(found - met.begin());
        met.push_back(element);
        return static_cast<NodeID>(met.size() - 1);
    }

    const AXElement& element(NodeID id) const { return met[static_cast<std::size_t>(id)]; }

  private:
    std::vector<AXElement> met;
};

std::vector<std::string> labelsOf(TimedReads& reads, const AXElement& button) {
    std::vector<std::string> labels;
    for (const FixedWords name : {FixedWords("AXDescription"), FixedWords("AXTitle"), FixedWords("AXHelp")})
        if (auto label = reads.string(button, name); label && !label->empty())
            labels.push_back(*std::move(label));
    return labels;
}

std::optional<std::string> urlIn(const AXReading& reading) {
    if (const auto* url = reading.as<AXURL>()) return url->text;
    const auto* text = reading.as<std::string>();
    return text && isURL(*text) ? std::optional(*text) : std::nullopt;
}

// At most one child more than an inspection takes, which rejects the element for it.
std::vector<NodeID> numbered(Numbers& numbers, const AXElements& children, std::size_t limit) {
    std::vector<NodeID> ids;
    for (std::size_t i = 0; i < children.size() && i <= limit; ++i) ids.push_back(numbers.of(children[i]));
    return ids;
}

constexpr std::string_view buttonRoles[] = {"AXButton", "AXMenuButton", "AXPopUpButton"};

class CodexTree : public ComposerTree<CodexComposerNode> {
  public:
    CodexTree(TimedReads& reads, const AXElement& focused) : reads(reads), numbers(focused) {}

    std::optional<NodeID> parentOf(const AXElement& element) {
        const auto parent = reads.element(element, "AXParent");
        return parent ? std::optional(numbers.of(*parent)) : std::nullopt;
    }

    std::optional<CodexComposerNode> readNode(NodeID id) override {
        if (!reads.hasBudget()) return std::nullopt;
        ++readCount;
        const auto element = numbers.element(id);
        auto role = reads.string(element, "AXRole");
        if (!role) return std::nullopt;
        CodexComposerNode node{.role = *std::move(role)};
        node.subrole = reads.string(element, "AXSubrole");
        node.parent = parentOf(element);
        if (node.role == "AXGroup")
            node.classes = reads.strings(element, "AXDOMClassList").value_or(std::vector<std::string>());
        if (isOneOf(node.role, buttonRoles)) node.buttonLabels = labelsOf(reads, element);
        // What was not read says nothing.
        return reads.hasFailed() ? std::nullopt : std::optional(std::move(node));
    }

    std::optional<std::vector<NodeID>> readChildren(NodeID id) override {
        const auto children = reads.elements(numbers.element(id), "AXChildren");
        if (!children) return std::nullopt;
        return numbered(numbers, *children, CodexComposerStructure::maximumChildren);
    }

    std::size_t elementsRead() const { return readCount; }

  private:
    TimedReads& reads;
    Numbers numbers;
    std::size_t readCount = 0;
};

// With `isStrict`, whatever of the structure is not read as it must be fails the whole look.
class ClaudeTree : public ClaudeComposerTree {
  public:
    ClaudeTree(TimedReads& reads, DiagnosticFacts& facts, const AXElement& focused, bool isStrict)
        : reads(reads), facts(facts), numbers(focused), isStrict(isStrict) {}

    std::optional<NodeID> parentOf(const AXElement& element) {
        const auto parent = structure<AXElement>(element, "AXParent");
        return parent ? std::optional(numbers.of(*parent)) : std::nullopt;
    }

    std::optional<ComposerNode> readNode(NodeID id) override {
        const auto element = numbers.element(id);
        auto role = structure<std::string>(element, "AXRole");
        if (!role) return std::nullopt;
        ComposerNode node{.role = *std::move(role)};
        node.subrole = structure<std::string>(element, "AXSubrole");
        node.parent = parentOf(element);
        if (node.role == "AXButton") node.buttonLabels = labelsOf(reads, element);
        if (node.role == "AXWebArea") readRoute(element, node);
        return reads.hasFailed() ? std::nullopt : std::optional(std::move(node));
    }

    std::optional<std::vector<NodeID>> readChildren(NodeID id) override {
        const auto children = structure<AXElements>(numbers.element(id), "AXChildren");
        if (!children) return std::nullopt;
        return numbered(numbers, *children,
                        isStrict ? ClaudeCodeComposerIdentity::maximumChildren
                                 : ClaudeComposerIdentity::maximumChildren);
    }

    void onAncestor(std::size_t level, const DiagnosticText& role) override {
        levels = level;
        lastRole = role;
    }
    void report(const DiagnosticText& line) override { facts.add(line); }

    /// Notes how the look went.
    void conclude(const DiagnosticText& decision) {
        facts.add(DiagnosticText::of("Nearest Claude web area: {}", nearest));
        if (levels == 0)
            facts.add(DiagnosticText("Claude ancestors: Not reached"));
        else
            facts.add(DiagnosticText::of("Claude ancestors: Read {} levels / Limit {}", levels,
                                         maximumClaudeAncestors));
        facts.add(DiagnosticText::of("Claude ancestor traversal ended: {}", lastRole));
        if (isStrict) facts.add(DiagnosticText("Inspected up to 5 Code parent levels and 100 elements"));
        facts.add(DiagnosticText::of("Claude structure decision: {}", decision));
    }

    /// The first page above the editor.
    const std::optional<AXElement>& webArea() const { return page; }

  private:
    template <typename T>
    std::optional<T> structure(const AXElement& element, FixedWords name) {
        const auto reading = reads.attribute(element, name);
        if (const auto* value = reading.as<T>()) return *value;
        const bool isAbsent = reading.status == AXStatus::noValue ||
                              reading.status == AXStatus::attributeUnsupported ||
                              (reading.status == AXStatus::success && isNothing(reading.value));
        if (isStrict && !isAbsent) reads.fail("Code structure attribute read failure or type mismatch");
        return std::nullopt;
    }

    void readRoute(const AXElement& element, ComposerNode& node) {
        const auto url = urlIn(reads.attribute(element, "AXURL"));
        if (url) {
            node.webRoute = claudeChatRoute(*url);
            node.codeRoute = ClaudeCodeRoute(*url);
        }
        if (page) return;
        page = element;
        nearest = url ? urlStructure(*url) : DiagnosticText("Unavailable");
    }

    TimedReads& reads;
    DiagnosticFacts& facts;
    Numbers numbers;
    bool isStrict;
    std::size_t levels = 0;
    DiagnosticText lastRole{"Unavailable"}, nearest{"Not reached"};
    std::optional<AXElement> page;
};

ComposerRecognition recognizeCodex(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor) {
    CodexTree tree(reads, editor);
    const auto recognition = CodexComposerStructure::inspect(tree.parentOf(editor), tree);
    facts.addSurely(DiagnosticText::of("Codex structure: {} / Elements read={}", description(recognition),
                                       tree.elementsRead()),
                    DiagnosticFacts::capacity - 3);
    return recognition;
}

ClaudeCodeInspection inspectClaude(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor,
                                   bool isCode, std::optional<AXElement>& webArea) {
    ClaudeTree tree(reads, facts, editor, isCode);
    const auto parent = tree.parentOf(editor);
    ClaudeCodeInspection inspection{ClaudeComposerDiagnosis::ancestorReadFailed, std::nullopt};
    if (parent && isCode)
        inspection = ClaudeCodeComposerIdentity::inspect(parent, tree);
    else if (parent)
        inspection.diagnosis = ClaudeComposerIdentity::inspect(parent, tree);
    tree.conclude(description(inspection.diagnosis));
    webArea = tree.webArea();
    return inspection;
}

EditorRecognition unrecognized(const DiagnosticText& line) {
    return {ComposerRecognition::excluded, std::nullopt, line};
}

// Nothing where the page may be a regular chat's.
std::optional<EditorRecognition> recognizeCode(TimedReads& reads, DiagnosticFacts& facts,
                                               const AXElement& editor) {
    const auto settable = reads.isSettable(editor, "AXValue");
    if (settable.status != AXStatus::success || !settable.isSettable)
        return unrecognized(
            DiagnosticText("Claude Code / Editor state: Not editable / Return: Pass through"));
    std::optional<AXElement> webArea;
    auto inspection = inspectClaude(reads, facts, editor, true, webArea);
    if (inspection.diagnosis == ClaudeComposerDiagnosis::unsupportedRoute && !reads.hasFailed())
        return std::nullopt;
    const auto decision = description(inspection.diagnosis);
    if (inspection.diagnosis != ClaudeComposerDiagnosis::matchedCode || reads.hasFailed() || !webArea ||
        !inspection.desktopSessionID)
        return unrecognized(DiagnosticText::of("Claude Code / {} / Return: Pass through", decision));
    return EditorRecognition{ComposerRecognition::verified,
                             CodeCaptureContext{*std::move(inspection.desktopSessionID), *webArea},
                             DiagnosticText::of("Claude Code / {}", decision)};
}

EditorRecognition recognizeChat(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor) {
    std::optional<AXElement> webArea;
    const auto inspection = inspectClaude(reads, facts, editor, false, webArea);
    const auto decision = description(inspection.diagnosis);
    if (inspection.diagnosis != ClaudeComposerDiagnosis::matched || reads.hasFailed())
        return unrecognized(DiagnosticText::of("Claude / {} / Return: Pass through", decision));
    return {ComposerRecognition::verified, std::nullopt, DiagnosticText::of("Claude / {}", decision)};
}

bool isEditable(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor) {
    const auto settable = reads.isSettable(editor, "AXValue");
    facts.add(
        DiagnosticText::of("AXValue editable: {}, value={}", numberOf(settable.status), settable.isSettable));
    if (settable.status == AXStatus::success && settable.isSettable) return true;
    const auto reading = reads.attribute(editor, "AXIsEditable");
    const auto* editable = reading.as<bool>();
    return editable && *editable;
}

EditorRecognition recognizeReadable(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor,
                                    Agent agent) {
    const auto role = reads.string(editor, "AXRole");
    facts.add(DiagnosticText::of("Editor role: {}", DiagnosticSummary::role(role)));
    if (role != "AXTextArea")
        return unrecognized(
            DiagnosticText::of("{} / Editor type: Unsupported or unavailable / Return: Pass through", agent));

    if (agent == Agent::claude &&
        reads.string(editor, "AXDescription") == ClaudeCodeComposerIdentity::editorDescription) {
        if (auto code = recognizeCode(reads, facts, editor)) return *std::move(code);
    }

    const auto classes = reads.strings(editor, "AXDOMClassList");
    facts.add(DiagnosticText::of("DOM class: {}", DiagnosticSummary::classes(classes)));
    if (reads.hasFailed())
        return unrecognized(DiagnosticText::of(
            "{} / Conversation editor DOM class: Unavailable / Return: Pass through", agent));
    if (!classes || !holds(*classes, "ProseMirror"))
        return unrecognized(
            DiagnosticText::of("{} / Conversation editor DOM class: Mismatch / Return: Pass through", agent));
    const bool editable = isEditable(reads, facts, editor);

    if (agent == Agent::claude) {
        if (!ClaudeComposerIdentity::matchesEditor(*role, *classes, editable))
            return unrecognized(DiagnosticText(
                "Claude / Editor classes or editable state: Unverified / Return: Pass through"));
        return recognizeChat(reads, facts, editor);
    }
    if (!CodexComposerStructure::matchesEditor(*role, classes, editable))
        return unrecognized(DiagnosticText("Codex / Editor classes or editable state: Unverified"));
    const auto recognition = recognizeCodex(reads, facts, editor);
    return {recognition, std::nullopt, DiagnosticText::of("Codex / {}", description(recognition))};
}

} // namespace

// An editor that could not be read may be any, and so may one that was drawn anew while it was looked at.
EditorRecognition recognizeEditor(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor,
                                  Agent agent) {
    auto found = recognizeReadable(reads, facts, editor, agent);
    if (!found.isKnown()) reads.string(editor, "AXRole"); // Fails once it is gone.
    if (!reads.hasFailed()) return found;
    return {ComposerRecognition::uncertain, std::nullopt, found.line};
}

bool isCurrent(TimedReads& reads, const CodeCaptureContext& context) {
    const auto url = urlIn(reads.attribute(context.webArea, "AXURL"));
    return url && ClaudeCodeRoute(*url).desktopSessionID == context.desktopSessionID;
}

} // namespace orvel
