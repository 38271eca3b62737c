#include "Orvel/consultation/ChatGPTInspections.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/FileAddress.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace orvel {

namespace {

using Node = ChatGPTComposerShape::Node;

constexpr std::array<std::string_view, 8> controlLabels{
    "Ask ChatGPT", "Add files and more",   "Dictate", "Send", "Start Voice",
    "Expand",      "Select ChatGPT model", "Log in"};
constexpr std::array<FixedWords, 18> roles{
    "AXGroup",   "AXTextArea",   "AXButton", "AXPopUpButton", "AXCheckBox", "AXStaticText",
    "AXSheet",   "AXRow",        "AXCell",   "AXTextField",   "AXOutline",  "AXTable",
    "AXBrowser", "AXScrollArea", "AXImage",  "AXSplitGroup",  "AXList",     "AXProgressIndicator"};
constexpr std::array<FixedWords, 5> identifiers{"open-panel", "GoToWindow", "PathTextField", "OKButton",
                                                "CancelButton"};

DiagnosticText truth(const std::optional<bool>& known) {
    return known ? DiagnosticText(*known) : DiagnosticText(FixedWords("unknown"));
}

DiagnosticText roleOf(std::string_view role) {
    return DiagnosticText::oneOf(role, roles, "other");
}

DiagnosticText kindOf(const std::set<std::string, std::less<>>& labels, std::string_view filename) {
    DiagnosticText kinds;
    for (const auto& label : labels) {
        if (!kinds.text().empty()) kinds += FixedWords(",");
        kinds += chatGPTTextKind(label, filename);
    }
    return kinds.text().empty() ? DiagnosticText(FixedWords("empty")) : kinds;
}

void describe(const Node& node, std::size_t depth, std::vector<DiagnosticText>& lines) {
    if (lines.size() == ChatGPTInspections::maximumLines) return;
    lines.push_back(DiagnosticText::of("depth={} role={} label_kind={} value_kind={} value_settable={} "
                                       "children={}",
                                       depth, roleOf(node.role), kindOf(node.labels, {}),
                                       chatGPTTextKind(node.value, {}), truth(node.valueSettable),
                                       node.children.size()));
    for (const auto& child : node.children) describe(child, depth + 1, lines);
}

std::string joined(DiagnosticText text, const std::vector<DiagnosticText>& lines) {
    for (const auto& line : lines) {
        text += FixedWords("\n");
        text += line;
    }
    return text.text();
}

} // namespace

FixedWords chatGPTTextKind(const std::optional<std::string>& text, std::string_view filename) {
    if (!text) return "unavailable";
    if (text->empty()) return "empty";
    if (*text == "Ask ChatGPT") return "prompt_literal";
    if (*text == "Ask ChatGPT\n") return "prompt_with_LF";
    if (*text == "Ask ChatGPT\n\n") return "prompt_with_two_LF";
    if (*text == "Pro") return "model_Pro";
    if (*text == "Add photos & files") return "upload_title";
    if (*text == "Upload from computer") return "upload_subtitle";
    if (*text == "Add photos & files Upload from computer") return "upload_combined";
    if (std::find(controlLabels.begin(), controlLabels.end(), *text) != controlLabels.end())
        return "control_redacted";
    if (!filename.empty() && *text == filename) return "zip_name";
    if (!filename.empty() && *text == "Remove " + std::string(filename)) return "remove_zip_name";
    return "other_redacted";
}

Task<ChatGPTPage> ChatGPTInspections::shownPage(ChatGPTDeliveryTrace::Caller caller) {
    rooms.enter(ChatGPTDeliveryTrace::Phase::diagnosticRead);
    const auto browser = rooms.pages.onlyBrowser();
    stopUnless(browser.has_value(), "Couldn't uniquely identify Dia.");
    const ChatGPTPageReader::Request request{.pid = browser->process, .caller = caller};
    co_return co_await rooms.pages.activePage(request);
}

