#include "Orvel/screens/SourceCard.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/Theme.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace orvel {

SourceCard::SourceCard(QWidget* parent)
    : QFrame(parent), name(new QLabel), role(new QLabel), title(new QLabel) {
    setObjectName(QStringLiteral("card"));
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    auto bold = name->font();
    bold.setWeight(QFont::Bold);
    name->setFont(bold);
    auto small = role->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    small.setWeight(QFont::Bold);
    role->setFont(small);
    title->setForegroundRole(QPalette::WindowText);
    title->setTextFormat(Qt::PlainText);
    title->setMinimumWidth(0);
    title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    auto* head = new QHBoxLayout;
    head->setSpacing(8);
    head->addWidget(name);
    head->addWidget(role);
    head->addStretch();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(14, 12, 14, 10);
    column->setSpacing(4);
    column->addLayout(head);
    column->addWidget(title);
}

void SourceCard::render(const std::optional<OrvelWorkspaceSnapshot::Endpoint>& newEndpoint) {
    const auto& theme = Theme::current();
    endpoint = newEndpoint;
    name->setText(endpoint ? qtText(endpoint->name) : tr("Source"));
    role->setVisible(endpoint.has_value());
    if (endpoint) role->setText(qtText(endpoint->role));
    role->setStyleSheet(QStringLiteral("background: %1; color: %2; border-radius: 7px; padding: 1px 8px;")
                            .arg(theme.accent.name(), theme.accentText.name()));
    title->setStyleSheet(QStringLiteral("color: %1;").arg(theme.secondaryText.name()));
    setAccessibleName(
        endpoint
            ? tr("%1, %2, %3").arg(qtText(endpoint->name), qtText(endpoint->role), qtText(endpoint->title))
            : tr("Source: choose a conversation"));
    showTitle();
    update();
}

void SourceCard::showTitle() {
    const auto full =
        endpoint ? qtText(endpoint->title).simplified() : tr("Choose a conversation in the sidebar");
    title->setText(title->fontMetrics().elidedText(full, Qt::ElideRight, width() - 30));
    title->setToolTip(endpoint ? full : QString());
}

void SourceCard::paintEvent(QPaintEvent* event) {
    QFrame::paintEvent(event);
    const auto& theme = Theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    if (endpoint) {
        painter.setClipRect(QRect(0, 0, width(), 3));
        painter.fillPath(outline, theme.colorOf(endpoint->agent));
        painter.setClipping(false);
    }
    if (hasFocus()) {
        painter.setPen(QPen(theme.accent, 1));
        painter.drawPath(outline);
    }
}

void SourceCard::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->pos())) emit activated();
}

void SourceCard::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space)
        emit activated();
    else
        QFrame::keyPressEvent(event);
}

void SourceCard::resizeEvent(QResizeEvent* event) {
    QFrame::resizeEvent(event);
    showTitle();
}

} // namespace orvel
