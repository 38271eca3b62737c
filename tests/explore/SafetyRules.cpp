#include "explore/SafetyRules.h"

#include <algorithm>

namespace orvel::explore {

namespace {

constexpr RuleText rules[] = {
    {Rule::writtenOnce, "written once",
     "A text is written into an editor, or handed to Codex, at most once for a transfer."},
    {Rule::sentOnce, "sent once",
     "Send is pressed at most once for each time that the user asks for it, and a message is sent once."},
    {Rule::onlyIntoTheEmptyEditor, "only into the empty editor",
     "Only the message is written, only into the destination's editor, and only where that was seen empty."},
    {Rule::onlyTheMessageIsSent, "only the message is sent",
     "Send is pressed only in the destination, and only where its editor was seen to hold the message; to "
     "Codex only the message is handed, for the destination."},
    {Rule::onlyWhatWasProved, "only what was proved",
     "What is written to and pressed is the element that two readings and a last look have seen, the only "
     "one "
     "of its kind, in the focused window of the application in front."},
    {Rule::nothingIsSweptAlong, "nothing is swept along",
     "Nothing is written or pressed where an attachment, a dialog or a reply was to be seen."},
    {Rule::lastLookIsFresh, "the last look is fresh",
     "What Orvel acts on it has looked at within the last 5 ms: the text, the window, the application in "
     "front."},
    {Rule::nothingElseIsPressed, "nothing else is pressed",
     "Nothing but Send is pressed, and New where a new conversation was asked for."},
    {Rule::compositionSurvives, "composition survives",
     "Claude is not moved to another conversation while a composition is open that can be seen."},
    {Rule::retryOnlyIfNothingInserted, "retry only if nothing was inserted",
     "A retry is offered only if nothing was inserted."},
    {Rule::savedFirst, "saved first",
     "A transfer is on disk, as one that may be under way, before its destination is touched."},
    {Rule::memoryEqualsDisk, "memory equals disk", "The records in memory are those on disk."},
    {Rule::recordsAreSound, "records are sound", "The records keep the rules that hold among them."},
    {Rule::receivedOnlyIfThere, "received only if there",
     "A transfer is received only if its text stands in the destination's transcript."},
    {Rule::receivedIsNotFailed, "received is not failed",
     "What has been received is no longer told as failed."},
    {Rule::noTransferIsLost, "no transfer is lost",
     "In the end each transfer is received or visibly pending, and received if its text has arrived."},
    {Rule::oneInALink, "one at a time in a link",
     "Of the conversations that a link holds at most one has a message that waits to be seen."},
    {Rule::boundOnceToANewOne, "bound once and to a new one",
     "A first message is bound at most once, and never to a conversation that existed before it."},
    {Rule::comesToRest, "comes to rest", "Every operation ends, and then no flag of one is set."},
    {Rule::noChildRemains, "no child remains",
     "When a delivery and what it watches have ended, no child process of Orvel is left."},
    {Rule::protocolIsKept, "protocol is kept", "Codex's server has nothing to complain of."},
    {Rule::diagnosticsHoldNoContent, "diagnostics hold no content",
     "No text of an editor or a conversation appears in a message or a diagnostic."},
    {Rule::mainThreadIsFree, "main thread is free",
     "The main thread is held for at most 10 ms, besides the one slowest call and a composed write, which "
     "nobody can shorten."},
    {Rule::keysPass, "keys pass",
     "A key that the person presses waits for what holds the main thread, not "
     "for other work that waits as well."},
    {Rule::otherKeysPass, "other keys pass",
     "No key is swallowed but a Return on a command and the rest of its press, the others arrive in their "
     "order, and Orvel presses nothing but Codex's shortcut for copying."},
    {Rule::commandIsNoMessage, "a command is no message",
     "A command that was read in the composer of a conversation is never sent to the agent."},
    {Rule::onlyTheCommandIsErased, "only the command is erased",
     "Of an editor in which a command was typed nothing but exactly that is erased, once for each Return."},
    {Rule::clipboardIsGivenBack, "the clipboard is given back",
     "In the end the clipboard holds what it held before a command, or what somebody copied since."},
    {Rule::instructionsAreKept, "instructions are kept",
     "What was erased with a command stands in a note, in a message, or in what Orvel tells."},
    {Rule::sentOnlyWhereProved, "sent only where proved",
     "A command sends something on its own only in a link of which a message has been received, and only if "
     "nothing was pressed between its Return and its removal."},
    {Rule::neverAnotherConversation, "never another conversation touched",
     "Of ChatGPT's pages only the empty one is touched that was selected, and no conversation."},
    {Rule::questionWrittenOnce, "the question is written once",
     "A question is written into ChatGPT's editor at most once for each send."},
    {Rule::sendPressedOnce, "Send is pressed once", "ChatGPT's Send is pressed at most once for each send."},
    {Rule::nothingUnproved, "nothing is sent unless question and exactly one ZIP are proved",
     "ChatGPT's Send is pressed only where the question and exactly the one ZIP were just seen, in the "
     "window and the application in front."},
    {Rule::zipIsThePrepared, "the ZIP sent is the ZIP prepared",
     "No file but the ZIP is handed to the page, once, and what goes out are the bytes that were prepared."},
    {Rule::traceHoldsNothing, "no content path or name in a trace",
     "No text of the page, no question, no path and no file's name stands in the trace of a delivery or in "
     "what is told of its failure."},
    {Rule::restsWithinBounds, "comes to rest within its bounds",
     "A delivery into ChatGPT ends within the sum of its bounded waits."},
    {Rule::endsAsItShould, "ends as it should",
     "A run in which nothing goes wrong ends as its scenario says."},
};

} // namespace

std::span<const RuleText> allRules() {
    return rules;
}

std::string_view nameOf(Rule rule) {
    return std::find_if(std::begin(rules), std::end(rules),
                        [&](const auto& text) { return text.rule == rule; })
        ->name;
}

} // namespace orvel::explore
