// Recognises the controls around the editor of a Claude page by their position.

#include "Orvel/delivery/ClaudeReadiness.h"
#include "Orvel/delivery/ClaudeWindowReader.h"
#include "OrvelCore/composers/DiagnosticSummary.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <algorithm>

namespace orvel {

namespace {

// The highest ancestor of the editor to describe; the parent has level 1.
constexpr std::size_t diagnosticLevel = 6;

bool isTextInput(const std::string& role) {
    return role == "AXTextArea" || role == "AXTextField";
}

bool isForeign(const std::string& role) {
    return role == "AXSheet" || role == "AXDialog" || role == "AXWebArea";
}

bool holds(const std::vector<std::string>& labels, std::string_view label) {
    return std::find(labels.begin(), labels.end(), label) != labels.end();
}

bool namesAttachment(const std::string& label) {
    return label.starts_with("Remove ") || label.find("添付を削除") != label.npos;
}

} // namespace

Task<ClaudeSnapshot> ClaudeWindowReader::composerSnapshot(AXElement window, AXElement editor, AXElement page,
                                                          AXElements responseNodes, std::string text,
                                                          bool diagnosticDetails) {
    ClaudeSnapshot snapshot(window, page, responseNodes, editor, text);
    const auto root = co_await composerRoot(editor, diagnosticDetails, snapshot.diagnostics);
    co_await readControls(root, snapshot);
    if (!snapshot.isResponding) snapshot.isResponding = co_await stillResponds(responseNodes);
    co_await step();
    readSendEnabled(snapshot);
    co_return snapshot;
}

// The ancestor that holds the composer. All ancestors up to it must be groups.
Task<AXElement> ClaudeWindowReader::composerRoot(AXElement editor, bool diagnosticDetails,
                                                 DiagnosticText& diagnostics) {
    auto ancestor = editor, root = editor;
    for (std::size_t level = 1; level <= (diagnosticDetails ? diagnosticLevel : composerLevel); ++level) {
        co_await step();
        const auto parent = reads.element(ancestor, "AXParent");
        throwSendErrorUnless(parent.has_value());
        ancestor = *parent;
        reads.bound(ancestor);
        co_await step();
        const auto role = reads.string(ancestor, "AXRole");
        if (diagnosticDetails) {
            const auto line = co_await ancestorLine(level, ancestor, role);
            if (line && !diagnostics.text().empty()) diagnostics += FixedWords("\n");
            if (line) diagnostics += *line;
        }
        throwSendErrorUnless(role == "AXGroup");
        if (level > composerLevel) break;
        root = ancestor;
        if (auto* attempt = history.current()) attempt->parents = level;
    }
    co_return root;
}

// Describes what is below an ancestor of the editor; nothing if that can't be read.
Task<std::optional<DiagnosticText>> ClaudeWindowReader::ancestorLine(std::size_t level, AXElement ancestor,
                                                                     std::optional<std::string> role) {
    std::size_t elements = 0, buttons = 0, sendLabels = 0, sendValues = 0;
    try {
        const auto nodes = co_await descendants(ancestor, maximumDiagnosticElements);
        elements = nodes.size();
        for (const auto& node : nodes) {
            if (node.role != "AXButton") continue;
            ++buttons;
            const auto texts = co_await labels(node.element);
            if (holds(texts, "Send")) ++sendLabels;
            co_await step();
            if (reads.string(node.element, "AXValue") == "Send") ++sendValues;
        }
    } catch (const Failure&) {
        co_return std::nullopt;
    }
    co_return DiagnosticText::of("Ancestor {}: role={}, element={}, button={}, Send label={}, Send value={}",
                                 level, role ? DiagnosticSummary::role(role) : FixedWords("Unknown"),
                                 elements, buttons, sendLabels, sendValues);
}

// Verifies the composer's contents, and finds its Send button, attachments and a reply that can be stopped.
Task<void> ClaudeWindowReader::readControls(AXElement root, ClaudeSnapshot& snapshot) {
    const auto nodes = co_await descendants(root, maximumComposerElements);
    AXElements inputs;
    for (const auto& node : nodes) {
        if (isTextInput(node.role)) inputs.push_back(node.element);
        throwSendErrorUnless(!isForeign(node.role));
    }
    throwSendErrorUnless(inputs.size() == 1 && inputs.front() == snapshot.editor);

    AXElements buttons;
    for (const auto& node : nodes)
        if (node.role == "AXButton") buttons.push_back(node.element);
    const auto announced = reads.announce(buttons, labelAttributes);
    for (const auto& button : buttons) {
        const auto texts = co_await labels(button);
        if (holds(texts, "Send")) {
            throwSendErrorUnless(!snapshot.sendButton);
            snapshot.sendButton = button;
        }
        if (std::any_of(texts.begin(), texts.end(), namesAttachment)) snapshot.hasAttachment = true;
        if (holds(texts, "Stop")) snapshot.isResponding = true;
    }
}

Task<bool> ClaudeWindowReader::stillResponds(AXElements responseNodes) {
    for (const auto& node : responseNodes) {
        co_await step();
        if (reads.string(node, "AXValue") == respondingText) co_return true;
    }
    co_return false;
}

void ClaudeWindowReader::readSendEnabled(ClaudeSnapshot& snapshot) {
    if (!snapshot.sendButton) {
        snapshot.sendEnabledDiagnostic = FixedWords("No Send button");
        return;
    }
    const auto state = accessibility.attribute(*snapshot.sendButton, "AXEnabled");
    history.axFailure("AXEnabled", state.status);
    if (state.status != AXStatus::success) {
        snapshot.sendEnabledDiagnostic =
            DiagnosticText::of("Unavailable AX={}", static_cast<std::int32_t>(state.status));
    } else if (const auto* enabled = state.as<bool>()) {
        snapshot.sendEnabled = *enabled;
        snapshot.sendEnabledDiagnostic = DiagnosticText::of("{} (AX succeeded / Boolean)", *enabled);
    } else {
        snapshot.sendEnabledDiagnostic = FixedWords("AX succeeded; no value or non-Boolean type");
    }
}

} // namespace orvel
