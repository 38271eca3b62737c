#include "Orvel/monitor/ClaudeEditorInspection.h"

#include "Orvel/monitor/EditorRecognition.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

#include <algorithm>
#include <deque>

namespace orvel {

namespace {

constexpr std::size_t maximumElements = 160, maximumChildren = 64; // The latter of one element.

// The only visible text area below the root, or why there is none.
struct EditorSearch {
    std::optional<AXElement> editor;
    FixedWords end{"All elements searched"};
};

bool isVisible(TimedReads& reads, const AXElement& element) {
    const auto reading = reads.attribute(element, "AXSize");
    const auto* size = reading.as<AXSize>();
    return size && size->width > 0 && size->height > 0;
}

EditorSearch visibleEditor(TimedReads& reads, const AXElement& root) {
    EditorSearch search;
    std::deque<AXElement> open{root};
    std::vector<AXElement> met{root};
    std::size_t count = 0;
    for (; !open.empty(); open.pop_front()) {
        if (!reads.hasBudget()) return {std::nullopt, "Time budget exhausted"};
        if (++count > maximumElements) return {std::nullopt, "160-element limit"};
        const auto& element = open.front();
        if (reads.string(element, "AXRole") == "AXTextArea" && isVisible(reads, element)) {
            if (search.editor) return {std::nullopt, "Multiple visible candidates"};
            search.editor = element;
        }
        const auto children = reads.elements(element, "AXChildren").value_or(AXElements());
        for (std::size_t i = 0; i < children.size() && i < maximumChildren; ++i) {
            if (std::find(met.begin(), met.end(), children[i]) != met.end())
                return {std::nullopt, "Cycle or duplicate element"};
            met.push_back(children[i]);
            open.push_back(children[i]);
        }
    }
    return search;
}

struct Target {
    std::optional<AXElement> editor;
    DiagnosticText line;
};

Target target(TimedReads& reads, const AXElement& application) {
    if (auto focused = reads.element(application, "AXFocusedUIElement");
        focused && reads.string(*focused, "AXRole") == "AXTextArea")
        return {std::move(focused), FixedWords("Claude / Inspection target: Focused editor")};
    EditorSearch search{std::nullopt, "No window"};
    if (const auto window = reads.element(application, "AXFocusedWindow"))
        search = visibleEditor(reads, *window);
    if (search.editor)
        return {search.editor, FixedWords("Claude / Inspection target: Unique visible editor")};
    return {std::nullopt, DiagnosticText::of("Claude / Inspection target: Neither focus nor a unique visible "
                                             "editor could be verified ({})",
                                             search.end)};
}

DiagnosticText lineOf(TimedReads& reads, const AXElement& editor) {
    const auto reading = reads.attribute(editor, "AXInsertionPointLineNumber");
    const auto* number = reading.as<double>();
    if (!number) return DiagnosticText::of("Unavailable ({})", numberOf(reading.status));
    return DiagnosticText::of("Caret in line {}", static_cast<int>(std::clamp(*number, -1.0, 1e6)));
}

} // namespace

DiagnosticText inspectClaudeEditor(const MainLoop& loop, Accessibility& accessibility,
                                   Applications& applications) {
    if (!accessibility.isTrusted()) return {"Claude editor read-only inspection: Accessibility not granted"};
    const auto running = applications.running(std::string(OrvelCommandPolicy::bundleID(Agent::claude)));
    if (running.empty()) return {"Claude editor read-only inspection: Claude is not running"};

    DiagnosticFacts facts;
    TimedReads reads(loop, accessibility, facts);
    const OpenBudget budget(reads);
    DiagnosticText report("Claude editor read-only inspection: Started\n"
                          "Read only (no input, send, or Return decision)\n");
    const auto [editor, line] = target(reads, reads.application(running.front().process));
    report += line;
    if (editor) {
        report += DiagnosticText::of("\n{}", recognizeEditor(reads, facts, *editor, Agent::claude).line);
        // The rest is told even where the recognition has failed.
        const auto text = reads.string(*editor, "AXValue");
        report += DiagnosticText::of("\nCurrent input shape: {}\nLine metrics: {}",
                                     text ? DiagnosticSummary::input(classifyInput(*text))
                                          : DiagnosticText("Unavailable"),
                                     lineOf(reads, *editor));
    }
    if (reads.failure()) report += DiagnosticText::of("\nRead failure: {}", *reads.failure());
    if (!facts.all().empty()) report += DiagnosticText::of("\n{}", facts.text());
    return report;
}

} // namespace orvel
