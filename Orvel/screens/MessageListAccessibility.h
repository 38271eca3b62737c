#pragma once
// The list of messages as a screen reader meets it: a list whose items can become the start of the range.

namespace orvel {

class MessageListView;

/// Lets Qt find the accessible form of message lists. May be called again.
void installMessageListAccessibility();

/// Tells a screen reader that the list's current message is another one.
void announceCurrentMessage(MessageListView& list);

} // namespace orvel
