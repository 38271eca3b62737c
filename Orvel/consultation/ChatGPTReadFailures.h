#pragma once
// Why reading ChatGPT's page failed. Everything that stops an operation for good is a RelaySendError with the
// text for the user; what only means that it is too early has a type of its own.

#include "Orvel/accessibility/AccessibilityReads.h"
#include "OrvelCore/consultation/ChatGPTDeliveryTrace.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <string>
#include <string_view>

namespace orvel {

/// Throws RelaySendError with this text unless the condition holds.
void stopUnless(bool condition, std::string_view text);

/// An attribute on the way to the page, or in it, could not be read. `isTransient` tells those that a page
/// which is being redrawn may cause.
class ChatGPTAXReadFailure : public AccessibilityReadFailure {
  public:
    using Attribute = ChatGPTDeliveryTrace::Attribute;

    /// By the attribute's name in the accessibility interface.
    ChatGPTAXReadFailure(std::string_view attribute, AXStatus status);

    static Attribute kindOf(std::string_view attribute);
};

/// The window shows no page yet, or its URL can't be read yet. Nothing contradicts that ChatGPT will appear.
class ChatGPTPageNotObservable : public RelaySendError {
  public:
    using RelaySendError::RelaySendError;
};

} // namespace orvel
