#pragma once
// The few Unicode operations that the rest shares. All text is UTF-8; the classes are Unicode's own.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvel {

/// Whether the bytes are strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUTF8(std::string_view bytes);

/// The text, of less than 2 GiB, without White_Space characters at both ends; a view into the argument.
std::string_view trimmed(std::string_view text);

/// The length of valid UTF-8 in UTF-16 units; signed, as the selections it is compared with.
std::int64_t utf16Length(std::string_view text);

/// The first `count` user-perceived characters (extended grapheme clusters); a view into the argument.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// The text in the form in which a search compares it: case, width and composition folded (NFKC_Casefold).
/// Text that is no valid UTF-8 is folded as if each bad byte were U+FFFD.
std::string foldedForSearch(std::string_view text);

/// The text with every letter in lower case, in no particular language. Bytes that are not part of valid
/// UTF-8 become U+FFFD.
std::string inLowerCase(std::string_view text);

/// The text with every byte that is not part of valid UTF-8 replaced by U+FFFD, for display.
std::string displayable(std::string_view bytes);

/// One line of a text, and where the next one begins.
struct Line {
    std::string_view text;
    std::size_t next; ///< Offset behind the separator; beyond the text's size after the last line.
};

/// The line of `text` that begins at offset `from`, which is at most the text's size. Lines end at every
/// character of the newline class: U+000A to U+000D, U+0085, U+2028 and U+2029; each one ends a line, so CR
/// LF gives an empty line between the two.
Line lineAt(std::string_view text, std::size_t from);

} // namespace orvel
