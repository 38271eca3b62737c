#include "Orvel/delivery/ClaudeWindowReader.h"

#include "Orvel/delivery/ClaudeCodePageSelection.h"
#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/addresses/ClaudeRoutes.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/Unicode.h"

#include <array>
#include <utility>

namespace orvel {

namespace {

using URLValue = ClaudeCodePageSelection::URLValue;

bool isClaude(const std::optional<RunningApplication>& application) {
    return application && application->bundleID == OrvelCommandPolicy::claudeBundleID;
}

FixedWords frontWords(const std::optional<RunningApplication>& front, ProcessID ownProcess) {
    if (!front) return "none";
    if (isClaude(front)) return "claude";
    if (front->process == ownProcess) return "orvel";
    return front->bundleID ? FixedWords("other") : FixedWords("unknown");
}

// The text of a URL, whatever the browser made of it, or of a string that is one.
std::optional<std::string> urlOf(const AXValue& value) {
    if (const auto* url = std::get_if<AXURL>(&value)) return url->text;
    const auto* text = std::get_if<std::string>(&value);
    return text && isURL(*text) ? std::optional(*text) : std::nullopt;
}

URLValue urlValueOf(const AXValue& value) {
    if (isNothing(value)) return {URLValue::Kind::missing, {}};
    auto url = urlOf(value);
    return url ? URLValue{URLValue::Kind::url, *std::move(url)} : URLValue{URLValue::Kind::invalidType, {}};
}

} // namespace

ClaudeWindowReader::ClaudeWindowReader(const Desktop& ports, ClaudeRelayDiagnosticHistory& history)
    : loop(ports.loop),
      accessibility(ports.accessibility),
      applications(ports.applications),
      history(history),
      reads(ports.loop, ports.accessibility, elementTimeout,
            [&history](std::string_view attribute, AXStatus status) {
                history.axFailure(attribute, status);
                throw ClaudeAXReadFailure(attribute, status);
            }) {}

std::optional<std::string> ClaudeWindowReader::url(const AXElement& element) const {
    return urlOf(reads.value(element, "AXURL"));
}

Task<ClaudeWindowReader::Nodes> ClaudeWindowReader::descendants(AXElement root, std::size_t maximumElements) {
    auto nodes = co_await AccessibilityWalk::descendants(reads, root, maximumElements);
    throwSendErrorUnless(nodes.has_value());
    co_return *std::move(nodes);
}

Task<AXElements> ClaudeWindowReader::elementsOfRole(AXElement root, std::string role) {
    auto elements = co_await AccessibilityWalk::elementsOfRole(reads, root, role, maximumWindowElements);
    throwSendErrorUnless(elements.has_value());
    co_return *std::move(elements);
}

Task<std::vector<std::string>> ClaudeWindowReader::labels(AXElement button) {
    std::vector<std::string> labels;
    for (const auto attribute : labelAttributes) {
        co_await step();
        if (auto label = reads.string(button, attribute)) labels.push_back(*std::move(label));
    }
    co_return labels;
}

AXElement ClaudeWindowReader::applicationElement(ProcessID process) {
    const auto application = accessibility.application(process);
    accessibility.setMessagingTimeout(application, applicationTimeout);
    return application;
}

AXElement ClaudeWindowReader::focusedWindow(ProcessID process) {
    const auto window = reads.element(applicationElement(process), "AXFocusedWindow");
    throwSendErrorUnless(window.has_value());
    return *window;
}

RunningApplication ClaudeWindowReader::claudeInFront() {
    const auto front = applications.frontmost();
    if (auto* attempt = history.current()) attempt->front = frontWords(front, applications.ownProcess());
    throwSendErrorUnless(isClaude(front));
    return *front;
}

AXElement ClaudeWindowReader::focusedClaudeWindow() {
    return focusedWindow(claudeInFront().process);
}

void ClaudeWindowReader::requireWindow(const AXElement& window) {
    throwSendErrorUnless(focusedClaudeWindow() == window, claudeWindowChanged);
}

Task<std::optional<std::string>>
ClaudeWindowReader::currentCodePagePath(std::optional<AXElement> expectedWindow) {
    using ClaudeCodePageSelection::Failure;
    co_await step();
    const auto window = focusedClaudeWindow();
    throwSendErrorUnless(!expectedWindow || window == *expectedWindow);
    const auto webAreas = co_await elementsOfRole(window, "AXWebArea");
    std::vector<URLValue> values;
    for (const auto& webArea : webAreas) {
        co_await step();
        values.push_back(urlValueOf(reads.value(webArea, "AXURL")));
    }
    auto* attempt = history.current();
    if (attempt) attempt->pages = webAreas.size();
    try {
        auto path = ClaudeCodePageSelection::select(values);
        if (attempt) attempt->codePages = path ? 1 : 0;
        co_return path;
    } catch (const Failure& failure) {
        if (attempt && failure.kind() == Failure::Case::multipleCodePages) attempt->codePages = 2;
        throw;
    }
}

Task<ClaudeSnapshot> ClaudeWindowReader::snapshot(ClaudeSnapshotRequest request) {
    co_await step();
    const auto front = applications.frontmost();
    throwSendErrorUnless(
        isClaude(front),
        "Claude is not in the foreground. Show the destination conversation before sending.");
    const auto window = focusedWindow(front->process);
    throwSendErrorUnless(!request.expectedWindow || window == *request.expectedWindow);
    const auto page = co_await pageOf(window, request.path);
    throwSendErrorUnless(!request.expectedPage || page == *request.expectedPage);

    const auto nodes = co_await descendants(page, maximumWindowElements);
    const auto editor = co_await editorOf(nodes);
    throwSendErrorUnless(!request.expectedEditor || editor == *request.expectedEditor);

    co_await step();
    const auto text = reads.string(editor, "AXValue");
    throwSendErrorUnless(text.has_value());
    throwSendErrorUnless(!request.rejectNonEmpty || trimmed(*text).empty(),
                         "Claude has a draft. Nothing was changed.");

    const auto responseNodes = co_await responseNodesOf(page, nodes, editor, *text);
    auto snapshot =
        co_await composerSnapshot(window, editor, page, responseNodes, *text, request.diagnosticDetails);
    snapshot.ancestors = AccessibilityWalk::ancestors(nodes, editor);
    co_return snapshot;
}

Task<ClaudeLastLook> ClaudeWindowReader::lastLook(ClaudeSnapshot snapshot) {
    ClaudeLastLook found;
    for (int look = 1; look <= maximumLooks; ++look) {
        co_await step();
        const auto began = loop.uptime();
        const std::array requests{AXRequest{applicationElement(claudeInFront().process), "AXFocusedWindow"},
                                  AXRequest{snapshot.editor, "AXValue"}};
        const auto values = reads.values(requests);
        found = {values[0] == AXValue(snapshot.window), values[1] == AXValue(snapshot.text)};
        if (!found.isSameWindow || !found.isSameText || loop.uptime() - began <= maximumLookAge) break;
    }
    co_return found;
}

// The only web area of the window whose URL has this path.
Task<AXElement> ClaudeWindowReader::pageOf(AXElement window, std::string path) {
    const auto webAreas = co_await elementsOfRole(window, "AXWebArea");
    AXElements pages;
    for (const auto& webArea : webAreas) {
        co_await step();
        const auto url = this->url(webArea);
        if (url && claudeWebPath(*url) == path) pages.push_back(webArea);
    }
    if (auto* attempt = history.current()) {
        attempt->pages = pages.size();
        attempt->routeMatches = pages.size() == 1;
    }
    if (pages.empty()) throw RouteSnapshotMismatch();
    throwSendErrorUnless(pages.size() == 1);
    co_return pages.front();
}

// The only prompt editor among the elements of a page.
Task<AXElement> ClaudeWindowReader::editorOf(const Nodes& page) {
    AXElements editors;
    for (const auto& node : page) {
        if (node.role != "AXTextArea") continue;
        co_await step();
        if (reads.string(node.element, "AXDescription") == "Prompt") editors.push_back(node.element);
    }
    if (auto* attempt = history.current()) attempt->editors = editors.size();
    throwSendErrorUnless(editors.size() == 1);
    co_return editors.front();
}

// The elements that say that Claude is responding. The editor's text is already known.
Task<AXElements> ClaudeWindowReader::responseNodesOf(AXElement page, const Nodes& nodes, AXElement editor,
                                                     std::string text) {
    static constexpr std::array<std::string_view, 1> attributes{"AXValue"};
    const auto readAhead = accessibility.readAhead(page, attributes, maximumWindowElements);
    AXElements responseNodes;
    for (const auto& node : nodes) {
        co_await step();
        const auto value = node.element == editor ? text : reads.string(node.element, "AXValue");
        if (value == respondingText) responseNodes.push_back(node.element);
    }
    co_return responseNodes;
}

} // namespace orvel
