#include "Orvel/screens/FittingLabel.h"

#include <utility>

namespace orvel {

FittingLabel::FittingLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void FittingLabel::setTexts(QStringList newTexts) {
    texts = std::move(newTexts);
    fit();
}

void FittingLabel::fit() {
    const auto full = texts.isEmpty() ? QString() : texts.first();
    setAccessibleName(full);
    for (const auto& text : texts)
        if (fontMetrics().horizontalAdvance(text) <= width()) {
            setToolTip(text == full ? QString() : full);
            return setText(text);
        }
    setToolTip(full);
    setText(texts.isEmpty() ? QString() : fontMetrics().elidedText(texts.last(), Qt::ElideRight, width()));
}

void FittingLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    fit();
}

} // namespace orvel
