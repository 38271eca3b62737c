#pragma once
// Whether a click at a point would reach the control that it is meant for.

#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTPointerHit.h"
#include "OrvelCore/text/Failure.h"

namespace orvel {

namespace ChatGPTPointerHit {

/// What lies at the point is around the control: the page was drawn anew and the search doesn't know it yet.
class Failure : public orvel::Failure {
  public:
    Failure()
        : orvel::Failure("cachePending", "Couldn't verify the exact position of the same control in time. "
                                         "Nothing was clicked.") {}
};

} // namespace ChatGPTPointerHit

/// The centre of the control. Stops unless it lies within the window.
AXPoint chatGPTPointerPoint(const ChatGPTPointerHit::Frame& control, const ChatGPTPointerHit::Frame& window);

/// Stops unless the control itself, or something in it, lies at the point; noted in the trace of the
/// operation under way. Also throws ChatGPTPointerHit::Failure. The references outlive the task.
Task<void> verifyChatGPTPointerHit(ChatGPTElements& elements, ChatGPTOperations& operations, AXPoint point,
                                   AXElement control, ChatGPTPage page);

} // namespace orvel
