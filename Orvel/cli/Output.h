#pragma once
// The two streams that a command line writes to.

#include "OrvelCore/files/FileError.h"

#include <cerrno>
#include <string_view>

namespace orvel {

/// Nobody reads standard output any more.
class ClosedPipe : public FileError {
  public:
    ClosedPipe() : FileError(fromErrno(EPIPE, "write to", "standard output")) {}
};

class Output {
  public:
    virtual ~Output() = default;

    /// Writes all of the text to standard output. Throws ClosedPipe, or FileError if it takes no more.
    virtual void write(std::string_view text) = 0;

    /// Writes to standard error, as far as it takes the text.
    virtual void writeError(std::string_view text) noexcept = 0;

    /// Whether a person reads standard output on a terminal.
    virtual bool isTerminal() const = 0;
};

/// The streams of this process, unbuffered. Closed pipes are reported only where SIGPIPE is ignored.
class StandardOutput : public Output {
  public:
    void write(std::string_view text) override;
    void writeError(std::string_view text) noexcept override;
    bool isTerminal() const override;
};

} // namespace orvel
