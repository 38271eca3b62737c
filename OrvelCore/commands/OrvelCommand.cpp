#include "OrvelCore/commands/OrvelCommand.h"

#include "OrvelCore/text/Unicode.h"

#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace orvel {

namespace {

// The first code point; negative if there is none or it is no UTF-8.
UChar32 firstCodePoint(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto size = static_cast<std::int64_t>(text.size());
    std::int64_t at = 0;
    UChar32 codePoint = U_SENTINEL;
    if (size > 0) U8_NEXT(bytes, at, size, codePoint); // NOLINT(bugprone-inc-dec-in-conditions)
    return codePoint;
}

// Whether the code point, behind a letter, belongs to the letter's character.
bool continuesLetter(UChar32 codePoint) {
    switch (u_getIntPropertyValue(codePoint, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
    case U_GCB_EXTEND:
    case U_GCB_SPACING_MARK:
    case U_GCB_ZWJ: return true;
    default: return false;
    }
}

bool beginsWithWord(std::string_view text) {
    if (!text.starts_with(OrvelCommand::word)) return false;
    const auto next = firstCodePoint(text.substr(OrvelCommand::word.size()));
    return next < 0 || !continuesLetter(next);
}

} // namespace

std::optional<OrvelCommand> OrvelCommand::parse(std::string_view editorText) {
    if (editorText.size() > maximumBytes) return std::nullopt;
    if (!beginsWithWord(editorText)) return std::nullopt;
    const auto rest = editorText.substr(word.size());
    if (rest.empty()) return OrvelCommand{};
    const auto separator = firstCodePoint(rest);
    if (separator < 0 || !u_isUWhiteSpace(separator)) return std::nullopt;
    return OrvelCommand{std::string(rest.substr(firstCharacters(rest, 1).size()))};
}

std::string_view rawValue(ReturnInputClassification classification) {
    switch (classification) {
    case ReturnInputClassification::unread: return "Not read";
    case ReturnInputClassification::unavailable: return "Unavailable";
    case ReturnInputClassification::command: return "/orvel syntax matched";
    case ReturnInputClassification::empty: return "Empty input";
    case ReturnInputClassification::tooLong: return "Length limit exceeded";
    case ReturnInputClassification::invalidBoundary: return "Invalid separator after command";
    case ReturnInputClassification::leadingWhitespace: return "Whitespace or line break before command";
    case ReturnInputClassification::other: break;
    }
    return "Not command syntax (content not recorded)";
}

ReturnInputClassification classified(std::string_view editorText) {
    using enum ReturnInputClassification;
    if (OrvelCommand::parse(editorText)) return command;
    if (editorText.empty()) return empty;
    if (editorText.size() > OrvelCommand::maximumBytes) return tooLong;
    if (beginsWithWord(editorText)) return invalidBoundary;
    if (beginsWithWord(trimmed(editorText))) return leadingWhitespace;
    return other;
}

} // namespace orvel
