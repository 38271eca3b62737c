#pragma once
// How one control of ChatGPT's page is pressed: by its action, or by a click where it offers none.

#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTLastLook.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <functional>

namespace orvel {

/// A press that is ready. Outlives its tasks.
struct PageControlAction {
    /// Stops unless the control is still the one that was found, as it was and where it was. May run any
    /// number of times, and changes nothing.
    std::function<Task<void>()> validate;
    /// Presses, once. Throws RelaySendError if that can't be told.
    std::function<void()> perform;
};

/// The ports and the rooms outlive the object, and the object outlives the actions and their tasks. Throws as
/// ChatGPTElements.
class ChatGPTControls {
  public:
    static constexpr int maximumReads = 20;
    static constexpr MainLoop::Duration validationTimeout = std::chrono::seconds(2);

    /// Finds the control anew. An ordinary function that begins the task.
    using Resolve = std::function<Task<AXElement>()>;

    ChatGPTControls(const Desktop& ports, ChatGPTOperations& operations, ChatGPTElements& elements,
                    ChatGPTPageReader& pages, ChatGPTLastLook& lastLook)
        : ports(ports), operations(operations), elements(elements), pages(pages), lastLook(lastLook) {}

    /// How the control, which lies on the page, will be pressed.
    Task<PageControlAction> pageControlAction(AXElement control, ChatGPTPage page, Resolve resolve);

    /// Validates the action until the hit test knows the control, within two seconds.
    Task<void> validateBeforeMutation(PageControlAction action);

    /// Presses an element that isn't the page's. Stops if that can't be told.
    void press(const AXElement& element) const;

  private:
    struct Plan;

    Task<void> validate(std::shared_ptr<const Plan> plan);
    void perform(const Plan& plan);
    Task<std::optional<bool>> hasPassed(PageControlAction action);

    Desktop ports;
    ChatGPTOperations& operations;
    ChatGPTElements& elements;
    ChatGPTPageReader& pages;
    ChatGPTLastLook& lastLook;
};

} // namespace orvel