Task<std::string> ChatGPTInspections::composer(std::string expectedQuestion) {
    const auto page = co_await shownPage(ChatGPTDeliveryTrace::Caller::selectedPage);
    const auto editor = co_await rooms.composers.composer(page.web);
    const auto region = co_await rooms.composers.composerRegion(editor, page.web);
    const auto text = rooms.elements.checkedString(editor, "AXValue");
    std::optional<bool> isQuestion;
    if (text && !expectedQuestion.empty()) isQuestion = *text == expectedQuestion;
    const auto shape =
        co_await rooms.composers.composerShapeSnapshot(region, ChatGPTComposerReader::shapeBudget);
    std::vector<DiagnosticText> lines{
        DiagnosticText::of("editor_value_kind={} editor_utf16_length={} value_is_question={}",
                           chatGPTTextKind(text, {}), utf16Length(text.value_or("")), truth(isQuestion))};
    describe(shape, 0, lines);
    co_return joined(FixedWords("ChatGPT editor diagnostics (read only, no content)"), lines);
}

Task<std::string> ChatGPTInspections::filePanel(ChatGPTRepositoryArchive expectedArchive) {
    const auto page = co_await shownPage(ChatGPTDeliveryTrace::Caller::selectedPage);
    const auto path = expectedArchive.fileURL;
    const auto panels = co_await rooms.pages.openPanels(page.window);
    std::vector<DiagnosticText> lines;
    lines.push_back(DiagnosticText::of("open_panels={}", panels.size()));
    const auto items = co_await rooms.elements.elementsOfRole(page.web, "AXButton");
    for (const auto& item : items) {
        const auto labels = co_await rooms.elements.labels(item);
        const bool isUpload = std::any_of(labels.begin(), labels.end(), [](const auto& label) {
            return chatGPTTextKind(label, {}).view().starts_with("upload_");
        });
        if (isUpload) lines.push_back(DiagnosticText::of("menu_item_kind={}", kindOf(labels, {})));
    }
    for (const auto& panel : panels) {
        const auto nodes = co_await rooms.elements.descendants(panel);
        for (const auto& node : nodes) {
            if (lines.size() >= maximumLines) break;
            auto line = co_await panelElement(node, path);
            lines.push_back(std::move(line));
        }
    }
    co_return joined(FixedWords("ChatGPT file picker diagnostics (read only, no names or paths)"), lines);
}

Task<DiagnosticText> ChatGPTInspections::panelElement(AccessibilityWalk::Node node, std::string path) {
    auto& elements = rooms.elements;
    co_await elements.step();
    const auto flag = [&](std::string_view name) {
        const auto value = elements.checkedAttribute(node.element, name);
        const auto* known = std::get_if<bool>(&value);
        return truth(known ? std::optional(*known) : std::nullopt);
    };
    const auto identifier = elements.checkedString(node.element, "AXIdentifier");
    const auto address = elements.checkedAttribute(node.element, "AXURL");
    const auto* url = std::get_if<AXURL>(&address);
    const auto value = elements.checkedAttribute(node.element, "AXValue");
    const auto* text = std::get_if<std::string>(&value);
    const auto filename = path.substr(path.rfind('/') + 1);
    const FixedWords urlKind = !url                               ? FixedWords("unavailable")
                               : pathOfFileURL(url->text) == path ? FixedWords("zip_name")
                                                                  : FixedWords("other_redacted");
    co_return DiagnosticText::of(
        "role={} identifier={} enabled={} selected={} value_kind={} url_kind={}", roleOf(node.role),
        DiagnosticText::oneOf(identifier.value_or(""), identifiers, "other"), flag("AXEnabled"),
        flag("AXSelected"), chatGPTTextKind(text ? std::optional(*text) : std::nullopt, filename), urlKind);
}

Task<std::string> ChatGPTInspections::pageStability() {
    co_await shownPage(ChatGPTDeliveryTrace::Caller::stability);
    co_return rooms.operations.trace()->report().text();
}

} // namespace orvel
