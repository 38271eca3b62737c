#pragma once
// Watches what a plain Return did to the command's text: if all it did was to insert one line break, the
// input method held nothing back.

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
    /// What must stay the same for as long as the probe watches.
    struct Context {
        std::int32_t processID = 0;
        std::string editorID, inputSourceID;
        std::uint64_t inputGeneration = 0;

        bool operator==(const Context&) const = default;
    };

    enum class Result { waiting, insertedSingleLineBreak, expiredWithoutEvidence, cancelled };
    enum class ReturnHandling { suppressRepeat, releaseWithShift, unrelated };

    /// How long a probe watches, in seconds.
    static constexpr double lifetime = 0.25;

    /// A probe of the text, if that is the command, the caret stands at its end and the key is a Return.
    /// `now` is in seconds, as all times here.
    static std::optional<LineBreakProbe> begin(std::string_view text, EditorSelection selection,
                                               Context context, std::int64_t keyCode, double now);

    /// What is to be done with an event of the key.
    ReturnHandling handleReturn(std::int64_t keyCode, bool isKeyDown, bool isRepeat);

    /// Takes in what the editor holds at `now`. A settled result stays.
    void observe(std::string_view text, EditorSelection selection, const Context& context, double now);

    Result result() const { return outcome; }
    double deadline() const { return end; }
    bool keyReleased() const { return released; }
    /// What the last observation showed, without content.
    const DiagnosticText& lastObservationSummary() const { return summary; }

  private:
    LineBreakProbe(std::string_view text, Context context, std::int64_t keyCode, double now)
        : expectedText(text), context(std::move(context)), keyCode(keyCode), end(now + lifetime) {}

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
