#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include <simdjson.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace orvel {

namespace {

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Transcripts are long and separators are rare, so this search makes up much of the reading where it cannot
// use the wide registers of newer processors. The compiler makes two versions, and the program takes the one
// that fits. It does so before the thread sanitizer is ready, which then fails.
#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__) &&                 \
    !defined(__SANITIZE_THREAD__)
#define ORVEL_FOR_WIDE_REGISTERS __attribute__((target_clones("avx2", "default")))
#else
#define ORVEL_FOR_WIDE_REGISTERS
#endif

// How many bytes are looked at in one go, and how many more of them a separator may reach over.
constexpr std::size_t blockSize = 64, reach = 2;

// The offset of the first block from `at` on in which a separator begins, or of the rest that is too short
// for a block. Each block is judged by one branchless reduction, which compilers turn into vector code.
ORVEL_FOR_WIDE_REGISTERS std::size_t separatorBlock(const char* text, std::size_t at, std::size_t size) {
    for (; size - at >= blockSize + reach; at += blockSize) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(text) + at;
        unsigned char found = 0;
        for (std::size_t i = 0; i < blockSize; ++i) {
            const unsigned char a = bytes[i], b = bytes[i + 1], c = bytes[i + 2];
            const bool isControl = static_cast<unsigned char>(a - 0x0A) <= 3;
            const bool isNextLine = (a == 0xC2) & (b == 0x85);
            const bool isLineOrParagraph = (a == 0xE2) & (b == 0x80) & ((c | 1) == 0xA9);
            found |= static_cast<unsigned char>(isControl | isNextLine | isLineOrParagraph);
        }
        if (found) break;
    }
    return at;
}

bool mayBeginSeparator(char c) {
    return (c >= 0x0A && c <= 0x0D) || c == '\xC2' || c == '\xE2';
}

// The length of the separator that begins at `at`, 0 if none does.
std::size_t separatorLength(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    switch (byte(at)) {
    case 0x0A:
    case 0x0B:
    case 0x0C:
    case 0x0D: return 1;
    case 0xC2: return byte(at + 1) == 0x85 ? 2 : 0;
    case 0xE2: return byte(at + 1) == 0x80 && (byte(at + 2) == 0xA8 || byte(at + 2) == 0xA9) ? 3 : 0;
    default: return 0;
    }
}

} // namespace

bool isValidUTF8(std::string_view bytes) {
    return simdjson::validate_utf8(bytes.data(), bytes.size());
}

std::int64_t utf16Length(std::string_view text) {
    std::int64_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        units += (byte & 0xC0) == 0x80 ? 0 : byte >= 0xF0 ? 2 : 1;
    }
    return units;
}

std::string_view trimmed(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto size = static_cast<std::int32_t>(text.size());
    std::int32_t begin = 0;
    while (begin < size) {
        std::int32_t next = begin;
        UChar32 character = 0;
        U8_NEXT(bytes, next, size, character); // NOLINT(bugprone-inc-dec-in-conditions)
        if (character < 0 || !u_isUWhiteSpace(character)) break;
        begin = next;
    }
    std::int32_t end = size;
    while (end > begin) {
        std::int32_t previous = end;
        UChar32 character = 0;
        U8_PREV(bytes, begin, previous, character);
        if (character < 0 || !u_isUWhiteSpace(character)) break;
        end = previous;
    }
    return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    if (text.size() <= count) return text;
    // No ASCII character combines with another one, CR LF excepted.
    const auto head = text.substr(0, count + 1);
    if (isASCII(head) && head.find('\r') == head.npos) return text.substr(0, count);

    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, decltype(&utext_close)> source(
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status), &utext_close);
    const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> breaks(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), &ubrk_close);
    ubrk_setUText(breaks.get(), source.get(), &status);
    if (U_FAILURE(status)) throw std::bad_alloc();
    std::int32_t end = 0;
    for (std::size_t i = 0; i < count && end != UBRK_DONE; ++i) end = ubrk_next(breaks.get());
    return end == UBRK_DONE ? text : text.substr(0, static_cast<std::size_t>(end));
}

std::string foldedForSearch(std::string_view text) {
    if (isASCII(text)) return inLowerCase(text);
    std::string folded;
    folded.reserve(text.size());
    UErrorCode status = U_ZERO_ERROR;
    const auto* normalizer = icu::Normalizer2::getNFKCCasefoldInstance(status);
    icu::StringByteSink<std::string> sink(&folded);
    const auto source = displayable(text);
    if (U_SUCCESS(status)) normalizer->normalizeUTF8(0, source, sink, nullptr, status);
    return U_SUCCESS(status) ? folded : source;
}

std::string inLowerCase(std::string_view text) {
    std::string lowered;
    lowered.reserve(text.size());
    if (isASCII(text)) {
        for (const char c : text) lowered += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        return lowered;
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::StringByteSink<std::string> sink(&lowered);
    const auto source = displayable(text);
    icu::CaseMap::utf8ToLower("", 0, source, sink, nullptr, status);
    return U_SUCCESS(status) ? lowered : source;
}

std::string displayable(std::string_view bytes) {
    if (isValidUTF8(bytes)) return std::string(bytes);
    std::string text;
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto size = static_cast<std::int64_t>(bytes.size());
    for (std::int64_t at = 0; at < size;) {
        const auto begin = at;
        UChar32 character = 0;
        U8_NEXT(data, at, size, character); // NOLINT(bugprone-inc-dec-in-conditions)
        if (character < 0)
            text += "\uFFFD";
        else
            text += bytes.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(at - begin));
    }
    return text;
}

Line lineAt(std::string_view text, std::size_t from) {
    for (auto at = from; at < text.size();) {
        at = separatorBlock(text.data(), at, text.size());
        for (const auto end = std::min(at + blockSize, text.size()); at < end; ++at)
            if (const auto length = mayBeginSeparator(text[at]) ? separatorLength(text, at) : 0)
                return {text.substr(from, at - from), at + length};
    }
    return {text.substr(from), text.size() + 1};
}

} // namespace orvel
