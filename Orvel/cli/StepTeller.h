#pragma once
// Tells step by step what becomes of a message. Telling is no part of delivering: what can't be told is said
// at the end.

#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/Interruption.h"
#include "OrvelCore/files/FileError.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class Output;
class Stylist;

class StepTeller {
  public:
    /// All of it outlives this object.
    StepTeller(const Arguments& arguments, Output& output, const Stylist& stylist)
        : arguments(arguments), output(output), stylist(stylist) {}

    /// A line for people; nothing with `arguments.json`.
    void tell(std::string_view step, std::string_view text);
    void write(const std::string& text);
    /// Throws FileError if standard output took something not.
    void check() const;

    /// Does the work. If it fails or is broken off, `situation` is told too, which says what became of the
    /// message. Throws Failure, and Interrupted behind words on standard error.
    template <typename Work, typename Situation>
    void during(Work work, Situation situation) {
        try {
            work();
            check();
        } catch (const Failure& failure) {
            fail(failure, situation());
        } catch (const Interrupted&) {
            tellInterruption(situation());
            throw;
        }
    }

  private:
    [[noreturn]] static void fail(const Failure& failure, const std::string& situation);
    void tellInterruption(const std::string& situation);

    const Arguments& arguments;
    Output& output;
    const Stylist& stylist;
    std::optional<FileError> untold; ///< Why standard output takes no more.
};

} // namespace orvel
