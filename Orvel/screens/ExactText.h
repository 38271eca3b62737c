#pragma once
// The text of an editor without Qt's changes to it.

#include "Orvel/platform/qt/QtText.h"

#include <QTextDocument>

namespace orvel {

/// The document's text with line feeds between its paragraphs. Unlike toPlainText it keeps no-break spaces
/// and line separators.
inline std::string exactText(const QTextDocument& document) {
    return utf8Text(document.toRawText().replace(QChar::ParagraphSeparator, QLatin1Char('\n')));
}

} // namespace orvel
