#include "Orvel/delivery/ClaudeNavigation.h"

#include "Orvel/delivery/ClaudeConversationNavigation.h"
#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/addresses/ClaudeRoutes.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <algorithm>
#include <array>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Composition = NavigationInput::Composition;
using Stage = ClaudeRelayDiagnosticHistory::Stage;

constexpr MainLoop::Duration pageTimeout = 5s, pollInterval = 100ms;
constexpr std::size_t maximumAncestors = 64;

constexpr const char* unconfirmedComposition =
    "The source Claude editor has unconfirmed composition. No conversation navigation was performed.";

std::string_view orEmpty(const std::optional<std::string>& text) {
    return text ? std::string_view(*text) : std::string_view();
}

Composition compositionOf(MarkedTextEvidence marked, const InputSource& source, bool hasText) {
    if (marked == MarkedTextEvidence::marked ||
        (!source.isASCIICapable && marked != MarkedTextEvidence::absent))
        return Composition::unconfirmed;
    const bool cannotCompose =
        KnownASCIISource::matches(source.id, source.type, source.isASCIICapable.value_or(false));
    return hasText && !cannotCompose ? Composition::requiresCandidateCheck : Composition::none;
}

// Why a draft might not survive.
DiagnosticText candidateFailure(const GoogleIMEWindowPolicy::Evidence& evidence) {
    const auto reason =
        evidence.state == GoogleIMEWindowPolicy::State::present
            ? FixedWords("Japanese candidates are visible")
            : FixedWords("Japanese candidate state could not be rechecked within the time limit");
    return DiagnosticText::of(
        "In the source editor, {}. The draft was kept; no conversation navigation was performed.\n"
        "Candidate read: {} ms / Recheck completed: {} ms / State: {}",
        reason, DiagnosticText::milliseconds(evidence.observationFinished - evidence.observationStarted),
        DiagnosticText::milliseconds(evidence.now - evidence.observationStarted),
        GoogleIMEWindowDiagnostic::description(evidence.state));
}

} // namespace

Task<AXElement> ClaudeNavigation::navigateToConversation(std::string desktopSessionID) {
    try {
        co_return co_await navigate(desktopSessionID);
    } catch (const std::exception& failure) {
        throw RelaySendError(failure.what(), true);
    }
}

Task<AXElement> ClaudeNavigation::navigate(std::string desktopSessionID) {
    const auto target = ClaudeConversationNavigation::target(desktopSessionID);
    throwSendErrorUnless(target.has_value());
    history.stage(Stage::sourceRoute);
    const auto [window, path] = co_await sourceRoute();
    const bool isThere = path == target->path;
    if (auto* attempt = history.current()) attempt->routeMatches = isThere;
    if (isThere) co_return window;

    history.stage(Stage::sourceSnapshot);
    const ClaudeSnapshotRequest request{path};
    const auto snapshot = co_await reader.snapshot(request);
    const auto input = co_await navigationInput(snapshot);
    throwSendErrorUnless(
        !snapshot.hasAttachment,
        "The source Claude editor has an attachment. No conversation navigation was performed.");
    throwSendErrorUnless(!snapshot.isResponding,
                         "Claude is replying in the source conversation. No conversation "
                         "navigation was performed.");
    throwSendErrorUnless(input.composition != Composition::unconfirmed, unconfirmedComposition);
    const Source source{snapshot, path, window, input};
    co_await verifyNavigationSource(source);

    history.stage(Stage::navigationOpen);
    throwSendErrorUnless(ports.applications.openURL(target->url),
                         "Couldn't start Claude conversation navigation. No message was inserted.");
    history.stage(Stage::navigationWait);
    co_return co_await waitForPage(source, target->path);
}

Task<ClaudeNavigation::Route> ClaudeNavigation::sourceRoute() {
    const auto deadline = ports.loop.uptime() + pageTimeout;
    std::optional<AXElement> window;
    for (int number = 1; ports.loop.uptime() < deadline; ++number) {
        if (auto* attempt = history.current()) attempt->readinessReads = number;
        const auto route = co_await unlessTooEarly(readRoute(window));
        if (route) co_return *route;
        co_await ports.loop.sleep(pollInterval);
    }
    throw ClaudeReadiness::Failure();
}

