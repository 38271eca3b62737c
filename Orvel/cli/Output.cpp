#include "Orvel/cli/Output.h"

#include "Orvel/cli/Interruption.h"
#include <cerrno>

#include <unistd.h>

namespace orvel {

namespace {

// Gives 0 or the error number.
int writeAll(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const auto done = ::write(descriptor, text.data(), text.size());
        if (done < 0 && (errno != EINTR || Interruption::signal())) return errno;
        if (done > 0) text.remove_prefix(static_cast<std::size_t>(done));
    }
    return 0;
}

} // namespace

void StandardOutput::write(std::string_view text) {
    const int code = writeAll(STDOUT_FILENO, text);
    if (code == EINTR) Interruption::check();
    if (code == EPIPE) throw ClosedPipe();
    if (code) throw FileError::fromErrno(code, "write to", "standard output");
}

void StandardOutput::writeError(std::string_view text) noexcept {
    writeAll(STDERR_FILENO, text);
}

bool StandardOutput::isTerminal() const {
    return isatty(STDOUT_FILENO) == 1;
}

} // namespace orvel
