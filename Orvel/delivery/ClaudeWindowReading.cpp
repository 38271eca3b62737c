#include "Orvel/delivery/ClaudeWindowReading.h"

#include "Orvel/delivery/ClaudeCodePageSelection.h"
#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/addresses/ClaudeRoutes.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
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

// The text of a URL, or of a string that is one.
std::optional<std::string> urlOf(const AXValue& value) {
    const auto* url = std::get_if<AXURL>(&value);
    const auto* text = url ? &url->text : std::get_if<std::string>(&value);
    return text && isURL(*text) ? std::optional(*text) : std::nullopt;
}

URLValue urlValueOf(const AXValue& value) {
    if (isNothing(value)) return {URLValue::Kind::missing, {}};
    auto url = urlOf(value);
    return url ? URLValue{URLValue::Kind::url, *std::move(url)} : URLValue{URLValue::Kind::invalidType, {}};
}

} // namespace

void requireClaude(bool holds, const char* otherwise) {
    if (!holds) throw RelaySendError(otherwise);
}

bool ClaudeSnapshot::hasText() const {
    return !trimmed(text).empty();
}

bool ClaudeSnapshot::isIdle() const {
    return !hasText() && !sendButton && !hasAttachment && !isResponding;
}

AXValue ClaudeWindowReading::checkedAttribute(const AXElement& element, std::string_view attribute) {
    auto reading = accessibility.attribute(element, attribute);
    history.axFailure(attribute, reading.status);
    switch (reading.status) {
    case AXStatus::success: return std::move(reading.value);
    case AXStatus::noValue:
    case AXStatus::attributeUnsupported: return {};
    default: throw ClaudeAXReadFailure(attribute, reading.status);
    }
}

std::optional<std::string> ClaudeWindowReading::checkedString(const AXElement& element,
                                                              std::string_view attribute) {
    auto value = checkedAttribute(element, attribute);
    auto* string = std::get_if<std::string>(&value);
    return string ? std::optional(std::move(*string)) : std::nullopt;
}

std::optional<AXElement> ClaudeWindowReading::checkedElement(const AXElement& element,
                                                             std::string_view attribute) {
    const auto value = checkedAttribute(element, attribute);
    const auto* found = std::get_if<AXElement>(&value);
    return found ? std::optional(*found) : std::nullopt;
}

std::optional<std::string> ClaudeWindowReading::checkedURL(const AXElement& element) {
    return urlOf(checkedAttribute(element, "AXURL"));
}

// Breadth-first. A tree that is too big is a failure, never a part of the answer.
Task<std::vector<ClaudeWindowReading::Node>> ClaudeWindowReading::descendants(AXElement root,
                                                                              std::size_t limit) {
    static constexpr std::array<std::string_view, 2> attributes{"AXRole", "AXChildren"};
    const auto readAhead = accessibility.readAhead(root, attributes, limit);
    AXElements queue{root};
    std::vector<std::size_t> parents{0};
    std::vector<Node> visited;
    for (std::size_t next = 0; next < queue.size(); ++next) {
        requireClaude(queue.size() <= limit);
        const auto element = queue[next];
        accessibility.setMessagingTimeout(element, elementTimeout);
        co_await step();
        auto role = checkedString(element, "AXRole");
        requireClaude(role.has_value());
        co_await step();
        const auto value = checkedAttribute(element, "AXChildren");
        const auto* children = std::get_if<AXElements>(&value);
        requireClaude(children || isNothing(value));
        if (children) queue.insert(queue.end(), children->begin(), children->end());
        parents.resize(queue.size(), next);
        visited.push_back({element, *std::move(role), parents[next]});
    }
    co_return visited;
}

Task<AXElements> ClaudeWindowReading::elementsOfRole(AXElement root, std::string role, std::size_t limit) {
    const std::vector<std::string> roles{role};
    auto found = co_await accessibility.search(root, roles, limit);
    if (found) {
        for (const auto& element : *found) accessibility.setMessagingTimeout(element, elementTimeout);
        co_return *std::move(found);
    }
    const auto nodes = co_await descendants(root, limit);
    AXElements elements;
    for (const auto& node : nodes)
        if (node.role == role) elements.push_back(node.element);
    co_return elements;
}

Task<std::vector<std::string>> ClaudeWindowReading::labels(AXElement button) {
    std::vector<std::string> labels;
    for (const auto attribute : labelAttributes) {
        co_await step();
        if (auto label = checkedString(button, attribute)) labels.push_back(*std::move(label));
    }
    co_return labels;
}

ClaudeWindowReading::ReadAheads ClaudeWindowReading::announce(std::span<const AXElement> elements,
                                                              std::span<const std::string_view> names) {
    ReadAheads announced;
    for (const auto& element : elements) announced.push_back(accessibility.readAhead(element, names, 1));
    return announced;
}

