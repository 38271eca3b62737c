#include "Orvel/monitor/CodexIdentification.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/monitor/CandidateEvidence.h"
#include "Orvel/monitor/InputState.h"
#include "OrvelCore/addresses/CodexDeepLink.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/relay/RelayError.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr MainLoop::Duration pollInterval = 20ms, copyLimit = 1s;
/// A link that comes later than this was copied by somebody else.
constexpr MainLoop::Duration latestCopy = 5s;

/// Ends a run; what else is to be said follows from how far it came.
struct Stop : std::exception {
    explicit Stop(FixedWords message) : message(message) {}
    const char* what() const noexcept override { return "stopped"; }

    FixedWords message;
};

FixedWords wordsFor(ConversationCatalogError::Case kind) {
    switch (kind) {
    case ConversationCatalogError::Case::notFound:
        return "The conversation URL was captured. No conversation on this machine has its ID.";
    case ConversationCatalogError::Case::ambiguous:
        return "The conversation URL was captured. Several conversations have its ID.";
    case ConversationCatalogError::Case::invalidMetadata: break;
    }
    return "The conversation URL was captured. The conversation's details could not be read.";
}

FixedWords wordsFor(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Stop& stop) {
        return stop.message;
    } catch (const ConversationClipboardCapture::Failure& clipboard) {
        return description(clipboard.kind());
    } catch (const ConversationCatalogError& catalog) {
        return wordsFor(catalog.kind());
    } catch (const TranscriptError&) {
        return "The conversation URL was captured, but history could not be loaded.";
    } catch (const RelayError& mismatch) {
        if (mismatch.kind() == RelayError::Case::conversationMismatch)
            return "The conversation URL and stored conversation IDs do not match. Stopped.";
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
    }
    return "An unrecognized error occurred while capturing the conversation. Check Orvel diagnostics.";
}

std::uint64_t flagsOf(const CodexCopyShortcut& shortcut) {
    return (shortcut.command ? SyntheticKey::command : 0) | (shortcut.option ? SyntheticKey::option : 0) |
           (shortcut.control ? SyntheticKey::control : 0) | (shortcut.shift ? SyntheticKey::shift : 0);
}

} // namespace

// One identification. Its state is what a failure's details are made of.
class CodexIdentification::Run {
  public:
    Run(CodexIdentification& owner, const CapturedReturn& captured, std::function<bool()> isWanted)
        : owner(owner),
          needs(owner.needs),
          captured(captured),
          isWanted(std::move(isWanted)),
          started(needs.loop.uptime()) {}

    Task<std::optional<IdentifiedCodex>> identify() {
        const auto version = needs.version();
        const auto& supported = CodexCopyShortcutPolicy::supportedAppVersions;
        if (!version || std::find(supported.begin(), supported.end(), *version) == supported.end())
            throw Stop("The public copy shortcut has not been verified for this Codex version.");
        shortcut = currentShortcut();
        stage = "Before-copy check";
        if (!isUnchanged()) throw Stop("Couldn't verify the original Codex editor, window, and content.");
        clipboard = std::make_shared<ConversationClipboardCapture>(needs.pasteboard, owner.unsettled());
        owner.clipboard = clipboard;

        std::optional<std::string> first;
        for (copies = 1; copies <= 2; ++copies) {
            const bool isAsked = co_await askForCopy();
            if (!isAsked) co_return std::nullopt;
            const auto text = co_await copiedText();
            if (!text) co_return std::nullopt;
            stage = "Fresh copy result check";
            const auto thread = CodexDeepLink::threadID(*text);
            if (!thread)
                throw Stop("Couldn't verify a fresh local conversation URL. Other hosts and URLs with extra "
                           "parameters are unsupported.");
            if (first && *first != *thread) throw Stop("The two copies returned different conversations.");
            first = thread;
        }
        stage = "Clipboard restoration";
        isRestored = clipboard->restoreIfOwned();
        if (!isRestored) throw Stop("Couldn't safely restore the clipboard.");

        stage = "ID and transcript verification";
        auto reference = co_await needs.resolve(*first);
        if (!isWanted()) co_return std::nullopt;
        if (!isUnchanged()) throw Stop("The original input changed during conversation verification.");
        co_return IdentifiedCodex{
            std::move(reference),
            DiagnosticText::of(
                "Public URL copy: Two fresh results match the same local ID / Unique transcript "
                "match / Original clipboard restored / Transient AX failures={}",
                transientFailures)};
    }

    /// Gives the clipboard back what it held, however the run ended. A copy that Codex was asked for is
    /// waited for as long as it may take.
    Task<void> settle() {
        while (clipboard && !clipboard->isSettled()) {
            isRestored = clipboard->restoreIfOwned() || isRestored;
            if (clipboard->isSettled() || needs.loop.uptime() - owner.lastPost >= copyLimit) break;
            co_await needs.loop.sleep(pollInterval);
        }
    }

    CaptureFailure failureFor(FixedWords message) const {
        auto told = DiagnosticText(message);
        const bool isOpen = clipboard && !clipboard->isSettled();
        if (isOpen)
            told += DiagnosticText(" The copy result could not be safely verified, so the original clipboard "
                                   "was not restored. A delayed URL copy may still arrive.");
        told += DiagnosticText(" The original /orvel was not removed or sent.");
        const auto elapsed = secondsOf(needs.loop.uptime() - started);
        return CaptureFailure(
            told,
            DiagnosticText::of("Public URL copy: Stopped / {}\ncopy={}, stage={}, elapsed_ms={}, "
                               "transient_ax_failures={}, restore_write_succeeded={}, "
                               "unclaimed_copy={}\nState check: {}",
                               message, std::min(copies, 2), stage, DiagnosticText::milliseconds(elapsed),
                               transientFailures, isRestored, isOpen, stateCheck));
    }

