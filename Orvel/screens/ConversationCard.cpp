#include "Orvel/screens/ConversationCard.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/Theme.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace orvel {

ConversationCard::ConversationCard(QWidget* parent)
    : QPushButton(parent), name(new QLabel), role(new QLabel), title(new QLabel) {
    setObjectName(QStringLiteral("card"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
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

void ConversationCard::render(const std::optional<OrvelWorkspaceSnapshot::Endpoint>& newEndpoint,
                              const QString& newInvitation) {
    const auto& theme = Theme::current();
    endpoint = newEndpoint;
    invitation = newInvitation;
    name->setText(endpoint ? qtText(endpoint->name) : tr("Source"));
    role->setVisible(endpoint.has_value());
    if (endpoint) role->setText(qtText(endpoint->role));
    const bool isSource = endpoint && endpoint->role == "From";
    role->setStyleSheet(QStringLiteral("background: %1; color: %2; border-radius: 7px; padding: 1px 8px;")
                            .arg((isSource ? theme.accent : theme.border).name(),
                                 (isSource ? theme.accentText : theme.secondaryText).name()));
    title->setStyleSheet(
        QStringLiteral("color: %1;").arg((isEmpty() ? theme.accent : theme.secondaryText).name()));
    setAccessibleName(endpoint ? tr("%1, %2, %3")
                                     .arg(qtText(endpoint->name), qtText(endpoint->role),
                                          isEmpty() ? invitation : qtText(endpoint->title))
                               : tr("Source: %1").arg(invitation));
    showTitle();
    update();
}

void ConversationCard::showTitle() {
    const auto full = isEmpty() ? invitation : qtText(endpoint->title).simplified();
    title->setText(title->fontMetrics().elidedText(full, Qt::ElideRight, width() - 30));
    title->setToolTip(full);
}

void ConversationCard::paintEvent(QPaintEvent* event) {
    QPushButton::paintEvent(event);
    const auto& theme = Theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    if (endpoint) {
        auto stripe = theme.colorOf(endpoint->agent);
        if (isEmpty()) stripe.setAlphaF(0.4F);
        painter.setClipRect(QRect(0, 0, width(), 3));
        painter.fillPath(outline, stripe);
        painter.setClipping(false);
    }
    if (hasFocus()) {
        painter.setPen(QPen(theme.accent, 1));
        painter.drawPath(outline);
    }
}

QSize ConversationCard::sizeHint() const {
    return layout()->sizeHint();
}

void ConversationCard::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QPushButton::keyPressEvent(event);
}

void ConversationCard::resizeEvent(QResizeEvent* event) {
    QPushButton::resizeEvent(event);
    showTitle();
}

} // namespace orvel
