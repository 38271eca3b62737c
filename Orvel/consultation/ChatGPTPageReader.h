#pragma once
// Which page of ChatGPT the browser's selected tab shows, and whether it still is the same one.

#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTDeliveryTrace.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace orvel {

/// Throws as ChatGPTElements. The ports, the operations and the elements outlive the object, and the object
/// outlives its tasks.
class ChatGPTPageReader {
  public:
    static constexpr int maximumInitialReads = 24, maximumSelectedReads = 10;
    static constexpr MainLoop::Duration initialPause = std::chrono::milliseconds(200),
                                        initialTimeout = std::chrono::seconds(5);

    using Caller = ChatGPTDeliveryTrace::Caller;

    /// Which page to read.
    struct Request {
        ProcessID pid = 0;
        Caller caller = Caller::selectedPage;
        std::optional<AXElement> expectedWindow, expectedWeb;
        bool stopsAtUnknownRole = false; ///< The window must tell its role.
    };

    ChatGPTPageReader(const Desktop& ports, ChatGPTOperations& operations, ChatGPTElements& elements);

    /// The only page of ChatGPT in the browser's focused window, read now, and noted in the trace. Also
    /// throws ChatGPTPageNotObservable.
    Task<ChatGPTPage> activePage(Request request);

    /// Stops unless the focused window still shows this page, under this URL.
    Task<void> verifySamePage(ChatGPTPage page);

    /// The empty page that is selected in the only browser, waiting two seconds for one to be observable.
    Task<ChatGPTPage> selectedBrowserPage();

    /// The same, waiting a few seconds for it to appear in the window that is focused now. Stops as soon as
    /// another window is focused or another application comes to the front.
    Task<ChatGPTPage> selectedBrowserPageWhenReady();

    /// Stops unless the page's browser is the application in front.
    void requireForeground(const ChatGPTPage& page) const;

    /// The system's open panels among the children of the window.
    Task<AXElements> openPanels(AXElement window);

    /// The running browser; nothing unless there is exactly one.
    std::optional<RunningApplication> onlyBrowser() const;

  private:
    struct Selection {
        ProcessID front = 0;
        AXElement window;
    };
    using PageObservation = ChatGPTDeliveryTrace::PageObservation;

    Task<ChatGPTPage> read(Request request, PageObservation& seen);
    Task<AXElement> windowOf(Request request, PageObservation& seen);
    Task<std::pair<AXElement, std::string>> pageIn(AXElement window, PageObservation& seen);
    bool isSelected(ProcessID browser, const Selection& selection) const;
    Task<std::optional<ChatGPTPage>> observed(Request request);
    Task<std::optional<ChatGPTPage>> readInitially(ProcessID browser, Selection selection, int number);

    MainLoop& loop;
    Applications& applications;
    ChatGPTOperations& operations;
    ChatGPTElements& elements;
};

} // namespace orvel
