#include "Orvel/screens/GrowingTextEdit.h"

#include <algorithm>
#include <cmath>

#include <QAbstractTextDocumentLayout>

namespace orvel {

namespace {

constexpr int mostLines = 8;

} // namespace

GrowingTextEdit::GrowingTextEdit(QWidget* parent) : QPlainTextEdit(parent) {
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
            [this] { updateGeometry(); });
}

void GrowingTextEdit::setFewestLines(int lines) {
    fewestLines = lines;
    updateGeometry();
}

int GrowingTextEdit::heightOfLines(int lines) const {
    const auto margins = contentsMargins();
    return static_cast<int>(
               std::ceil(lines * QFontMetricsF(font()).lineSpacing() + 2 * document()->documentMargin())) +
           margins.top() + margins.bottom() + 14;
}

// A plain text document measures its height in lines.
QSize GrowingTextEdit::sizeHint() const {
    const auto lines = static_cast<int>(std::ceil(document()->size().height()));
    return {QPlainTextEdit::sizeHint().width(), heightOfLines(std::clamp(lines, fewestLines, mostLines))};
}

void GrowingTextEdit::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    updateGeometry();
}

} // namespace orvel
