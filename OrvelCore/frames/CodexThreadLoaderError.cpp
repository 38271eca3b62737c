#include "OrvelCore/frames/CodexThreadLoaderError.h"

namespace orvel {

namespace {

std::string_view nameOf(CodexThreadLoaderError::Kind kind) {
    using enum CodexThreadLoaderError::Kind;
    switch (kind) {
    case invalid: return "invalid";
    case timeout: return "timeout";
    case disconnected: return "disconnected";
    case activeWriter: return "activeWriter";
    case other: break;
    }
    return "other";
}

} // namespace

CodexThreadLoaderError::CodexThreadLoaderError(Kind kind, std::string message)
    : Failure(nameOf(kind), std::move(message)), which(kind) {}

CodexThreadLoaderError CodexThreadLoaderError::invalid() {
    return {Kind::invalid, "Couldn't verify the Codex connection response."};
}

CodexThreadLoaderError CodexThreadLoaderError::timeout() {
    return {Kind::timeout, "The Codex connection check timed out. Check delivery records."};
}

CodexThreadLoaderError CodexThreadLoaderError::disconnected() {
    return {
        Kind::disconnected,
        "The Codex conversation connection ended. Check delivery records without resending automatically."};
}

CodexThreadLoaderError CodexThreadLoaderError::activeWriter() {
    return {Kind::activeWriter, "This Codex conversation is open through another connection and could not be "
                                "loaded. Nothing was sent."};
}

CodexThreadLoaderError CodexThreadLoaderError::refused(std::string_view reason) {
    return {Kind::invalid,
            "Codex could not open this conversation. It may have been archived or deleted there. "
            "Codex says: “" +
                std::string(reason) + "”"};
}

CodexThreadLoaderError CodexThreadLoaderError::notIdle() {
    return {Kind::other,
            "Couldn't verify that the Codex conversation is idle. Try again after the reply finishes."};
}

CodexThreadLoaderError CodexThreadLoaderError::lastTurnFailed() {
    return {Kind::other, std::string(notIdle().what()) +
                             " Its last turn failed; the next message in Codex itself clears that."};
}

CodexThreadLoaderError CodexThreadLoaderError::pipes() {
    return {Kind::other, "Couldn't safely configure Codex input/output pipes."};
}

CodexThreadLoaderError CodexThreadLoaderError::turnFailed() {
    return {Kind::other,
            "The Codex reply failed or was interrupted. Check the conversation and delivery records."};
}

} // namespace orvel
