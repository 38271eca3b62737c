#include "OrvelCore/japanese/LineBreakProbe.h"

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

constexpr std::int64_t returnKey = 36, enterKey = 76;

bool isAtEnd(EditorSelection selection, std::string_view text) {
    return selection.location == utf16Length(text) && selection.length == 0;
}

bool isWithin(EditorSelection selection, std::string_view text) {
    const auto length = utf16Length(text);
    return selection.location >= 0 && selection.location <= length && selection.length >= 0 &&
           selection.length <= length - selection.location;
}

// The form of a text, which tells nothing of what it says.
FixedWords shape(std::string_view text) {
    if (text.empty()) return "empty";
    if (text.ends_with('\n')) return "ends with a line break";
    return text.find('\n') == text.npos ? FixedWords("one line") : FixedWords("several lines");
}

bool isOneLineBreakLonger(std::string_view text, std::string_view before) {
    return text.size() == before.size() + 1 && text.ends_with('\n') && text.starts_with(before);
}

FixedWords difference(std::string_view text, std::string_view before) {
    if (text == before) return "None";
    return isOneLineBreakLonger(text, before) ? FixedWords("One line break at the end") : FixedWords("Other");
}

} // namespace

std::optional<LineBreakProbe> LineBreakProbe::begin(std::string_view text, EditorSelection selection,
                                                    Context context, std::int64_t keyCode, double now) {
    const bool isReturn = keyCode == returnKey || keyCode == enterKey;
    if (!OrvelCommand::parse(text) || !isAtEnd(selection, text) || !isReturn || !std::isfinite(now))
        return std::nullopt;
    return LineBreakProbe(text, std::move(context), keyCode, now);
}

LineBreakProbe::ReturnHandling LineBreakProbe::handleReturn(std::int64_t code, bool isKeyDown,
                                                            bool isRepeat) {
    if (code != keyCode || released) return ReturnHandling::unrelated;
    if (!isKeyDown) {
        released = true;
        return ReturnHandling::releaseWithShift;
    }
    if (isRepeat) return ReturnHandling::suppressRepeat;
    outcome = Result::cancelled;
    return ReturnHandling::unrelated;
}

void LineBreakProbe::observe(std::string_view text, EditorSelection selection, const Context& current,
                             double now) {
    if (outcome != Result::waiting) return;
    outcome = resultOf(text, selection, current, now);
    summary =
        DiagnosticText::of("At start: {} / At observation: {}, selection location={}, selection length={}, "
                           "content difference={}",
                           shape(expectedText), shape(text), selection.location, selection.length,
                           difference(text, expectedText));
}

LineBreakProbe::Result LineBreakProbe::resultOf(std::string_view text, EditorSelection selection,
                                                const Context& current, double now) const {
    if (current != context) return Result::cancelled;
    if (!(now <= end)) return Result::expiredWithoutEvidence;
    if (isOneLineBreakLonger(text, expectedText) && isAtEnd(selection, text))
        return Result::insertedSingleLineBreak;
    return text == expectedText && isWithin(selection, text) ? Result::waiting : Result::cancelled;
}

} // namespace orvel
