#pragma once
// Texts that may be longer than an editor can hold with ease.

#include "Orvel/platform/qt/QtText.h"

#include <string>

#include <QCoreApplication>

namespace orvel {

/// The text, or the beginning of a very long one with a word on how much follows. What is copied or sent is
/// never cut.
inline QString shownText(const std::string& text) {
    constexpr std::size_t most = 1'000'000; // In bytes.
    if (text.size() <= most) return qtText(text);
    auto end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return qtText(std::string_view(text).substr(0, end)) +
           QCoreApplication::translate("LongText", "\n\n[Shown up to here; %1 bytes more follow.]")
               .arg(static_cast<qulonglong>(text.size() - end));
}

} // namespace orvel
