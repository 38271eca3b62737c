#pragma once
// Why reading Claude's window failed. Some failures only mean that it is too early, so each has its own type.
// The user is shown the text of any of them.

#include "Orvel/accessibility/AccessibilityReads.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// The text for the user where something is not as it must be and nothing more is known.
inline constexpr const char* claudeEditorUnverified =
    "Couldn't verify the Claude Code editor. Check input state and transfer attempt records.";

// The texts where what was proved is no longer so.
inline constexpr const char* claudeWindowChanged =
    "The Claude window changed. Stopped without inserting a message.";
inline constexpr const char* claudeInputChanged = "Claude input state changed. Nothing was changed.";
inline constexpr const char* claudeChangedBeforeSend =
    "The Claude conversation, editor, content, or Send button changed. Content was kept without sending.";

/// Throws RelaySendError with this text unless the condition holds.
inline void throwSendErrorUnless(bool condition, const char* text = claudeEditorUnverified) {
    if (!condition) throw RelaySendError(text);
}

/// An attribute in Claude's window could not be read.
class ClaudeAXReadFailure : public AccessibilityReadFailure {
  public:
    ClaudeAXReadFailure(std::string_view attribute, AXStatus status)
        : AccessibilityReadFailure("Couldn't read the Claude view. AX status=" +
                                       std::to_string(static_cast<std::int32_t>(status)) +
                                       ". Message content is kept.",
                                   attribute, status) {}
};

namespace ClaudeReadiness {

/// Claude's window did not get ready within the timeout.
class Failure : public orvel::Failure {
  public:
    Failure()
        : orvel::Failure("timedOut",
                         "The Claude view did not become ready in time. No message was inserted.") {}
};

} // namespace ClaudeReadiness

/// What `read` gives; nothing if it fails because the page is being redrawn.
template <typename T>
Task<std::optional<T>> unlessTooEarly(Task<std::optional<T>> read) {
    try {
        co_return co_await read;
    } catch (const AccessibilityReadFailure& failure) {
        if (!failure.isTransient()) throw;
    }
    co_return std::nullopt;
}

/// The window shows no page of the requested path.
class RouteSnapshotMismatch : public Failure {
  public:
    RouteSnapshotMismatch()
        : Failure("routeNotShown", "Claude is not displaying the selected destination conversation. No "
                                   "message was inserted.") {}
};

} // namespace orvel
