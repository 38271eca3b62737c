#include "OrvelCore/commands/OrvelCommand.h"

#include "OrvelCore/text/Unicode.h"

#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace orvel {

namespace {

// What a text begins with; the value is negative if that is no UTF-8 or the text is empty.
struct CodePoint {
    UChar32 value;
    std::size_t size; // In bytes.
};

CodePoint firstCodePoint(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto size = static_cast<std::int64_t>(text.size());
    std::int64_t at = 0;
    UChar32 value = U_SENTINEL;
    if (size > 0) U8_NEXT(bytes, at, size, value); // NOLINT(bugprone-inc-dec-in-conditions)
    return {value, static_cast<std::size_t>(at)};
}

int clusterBreak(UChar32 codePoint) {
    return u_getIntPropertyValue(codePoint, UCHAR_GRAPHEME_CLUSTER_BREAK);
}

// Whether the code point, behind a letter or a blank, belongs to the same character.
bool isMark(UChar32 codePoint) {
    if (codePoint < 0) return false;
    switch (clusterBreak(codePoint)) {
    case U_GCB_EXTEND:
    case U_GCB_SPACING_MARK:
    case U_GCB_ZWJ: return true;
    default: return false;
    }
}

// Whether the code point is a character by itself, whatever follows. CR LF is the one exception.
bool takesNoMarks(UChar32 codePoint) {
    switch (clusterBreak(codePoint)) {
    case U_GCB_CONTROL:
    case U_GCB_CR:
    case U_GCB_LF: return true;
    default: return false;
    }
}

bool beginsWithWord(std::string_view text) {
    return text.starts_with(OrvelCommand::word) &&
           !isMark(firstCodePoint(text.substr(OrvelCommand::word.size())).value);
}

// The first character if it is whitespace, else nothing. Reads no further than its end: a character may be
// as long as the text, and a break iterator takes twice the time.
std::string_view separatorIn(std::string_view text) {
    if (text.starts_with("\r\n")) return text.substr(0, 2);
    const auto first = firstCodePoint(text);
    if (first.value < 0 || !u_isUWhiteSpace(first.value)) return {};
    auto size = first.size;
    if (takesNoMarks(first.value)) return text.substr(0, size);
    for (;;) {
        const auto next = firstCodePoint(text.substr(size));
        if (!isMark(next.value)) return text.substr(0, size);
        size += next.size;
    }
}

} // namespace

std::optional<OrvelCommand> OrvelCommand::parse(std::string_view editorText) {
    if (editorText.size() > maximumBytes) return std::nullopt;
    if (!beginsWithWord(editorText)) return std::nullopt;
    const auto rest = editorText.substr(word.size());
    if (rest.empty()) return OrvelCommand{};
    const auto separator = separatorIn(rest);
    if (separator.empty()) return std::nullopt;
    return OrvelCommand{std::string(rest.substr(separator.size()))};
}

ReturnInputClassification classifyInput(std::string_view editorText) {
    using enum ReturnInputClassification;
    if (OrvelCommand::parse(editorText)) return command;
    if (editorText.empty()) return empty;
    if (editorText.size() > OrvelCommand::maximumBytes) return tooLong;
    if (beginsWithWord(editorText)) return invalidBoundary;
    if (beginsWithWord(trimmed(editorText))) return leadingWhitespace;
    return other;
}

FixedWords description(ReturnInputClassification classification) {
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

} // namespace orvel
