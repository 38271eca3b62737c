#include "OrvelCore/composers/DiagnosticSummary.h"

#include "OrvelCore/composers/ClaudeComposer.h"
#include "OrvelCore/composers/CodexComposer.h"

#include <algorithm>

namespace orvel::DiagnosticSummary {

namespace {

constexpr FixedWords knownRoles[] = {
    "AXTextArea",    "AXTextField",   "AXWebArea",    "AXGroup", "AXStaticText", "AXButton",
    "AXWindow",      "AXApplication", "AXScrollArea", "AXList",  "AXUnknown",    "AXRadioGroup",
    "AXRadioButton", "AXPopUpButton", "AXMenuButton", "AXImage", "AXLink",       "AXCheckBox"};

bool isKnownLabel(std::string_view label) {
    namespace Claude = ClaudeComposerIdentity;
    namespace Code = ClaudeCodeComposerIdentity;
    namespace Codex = CodexComposerStructure;
    return label == Code::editorDescription || label == Code::sendButtonLabel ||
           isOneOf(label, Claude::sendButtonLabels) || isOneOf(label, Claude::editingButtonLabels) ||
           isOneOf(label, Codex::submitLabels) || isOneOf(label, Codex::contextLabels) ||
           isOneOf(label, Codex::editLabels);
}

} // namespace

DiagnosticText role(const std::optional<std::string>& role) {
    if (!role) return FixedWords("Unavailable");
    return DiagnosticText::oneOf(*role, knownRoles, "Other role");
}

DiagnosticText classes(std::optional<std::span<const std::string>> classes) {
    if (!classes) return FixedWords("Array unavailable");
    const auto holds = [&](std::string_view name) {
        return std::find(classes->begin(), classes->end(), name) != classes->end();
    };
    return DiagnosticText::of("ProseMirror={}, tiptap={}, class count={}", holds("ProseMirror"),
                              holds("tiptap"), classes->size());
}

DiagnosticText label(const std::optional<std::string>& label) {
    if (!label) return FixedWords("String unavailable");
    if (label->empty()) return FixedWords("Empty string");
    if (isKnownLabel(*label)) return FixedWords("Matches a known conversation label");
    return FixedWords("Unregistered label (content not recorded)");
}

DiagnosticText input(ReturnInputClassification classification) {
    return description(classification);
}

DiagnosticText inputSource(const std::optional<InputSourceIdentity>& source) {
    if (!source) return FixedWords("Unavailable");
    return DiagnosticText::of("ID={}, mode={}, type={}", DiagnosticText::systemIdentifier(source->id),
                              DiagnosticText::systemIdentifier(source->mode),
                              DiagnosticText::systemIdentifier(source->type));
}

DiagnosticText observed(const std::optional<std::string>& fact) {
    return fact ? DiagnosticText::systemIdentifier(fact) : FixedWords("Unavailable");
}

} // namespace orvel::DiagnosticSummary