  private:
    CodexCopyShortcut currentShortcut() const {
        const auto assessment = needs.copyShortcut();
        if (!assessment.shortcut) throw Stop(statusDescription(assessment.disposition));
        return *assessment.shortcut;
    }

    // False if the command is not wanted any more.
    Task<bool> askForCopy() {
        stage = "Before-copy check";
        const auto end = needs.loop.uptime() + copyLimit;
        while (!isUnchanged()) {
            if (!mayLookAgain || needs.loop.uptime() >= end)
                throw Stop("The original input changed while capturing the conversation.");
            ++transientFailures;
            co_await needs.loop.sleep(pollInterval);
            if (!isWanted()) co_return false;
        }
        if (currentShortcut() != shortcut) throw Stop("The conversation URL copy shortcut changed. Stopped.");
        auto events = needs.eventPosting.key({shortcut.keyCode, flagsOf(shortcut)}, captured.process);
        if (!events) throw Stop("Couldn't prepare key events for the public copy action.");
        clipboard->expectCopy();
        events->post();
        owner.lastPost = needs.loop.uptime();
        co_return true;
    }

    // The text that was copied; nothing if the command is not wanted any more. What comes in a round in which
    // the window did not answer counts: the next look proves that it is as it was.
    Task<std::optional<std::string>> copiedText() {
        stage = "After-copy input check";
        while (needs.loop.uptime() - owner.lastPost < copyLimit) {
            co_await needs.loop.sleep(pollInterval);
            if (!isWanted()) co_return std::nullopt;
            if (!isUnchanged()) {
                if (!mayLookAgain) throw Stop("The original input state became unverifiable during copying.");
                ++transientFailures;
            }
            if (auto text = clipboard->freshText()) co_return text;
        }
        throw Stop("No fresh conversation URL copy arrived.");
    }

    // Whether the editor, its window, what stands in it and the input method are as they were when the Return
    // was swallowed, and nobody has touched a key since.
    bool isUnchanged() {
        needs.reads.open();
        stateCheck = firstDifference();
        mayLookAgain = needs.reads.hasTimedOut();
        const bool isSame = stateCheck.text().empty();
        if (isSame)
            stateCheck = DiagnosticText("Same PID/focus/content/input generation/input method/window: Match");
        needs.reads.close();
        needs.facts.clear();
        return isSame;
    }

    DiagnosticText firstDifference() {
        if (!needs.isMonitoring()) return {"Monitoring stopped"};
        if (needs.input.generation() != captured.inputGeneration)
            return DiagnosticText::of("Input event generation changed; last={}", needs.input.lastEvent());
        if (!needs.accessibility.isTrusted()) return {"Accessibility not granted"};
        const auto front = needs.applications.frontmost();
        if (!front || front->process != captured.process) return {"Foreground app changed"};
        const auto application = needs.reads.application(captured.process);
        if (needs.reads.element(application, "AXFocusedUIElement") != captured.editor)
            return unread("Focused editor element changed");
        if (needs.reads.string(captured.editor, "AXValue") != captured.text)
            return unread("Full input mismatch (content not recorded)");
        if (auto pending = pendingText()) return *pending;
        const auto source = needs.inputSources.current();
        if (!source || source->id != captured.inputSourceID) return {"Input method changed"};
        if (needs.reads.element(application, "AXFocusedWindow") != captured.window)
            return unread("Focused window element changed");
        if (needs.input.generation() != captured.inputGeneration)
            return DiagnosticText::of("Input event generation changed; last={}", needs.input.lastEvent());
        return {};
    }

    // What stands in the way of taking the text for confirmed; nothing if it is.
    std::optional<DiagnosticText> pendingText() {
        if (captured.japaneseSelection) {
            if (provesNoCandidates(needs, captured)) return std::nullopt;
            return DiagnosticText(
                "State changed or could not be rechecked after the Japanese input window check");
        }
        switch (readComposition(needs.reads, needs.facts, needs.inputSources, captured.editor).state) {
        case CompositionState::clear: return std::nullopt;
        case CompositionState::composing: return DiagnosticText("Input method has pending composition");
        case CompositionState::unknown: break;
        }
        return unread("Input method state unknown");
    }

    DiagnosticText unread(FixedWords difference) const {
        const auto& failure = needs.reads.failure();
        return failure ? DiagnosticText::of("AX read failed: {}", *failure) : DiagnosticText(difference);
    }

    CodexIdentification& owner;
    const CodexIdentificationNeeds& needs;
    const CapturedReturn& captured;
    std::function<bool()> isWanted;
    MainLoop::Duration started;
    CodexCopyShortcut shortcut{};
    std::shared_ptr<ConversationClipboardCapture> clipboard;
    FixedWords stage{"Preparation"};
    DiagnosticText stateCheck{"Not attempted"};
    int copies = 0, transientFailures = 0;
    bool mayLookAgain = false, isRestored = false;
};

ConversationClipboardCapture* CodexIdentification::unsettled() const {
    const bool mayComeLate = needs.loop.uptime() - lastPost < latestCopy;
    return clipboard && !clipboard->isSettled() && mayComeLate ? clipboard.get() : nullptr;
}

Task<std::optional<IdentifiedCodex>> CodexIdentification::identify(const CapturedReturn& captured,
                                                                   std::function<bool()> isWanted) {
    Run run(*this, captured, isWanted);
    std::exception_ptr failure;
    std::optional<IdentifiedCodex> found;
    try {
        found = co_await run.identify();
    } catch (...) {
        failure = std::current_exception();
    }
    co_await run.settle();
    if (!isWanted()) co_return std::nullopt;
    if (failure) throw run.failureFor(wordsFor(failure));
    co_return found;
}

} // namespace orvel
