#pragma once
// Why a transcript could not become a conversation.

#include "OrvelCore/text/Failure.h"

#include <cstddef>

namespace orvel {

class TranscriptError : public Failure {
  public:
    enum class Case { malformedLine, tooLarge, invalidUTF8, noMessages, inheritedHistory };

    /// Any case but malformedLine.
    explicit TranscriptError(Case kind);

    /// The first line that is no JSON object; lines count from 1.
    static TranscriptError malformedLine(std::size_t line);

    Case kind() const noexcept { return which; }

  private:
    explicit TranscriptError(std::size_t line);

    Case which;
};

} // namespace orvel
