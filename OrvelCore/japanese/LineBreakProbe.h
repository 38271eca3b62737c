#pragma once
// Watches what a plain Return does to the command's text. If it only inserts one line break, the input method
// had nothing pending.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// A selection in an editor, in UTF-16 units.
struct EditorSelection {
    std::int64_t location = 0, length = 0;
};

class LineBreakProbe {
  public:
    /// What must not change while the probe watches.
    struct Context {
        std::int32_t processID = 0;
        std::string editorID, inputSourceID;
        std::uint64_t inputGeneration = 0;

        bool operator==(const Context&) const = default;
    };

    enum class Result { waiting, insertedSingleLineBreak, expiredWithoutEvidence, cancelled };
    enum class ReturnHandling { suppressRepeat, releaseWithShift, unrelated };

    /// How long to wait for the line break, in seconds.
    static constexpr double timeout = 0.25;

    /// A probe of the text, provided it is the command, the caret is at its end and the key is Return or
    /// Enter. All times are in seconds.
    static std::optional<LineBreakProbe> begin(std::string_view text, EditorSelection selection,
                                               Context context, std::int64_t keyCode, double now);

    /// What to do with an event of the key.
    ReturnHandling handleReturn(std::int64_t keyCode, bool isKeyDown, bool isRepeat);

    /// Updates the result with what the editor holds at `now`. A result other than `waiting` is final.
    void observe(std::string_view text, EditorSelection selection, const Context& context, double now);

    Result result() const { return outcome; }
    double deadline() const { return end; }
    bool keyReleased() const { return released; }
    /// Describes the last observation, without content.
    const DiagnosticText& lastObservationSummary() const { return summary; }

  private:
    LineBreakProbe(std::string_view text, Context context, std::int64_t keyCode, double now)
        : expectedText(text), context(std::move(context)), keyCode(keyCode), end(now + timeout) {}

    Result resultOf(std::string_view text, EditorSelection selection, const Context& current,
                    double now) const;

    std::string expectedText;
    Context context;
    std::int64_t keyCode;
    double end;
    bool released = false;
    Result outcome = Result::waiting;
    DiagnosticText summary = FixedWords("Not observed");
};

} // namespace orvel