// The first read sets the window; later ones must find the same.
Task<std::optional<ClaudeNavigation::Route>> ClaudeNavigation::readRoute(std::optional<AXElement>& window) {
    co_await reader.step();
    if (window)
        reader.requireWindow(*window);
    else
        window = reader.focusedClaudeWindow();
    const auto path = co_await reader.currentCodePagePath(window);
    reader.requireWindow(*window);
    if (!path) co_return std::nullopt;
    co_return Route{*window, *path};
}

Task<AXElement> ClaudeNavigation::waitForPage(const Source& source, std::string targetPath) {
    const auto deadline = ports.loop.uptime() + pageTimeout;
    while (ports.loop.uptime() < deadline) {
        const auto window = co_await unlessTooEarly(arrival(source, targetPath));
        if (window) co_return *window;
        co_await ports.loop.sleep(pollInterval);
    }
    throw ClaudeReadiness::Failure();
}

// The window once it shows the target; nothing while it still shows the source, unharmed.
Task<std::optional<AXElement>> ClaudeNavigation::arrival(const Source& source, std::string targetPath) {
    const auto& window = source.window;
    co_await reader.step();
    reader.requireWindow(window);
    const auto path = co_await reader.currentCodePagePath(window);
    if (!path) co_return std::nullopt;
    if (path == targetPath) {
        reader.requireWindow(window);
        co_return window;
    }
    throwSendErrorUnless(path == source.path,
                         "Claude navigated to another conversation. Stopped without inserting a message.");
    const bool stays = co_await sourceStays(source);
    if (stays) co_return std::nullopt;
    // The page changed between the two reads.
    reader.requireWindow(window);
    const auto newPath = co_await reader.currentCodePagePath(window);
    throwSendErrorUnless(newPath == targetPath);
    co_return window;
}

Task<bool> ClaudeNavigation::sourceStays(const Source& source) {
    try {
        co_await verifyNavigationSource(source);
    } catch (const RouteSnapshotMismatch&) {
        co_return false;
    }
    co_return true;
}

// Proves that what the person has typed survives the navigation.
Task<void> ClaudeNavigation::verifyNavigationSource(const Source& source) {
    const auto& before = source.snapshot;
    const ClaudeSnapshotRequest request{source.path, false, source.window, before.page, before.editor};
    const auto fresh = co_await reader.snapshot(request);
    const bool isUnchanged = co_await agrees(source, fresh);
    throwSendErrorUnless(isUnchanged);
    switch (source.input.composition) {
    case Composition::unconfirmed: throw RelaySendError(unconfirmedComposition);
    case Composition::none:
        throwSendErrorUnless(
            !fresh.sendButton || fresh.hasText(),
            "The source Claude editor and Send button states disagree. No conversation navigation "
            "was performed.");
        break;
    case Composition::requiresCandidateCheck: co_await checkCandidates(source); break;
    }
}

Task<bool> ClaudeNavigation::agrees(const Source& source, ClaudeSnapshot fresh) {
    const auto& before = source.snapshot;
    if (fresh.page != before.page || fresh.editor != before.editor || fresh.text != before.text ||
        fresh.sendButton.has_value() != before.sendButton.has_value() || fresh.hasAttachment ||
        fresh.isResponding)
        co_return false;
    const auto input = co_await navigationInput(fresh);
    if (input != source.input) co_return false;
    co_await reader.step();
    co_return reader.focusedClaudeWindow() == source.window;
}

// A Japanese conversion may be in progress, and navigating would commit or lose it.
Task<void> ClaudeNavigation::checkCandidates(const Source& source) {
    using namespace GoogleIMEWindowPolicy;
    const auto front = ports.applications.frontmost();
    throwSendErrorUnless(front.has_value());
    const auto claude = ports.applications.bundleOf(front->process).value_or(ApplicationBundle{});
    const auto ime = ports.applications.bundleAt(imePath).value_or(ApplicationBundle{});
    const auto layoutID = ports.inputSources.currentLayoutID();
    const Setting setting{orEmpty(claude.shortVersion), orEmpty(source.input.sourceID),
                          orEmpty(source.input.mode),   orEmpty(source.input.type),
                          orEmpty(ime.shortVersion),    orEmpty(layoutID)};
    throwSendErrorUnless(
        ime.bundleID == imeBundleID && isCompatible(Profile::claudeCode, setting),
        "The source Japanese input method or Claude Code version is unsupported. Input was not "
        "changed.");

    const auto verificationStarted = secondsOf(ports.loop.uptime());
    const auto sample = navigationWindowReader.readFresh(GoogleIMEWindowReader::readTimeout);
    const auto fresh = co_await refreshNavigationComposer(source.snapshot, source.window, source.path);
    bool isUnchanged = ports.applications.frontmost() == front;
    if (isUnchanged) isUnchanged = co_await agrees(source, fresh);
    throwSendErrorUnless(isUnchanged,
                         "The source conversation, draft, or input state changed. No conversation "
                         "navigation was performed.");
    throwSendErrorUnless(sample.has_value(),
                         "Couldn't read Japanese candidate state in the source editor. No "
                         "conversation navigation was performed.");
    const Evidence evidence{sample->state,
                            sample->started,
                            sample->started + sample->duration,
                            verificationStarted,
                            secondsOf(ports.loop.uptime()),
                            isUnchanged,
                            true};
    if (!allowsPreservingDraftNavigation(evidence, source.input.marked))
        throw RelaySendError(candidateFailure(evidence).text());
}

