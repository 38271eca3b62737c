#pragma once
// Between Qt's text and ours, which is UTF-8.

#include <string>
#include <string_view>

#include <QString>

namespace orvel {

inline QString qtText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string utf8Text(const QString& text) {
    return text.toStdString();
}

} // namespace orvel
