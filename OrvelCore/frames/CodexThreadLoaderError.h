#pragma once
// Why a request to Codex's server failed.

#include "OrvelCore/text/Failure.h"

#include <string>
#include <string_view>

namespace orvel {

class CodexThreadLoaderError : public Failure {
  public:
    enum class Kind { invalid, timeout, disconnected, activeWriter, other };

    CodexThreadLoaderError(Kind kind, std::string message);

    static CodexThreadLoaderError invalid();
    static CodexThreadLoaderError timeout();
    static CodexThreadLoaderError disconnected();
    /// Another connection is the writer of the conversation.
    static CodexThreadLoaderError activeWriter();
    /// The server answers a request for the conversation with an error.
    static CodexThreadLoaderError refused(std::string_view reason);
    static CodexThreadLoaderError notIdle();
    /// The conversation's last turn failed, and Codex takes nothing until it had another one.
    static CodexThreadLoaderError lastTurnFailed();
    static CodexThreadLoaderError pipes();
    static CodexThreadLoaderError turnFailed();

    Kind kind() const noexcept { return which; }

  private:
    Kind which;
};

} // namespace orvel
