#include "Orvel/cli/StepTeller.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"

#include <fmt/format.h>

namespace orvel {

void StepTeller::tell(std::string_view step, std::string_view text) {
    if (!arguments.json)
        write(stylist(TextStyle::strong, fmt::format("{:<11}", step)) + std::string(text) + "\n");
}

void StepTeller::write(const std::string& text) {
    try {
        if (!untold) output.write(text);
    } catch (const FileError& failure) {
        untold = failure;
    }
}

void StepTeller::check() const {
    if (untold) throw FileError(*untold);
}

void StepTeller::fail(const Failure& failure, const std::string& situation) {
    throw CommandFailure(failure.caseName(), std::string(failure.what()) + "\n" + situation);
}

void StepTeller::tellInterruption(const std::string& situation) {
    output.writeError("Interrupted.\n" + visibleText(situation) + "\n");
}

} // namespace orvel
