#include "Orvel/consultation/ChatGPTPageReader.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTStableSnapshot.h"
#include "OrvelCore/consultation/ChatGPTAddress.h"

#include <cstdint>
#include <exception>

namespace orvel {

namespace {

std::int32_t numberOf(AXStatus status) {
    return static_cast<std::int32_t>(status);
}

std::string callerWords(ChatGPTDeliveryTrace::Caller caller) {
    return " caller=" + std::string(nameOf(caller).view());
}

// The text of a URL, or of a string in its place.
std::optional<std::string> urlOf(const AXValue& value) {
    if (const auto* url = std::get_if<AXURL>(&value)) return url->text;
    const auto* text = std::get_if<std::string>(&value);
    return text ? std::optional(*text) : std::nullopt;
}

std::string unidentified(const ChatGPTDeliveryTrace::PageObservation& seen) {
    const auto status = seen.urlStatus ? std::to_string(*seen.urlStatus) : "not_read";
    return "Couldn't uniquely identify the displayed ChatGPT tab." + callerWords(seen.caller) +
           " web_areas=" + std::to_string(seen.webAreas) + " url_status=" + status +
           " url_kind=" + std::string(nameOf(seen.urlKind).view());
}

} // namespace

ChatGPTPageReader::ChatGPTPageReader(const Desktop& ports, ChatGPTOperations& operations,
                                     ChatGPTElements& elements)
    : loop(ports.loop), applications(ports.applications), operations(operations), elements(elements) {}

Task<ChatGPTPage> ChatGPTPageReader::activePage(Request request) {
    if (auto* context = operations.current()) context->pageReadTruncated = false;
    PageObservation seen{.caller = request.caller};
    std::optional<ChatGPTPage> page;
    std::exception_ptr failure;
    try {
        page = co_await read(request, seen);
    } catch (...) {
        failure = std::current_exception();
    }
    if (auto* context = operations.current()) {
        context->lastURLKind = seen.urlKind;
        seen.truncated = context->pageReadTruncated;
        context->record->page(seen);
    }
    if (failure) std::rethrow_exception(failure);
    co_return *std::move(page);
}

Task<ChatGPTPage> ChatGPTPageReader::read(Request request, PageObservation& seen) {
    const auto window = co_await windowOf(request, seen);
    const auto [web, url] = co_await pageIn(window, seen);
    if (auto* context = operations.current()) {
        if (!context->firstWeb) context->firstWeb = web;
        seen.sameWeb = web == *context->firstWeb;
    }
    stopUnless(!request.expectedWeb || web == *request.expectedWeb,
               "The displayed ChatGPT page changed during the operation.");
    co_return ChatGPTPage{request.pid, web, window, url};
}

// The browser's focused window, which is the expected one.
Task<AXElement> ChatGPTPageReader::windowOf(Request request, PageObservation& seen) {
    const auto& reads = elements.attributes();
    const auto application = elements.application(request.pid);
    co_await elements.step();
    const auto focused = reads.port().attribute(application, "AXFocusedWindow");
    seen.focusStatus = numberOf(focused.status);
    const auto focusedWindow = reads.checked(focused, "AXFocusedWindow");
    co_await elements.step();
    const auto all = reads.port().attribute(application, "AXWindows");
    seen.windowsStatus = numberOf(all.status);
    const auto windows = reads.checked(all, "AXWindows");
    if (const auto* list = std::get_if<AXElements>(&windows)) seen.windows = list->size();

    const auto* window = std::get_if<AXElement>(&focusedWindow);
    stopUnless(window != nullptr,
               "Couldn't verify the foreground browser window." + callerWords(request.caller));
    reads.bound(*window);
    auto* context = operations.current();
    if (context) {
        if (!context->firstWindow) context->firstWindow = *window;
        seen.sameWindow = *window == *context->firstWindow;
    }
    if (request.expectedWindow && *window != *request.expectedWindow) {
        if (context) context->record->finish(ChatGPTDeliveryTrace::Outcome::windowChanged);
        throw RelaySendError(
            "The selected Dia window changed during inspection. Other views will not be read.");
    }
    if (request.stopsAtUnknownRole) {
        co_await elements.step();
        const auto role = reads.string(*window, "AXRole").value_or("AXUnknown");
        stopUnless(role != "AXUnknown",
                   "Stopped waiting because the view role is unknown. No content was changed.");
    }
    co_return *window;
}

// The only web area of ChatGPT in the window, and its URL.
Task<std::pair<AXElement, std::string>> ChatGPTPageReader::pageIn(AXElement window, PageObservation& seen) {
    const auto& reads = elements.attributes();
    const auto areas = co_await elements.elementsOfRole(window, "AXWebArea");
    seen.webAreas = areas.size();
    bool isUndecided = areas.empty();
    bool isUnreadable = false;
    std::vector<std::pair<AXElement, std::string>> pages;
    for (const auto& area : areas) {
        co_await elements.step();
        const auto reading = reads.port().attribute(area, "AXURL");
        seen.urlStatus = numberOf(reading.status);
        seen.urlKind = ChatGPTURLKind::unknown;
        AXValue value;
        try {
            value = reads.checked(reading, "AXURL");
        } catch (const ChatGPTAXReadFailure& failure) {
            if (failure.isTransient()) throw;
            isUnreadable = true;
            break;
        }
        isUndecided = isUndecided || isNothing(value);
        if (isNothing(value)) continue;
        const auto url = urlOf(value);
        const auto address = url ? ChatGPTAddress(*url) : ChatGPTAddress();
        seen.urlKind = address.kind;
        if (address.isOfChatGPT()) pages.emplace_back(area, *url);
    }
    if (isUnreadable || (pages.empty() && isUndecided)) throw ChatGPTPageNotObservable(unidentified(seen));
    stopUnless(pages.size() == 1, unidentified(seen));
    co_return pages.front();
}

Task<void> ChatGPTPageReader::verifySamePage(ChatGPTPage page) {
    const Request request{page.pid, Caller::verifySamePage, page.window, page.web};
    const auto now = co_await activePage(request);
    stopUnless(now == page, "The ChatGPT tab changed during the operation.");
}

std::optional<RunningApplication> ChatGPTPageReader::onlyBrowser() const {
    const auto running = applications.running(std::string(diaBundleID));
    return running.size() == 1 ? std::optional(running.front()) : std::nullopt;
}

Task<ChatGPTPage> ChatGPTPageReader::selectedBrowserPage() {
    const auto browser = onlyBrowser();
    stopUnless(browser.has_value(), "Couldn't uniquely identify the running Dia window. Open an empty "
                                    "ChatGPT tab for the intended account.");
    // Some browsers make the objects of their pages once somebody has asked what they are.
    co_await elements.step();
    const auto application = elements.application(browser->process);
    static_cast<void>(elements.attributes().port().attribute(application, "AXRole"));
    const Request request{browser->process, Caller::selectedPage};
    std::optional<ChatGPTPage> page;
    for (int look = 1; look < maximumSelectedReads && !page; ++look) {
        page = co_await observed(request);
        if (!page) co_await loop.sleep(initialPause);
    }
    if (!page) page = co_await activePage(request);
    stopUnless(ChatGPTAddress(page->url).isEmptyPage(),
               "Select an empty ChatGPT tab for the intended account in Dia. Existing conversations will not "
               "be edited.");
    co_return *std::move(page);
}

Task<ChatGPTPage> ChatGPTPageReader::selectedBrowserPageWhenReady() {
    const auto browser = onlyBrowser();
    stopUnless(browser.has_value(), "Couldn't uniquely verify the running Dia instance.");
    const auto process = browser->process;
    const auto application = elements.application(process);
    co_await elements.step();
    const auto role = elements.attributes().port().attribute(application, "AXRole");
    if (auto* trace = operations.trace()) {
        const auto* name = role.as<std::string>();
        trace->applicationRole(numberOf(role.status),
                               name ? std::optional(*name == "AXApplication") : std::nullopt);
    }
    co_await elements.step();
    const auto window = elements.element(application, "AXFocusedWindow");
    const auto front = applications.frontmost();
    stopUnless(window && front, "Couldn't establish the selected Dia window and foreground state. No content "
                                "was changed.");
    const Selection selection{front->process, *window};
    const ChatGPTStableSnapshot::Limits limits{maximumInitialReads, initialTimeout, initialPause};
    const ChatGPTStableSnapshot::Read<ChatGPTPage> read = [this, process, selection](int number) {
        return readInitially(process, selection, number);
    };
    try {
        auto capture = ChatGPTStableSnapshot::capture<ChatGPTPage>(loop, limits, read);
        co_return co_await capture;
    } catch (const ChatGPTStableSnapshot::Failure&) {
        throw RelaySendError(
            "ChatGPT did not become ready in the same Dia window in time. No content was changed.");
    }
}

// Whether the application in front and the browser's focused window are those that were chosen.
bool ChatGPTPageReader::isSelected(ProcessID browser, const Selection& selection) const {
    const auto front = applications.frontmost();
    return front && front->process == selection.front &&
           elements.element(elements.application(browser), "AXFocusedWindow") == selection.window;
}

// What `activePage` gives; nothing while there is no page to be seen.
Task<std::optional<ChatGPTPage>> ChatGPTPageReader::observed(Request request) {
    try {
        co_return co_await activePage(request);
    } catch (const ChatGPTPageNotObservable& failure) {
        static_cast<void>(failure); // The trace has it, and the next look may see more.
    } catch (const ChatGPTAXReadFailure& failure) {
        if (!failure.isTransient()) throw;
    }
    co_return std::nullopt;
}

Task<std::optional<ChatGPTPage>> ChatGPTPageReader::readInitially(ProcessID browser, Selection selection,
                                                                  int number) {
    static constexpr std::string_view changed =
        "The foreground app or selected Dia window changed during preparation. No content was changed.";
    if (auto* trace = operations.trace()) trace->initialRead(number);
    co_await elements.step();
    stopUnless(isSelected(browser, selection), changed);
    const Request request{browser, Caller::selectedPage, selection.window, std::nullopt, true};
    auto page = co_await observed(request);
    co_await elements.step();
    stopUnless(isSelected(browser, selection), changed);
    stopUnless(!page || ChatGPTAddress(page->url).isEmptyPage(),
               "Select an empty ChatGPT tab in Dia. Existing conversations will not be edited.");
    co_return page;
}

void ChatGPTPageReader::requireForeground(const ChatGPTPage& page) const {
    const auto front = applications.frontmost();
    stopUnless(front && front->process == page.pid, "The foreground app changed. Input was stopped.");
}

Task<AXElements> ChatGPTPageReader::openPanels(AXElement window) {
    co_await elements.step();
    const auto children = elements.children(window);
    AXElements panels;
    for (const auto& child : children) {
        co_await elements.step();
        const auto role = elements.checkedString(child, "AXRole");
        if (role != "AXSheet") continue;
        co_await elements.step();
        const auto identifier = elements.checkedString(child, "AXIdentifier");
        if (identifier == "open-panel") panels.push_back(child);
    }
    co_return panels;
}

} // namespace orvel