// Reads the editor again by climbing from it instead of walking over the whole window, so that the check of
// the candidates ends soon enough. What will be read on both ways up is known, so a platform can fetch it
// ahead.
Task<ClaudeSnapshot> ClaudeNavigation::refreshNavigationComposer(ClaudeSnapshot snapshot, AXElement window,
                                                                 std::string path) {
    static constexpr std::array<std::string_view, 2> ofPage{"AXParent", "AXURL"},
        ofComposer{"AXParent", "AXRole"};
    auto way = snapshot.ancestors;
    way.insert(way.begin(), snapshot.editor);
    way.push_back(window);
    const auto toWindow = reader.attributes().announce(way, ofPage);
    const auto inComposer = std::min(way.size(), ClaudeWindowReader::composerLevel + 1);
    const auto toComposer = reader.attributes().announce(std::span(way).first(inComposer), ofComposer);

    auto element = snapshot.editor;
    bool metPage = false;
    for (std::size_t level = 1; level <= maximumAncestors && element != window; ++level) {
        co_await reader.step();
        const auto parent = reader.attributes().element(element, "AXParent");
        throwSendErrorUnless(parent.has_value());
        element = *parent;
        reader.attributes().bound(element);
        co_await reader.step();
        const auto url = reader.url(element);
        throwSendErrorUnless(!url || claudeWebPath(*url) == path);
        metPage = metPage || element == snapshot.page;
    }
    throwSendErrorUnless(metPage && element == window);
    co_await reader.step();
    const auto text = reader.attributes().string(snapshot.editor, "AXValue");
    throwSendErrorUnless(text.has_value());
    co_return co_await reader.composerSnapshot(window, snapshot.editor, snapshot.page, snapshot.responseNodes,
                                               *text, false);
}

Task<NavigationInput> ClaudeNavigation::navigationInput(ClaudeSnapshot snapshot) {
    co_await reader.step();
    const auto marked = markedText(snapshot.editor);
    const auto source = ports.inputSources.current().value_or(InputSource{});
    NavigationInput input{source.id, source.mode, source.type, marked,
                          compositionOf(marked, source, snapshot.hasText())};
    if (input.composition == Composition::requiresCandidateCheck) {
        co_await reader.step();
        const auto range = selection(snapshot.editor);
        input.selectionLocation = range.location;
        input.selectionLength = range.length;
    }
    co_return input;
}

MarkedTextEvidence ClaudeNavigation::markedText(const AXElement& editor) {
    static constexpr std::string_view attribute = "AXTextInputMarkedTextMarkerRange";
    const auto marked = ports.accessibility.attribute(editor, attribute);
    history.axFailure(attribute, marked.status);
    switch (marked.status) {
    case AXStatus::success:
        return isNothing(marked.value) ? MarkedTextEvidence::absent : MarkedTextEvidence::marked;
    case AXStatus::noValue: return MarkedTextEvidence::absent;
    case AXStatus::attributeUnsupported: return MarkedTextEvidence::unsupported;
    default: throw RelaySendError(claudeEditorUnverified);
    }
}

AXRange ClaudeNavigation::selection(const AXElement& editor) {
    static constexpr std::string_view attribute = "AXSelectedTextRange";
    const auto selected = ports.accessibility.attribute(editor, attribute);
    history.axFailure(attribute, selected.status);
    const auto* range = selected.as<AXRange>();
    throwSendErrorUnless(range && range->location >= 0 && range->length >= 0);
    return *range;
}

} // namespace orvel