AXElement ClaudeWindowReading::focusedWindow(ProcessID process) {
    const auto application = accessibility.application(process);
    accessibility.setMessagingTimeout(application, applicationTimeout);
    const auto window = checkedElement(application, "AXFocusedWindow");
    requireClaude(window.has_value());
    return *window;
}

AXElement ClaudeWindowReading::focusedClaudeWindow() {
    const auto front = applications.frontmost();
    if (auto* attempt = history.current()) attempt->front = frontWords(front, applications.ownProcess());
    requireClaude(isClaude(front));
    return focusedWindow(front->process);
}

void ClaudeWindowReading::requireWindow(const AXElement& window) {
    requireClaude(focusedClaudeWindow() == window,
                  "The Claude window changed. Stopped without inserting a message.");
}

Task<std::optional<std::string>>
ClaudeWindowReading::currentCodePagePath(std::optional<AXElement> expectedWindow) {
    using ClaudeCodePageSelection::Failure;
    co_await step();
    const auto window = focusedClaudeWindow();
    requireClaude(!expectedWindow || window == *expectedWindow);
    const auto webAreas = co_await elementsOfRole(window, "AXWebArea", windowLimit);
    std::vector<URLValue> values;
    for (const auto& webArea : webAreas) {
        co_await step();
        values.push_back(urlValueOf(checkedAttribute(webArea, "AXURL")));
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

Task<ClaudeSnapshot> ClaudeWindowReading::snapshot(ClaudeSnapshotRequest request) {
    co_await step();
    const auto front = applications.frontmost();
    requireClaude(isClaude(front),
                  "Claude is not in the foreground. Show the destination conversation before sending.");
    const auto window = focusedWindow(front->process);
    requireClaude(!request.expectedWindow || window == *request.expectedWindow);
    const auto page = co_await pageOf(window, request.path);
    requireClaude(!request.expectedPage || page == *request.expectedPage);

    const auto nodes = co_await descendants(page, windowLimit);
    const auto editor = co_await editorOf(nodes);
    requireClaude(!request.expectedEditor || editor == *request.expectedEditor);

    co_await step();
    const auto text = checkedString(editor, "AXValue");
    requireClaude(text.has_value());
    requireClaude(!request.rejectNonEmpty || trimmed(*text).empty(),
                  "Claude has a draft. Nothing was changed.");

    const auto responseNodes = co_await responseNodesOf(page, nodes, editor, *text);
    auto snapshot = co_await composerSnapshot(editor, page, responseNodes, *text, request.diagnosticDetails);
    snapshot.ancestors = ancestorsOf(editor, nodes);
    co_return snapshot;
}

// The only web area of the window whose URL has this path.
Task<AXElement> ClaudeWindowReading::pageOf(AXElement window, std::string path) {
    const auto webAreas = co_await elementsOfRole(window, "AXWebArea", windowLimit);
    AXElements pages;
    for (const auto& webArea : webAreas) {
        co_await step();
        const auto url = checkedURL(webArea);
        if (url && claudeWebPath(*url) == path) pages.push_back(webArea);
    }
    if (auto* attempt = history.current()) {
        attempt->pages = pages.size();
        attempt->routeMatches = pages.size() == 1;
    }
    if (pages.empty()) throw RouteSnapshotMismatch();
    requireClaude(pages.size() == 1);
    co_return pages.front();
}

// The only prompt editor among the elements of a page.
Task<AXElement> ClaudeWindowReading::editorOf(const std::vector<Node>& page) {
    AXElements editors;
    for (const auto& node : page) {
        if (node.role != "AXTextArea") continue;
        co_await step();
        if (checkedString(node.element, "AXDescription") == "Prompt") editors.push_back(node.element);
    }
    if (auto* attempt = history.current()) attempt->editors = editors.size();
    requireClaude(editors.size() == 1);
    co_return editors.front();
}

AXElements ClaudeWindowReading::ancestorsOf(const AXElement& editor, const std::vector<Node>& page) {
    const auto isEditor = [&](const Node& node) { return node.element == editor; };
    auto place = static_cast<std::size_t>(std::find_if(page.begin(), page.end(), isEditor) - page.begin());
    AXElements ancestors;
    while (place != 0) {
        place = page[place].parent;
        ancestors.push_back(page[place].element);
    }
    return ancestors;
}

// The editor's text is known already.
Task<AXElements> ClaudeWindowReading::responseNodesOf(AXElement page, const std::vector<Node>& nodes,
                                                      AXElement editor, std::string text) {
    static constexpr std::array<std::string_view, 1> attributes{"AXValue"};
    const auto readAhead = accessibility.readAhead(page, attributes, windowLimit);
    AXElements responseNodes;
    for (const auto& node : nodes) {
        co_await step();
        const auto value = node.element == editor ? text : checkedString(node.element, "AXValue");
        if (value == respondingText) responseNodes.push_back(node.element);
    }
    co_return responseNodes;
}

} // namespace orvel
