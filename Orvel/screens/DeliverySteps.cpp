#include "Orvel/screens/DeliverySteps.h"

#include "Orvel/screens/Theme.h"

#include <algorithm>
#include <utility>

#include <QPainter>

namespace orvel {

namespace {

constexpr int circle = 14, gap = 6, longestLine = 40, shortestLine = 6;

void paintDone(QPainter& painter, const QPointF& center, const Theme& theme) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.done);
    painter.drawEllipse(center, circle / 2.0, circle / 2.0);
    painter.setPen(QPen(theme.card, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(
        QPolygonF({center + QPointF(-3, 0.2), center + QPointF(-0.8, 2.6), center + QPointF(3.2, -2.4)}));
}

// The step that comes next is an open ring, or a cross if it failed; those after it are faint.
void paintOpen(QPainter& painter, const QPointF& center, bool isNext, bool failed, const Theme& theme) {
    constexpr double radius = circle / 2.0 - 1;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(!isNext  ? theme.border
                        : failed ? theme.failure
                                 : theme.accent,
                        2, Qt::SolidLine, Qt::RoundCap));
    if (isNext && !failed) {
        constexpr int degree = 16;
        painter.drawArc(QRectF(center - QPointF(radius, radius), QSizeF(2 * radius, 2 * radius)), 60 * degree,
                        270 * degree);
        return;
    }
    painter.drawEllipse(center, radius, radius);
    if (!isNext) return;
    painter.setPen(QPen(theme.failure, 1.6, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(center + QPointF(-2.2, -2.2), center + QPointF(2.2, 2.2));
    painter.drawLine(center + QPointF(-2.2, 2.2), center + QPointF(2.2, -2.2));
}

} // namespace

DeliverySteps::DeliverySteps(QStringList names, QWidget* parent) : QWidget(parent), names(std::move(names)) {
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
}

void DeliverySteps::render(std::size_t newDone, bool hasFailed) {
    done = newDone;
    failed = hasFailed;
    QStringList spoken;
    for (std::size_t i = 0; i < std::size_t(names.size()); ++i)
        spoken += names[qsizetype(i)] + (i < done              ? tr(": done")
                                         : i == done && failed ? tr(": failed")
                                                               : tr(": not yet"));
    setAccessibleName(spoken.join(QStringLiteral(", ")));
    update();
}

QSize DeliverySteps::sizeHint() const {
    return sizeWith(longestLine);
}

QSize DeliverySteps::minimumSizeHint() const {
    return sizeWith(shortestLine);
}

QSize DeliverySteps::sizeWith(int line) const {
    int width = 0;
    for (const auto& name : names) width += circle + gap + fontMetrics().horizontalAdvance(name);
    const auto lines = static_cast<int>(std::max<qsizetype>(names.size(), 1)) - 1;
    return {width + lines * (line + 2 * gap), std::max(fontMetrics().height(), circle + 2)};
}

void DeliverySteps::paintEvent(QPaintEvent*) {
    const auto& theme = Theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double middle = height() / 2.0;
    const auto lines = std::max<int>(static_cast<int>(names.size()) - 1, 1);
    const auto line = std::clamp((width() - sizeWith(0).width()) / lines, shortestLine, longestLine);
    double x = 0;
    for (std::size_t i = 0; i < std::size_t(names.size()); ++i) {
        const auto& name = names[qsizetype(i)];
        const bool isDone = i < done;
        if (i > 0) {
            painter.setPen(QPen(isDone ? theme.done : theme.border, 2));
            painter.drawLine(QPointF(x + gap, middle), QPointF(x + gap + line, middle));
            x += line + 2 * gap;
        }
        const QPointF center(x + circle / 2.0, middle);
        if (isDone)
            paintDone(painter, center, theme);
        else
            paintOpen(painter, center, i == done, failed, theme);
        x += circle + gap;
        const auto width = fontMetrics().horizontalAdvance(name);
        painter.setPen(isDone ? theme.text : theme.secondaryText);
        painter.drawText(QRectF(x, 0, width + 2, height()), Qt::AlignVCenter | Qt::AlignLeft, name);
        x += width;
    }
}

} // namespace orvel
