#include "Orvel/screens/SettingsParts.h"

#include "Orvel/screens/Theme.h"

#include <utility>

#include <QPainter>

namespace orvel {

namespace {

constexpr int markSize = 16;
constexpr double sectionTitleScale = 0.85;

QString nameOf(StateMark::State state) {
    switch (state) {
    case StateMark::State::done: return StateMark::tr("Done");
    case StateMark::State::failed: return StateMark::tr("Failed");
    case StateMark::State::passed: return StateMark::tr("Passed");
    case StateMark::State::command: return StateMark::tr("Command");
    case StateMark::State::open: break;
    }
    return StateMark::tr("Open");
}

} // namespace

QLabel* plainLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QLabel* faintLabel(const QString& text) {
    auto* label = plainLabel(text);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QLabel* sectionTitle(const QString& text) {
    auto* label = faintLabel(text);
    auto font = label->font();
    font.setPointSizeF(font.pointSizeF() * sectionTitleScale);
    font.setWeight(QFont::Bold);
    font.setCapitalization(QFont::AllUppercase);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 0.6);
    label->setFont(font);
    return label;
}

void showText(QLabel& label, const QString& text) {
    if (label.text() != text) label.setText(text);
}

StateMark::StateMark(QWidget* parent) : QWidget(parent) {
    setFixedSize(markSize, markSize);
}

void StateMark::render(State newState) {
    state = newState;
    setAccessibleName(nameOf(state));
    update();
}

void StateMark::paintEvent(QPaintEvent*) {
    const auto& theme = Theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF circle(1, 1, markSize - 2, markSize - 2);
    const auto fill = [&](const QColor& color) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawEllipse(circle);
        painter.setPen(QPen(theme.window, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    };
    switch (state) {
    case State::done:
        fill(theme.done);
        painter.drawPolyline(QPolygonF({{4.6, 8.3}, {7, 10.7}, {11.4, 5.6}}));
        break;
    case State::failed:
        fill(theme.failure);
        painter.drawLine(QPointF(8, 4.4), QPointF(8, 8.6));
        painter.drawPoint(QPointF(8, 11.6));
        break;
    case State::open:
        painter.setPen(QPen(theme.fadedText, 1.5, Qt::DotLine));
        painter.drawEllipse(circle);
        break;
    case State::command:
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme.accent);
        painter.drawEllipse(circle.center(), 4.5, 4.5);
        break;
    case State::passed:
        painter.setPen(QPen(theme.fadedText, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawLine(QPointF(2.5, 8), QPointF(13, 8));
        painter.drawPolyline(QPolygonF({{9.5, 4.5}, {13, 8}, {9.5, 11.5}}));
        break;
    }
}

SettingsRow::SettingsRow(Buttons place)
    : mark(new StateMark), title(plainLabel()), explanation(faintLabel()), buttons(new QHBoxLayout) {
    for (auto* label : {title, explanation}) label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* words = new QVBoxLayout;
    words->setSpacing(3);
    words->addWidget(title);
    words->addWidget(explanation);
    buttons->setSpacing(8);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 10, 10, 10);
    row->setSpacing(10);
    row->addWidget(mark, 0, Qt::AlignTop);
    row->addLayout(words, 1);
    if (place == Buttons::beneath) {
        words->addSpacing(4);
        words->addLayout(buttons);
        buttons->addStretch();
    } else {
        row->addLayout(buttons);
    }
}

QPushButton* SettingsRow::addButton(const QString& text, const QString& name, std::function<void()> action) {
    auto* button = new QPushButton(text);
    button->setAccessibleName(name);
    connect(button, &QPushButton::clicked, this, [action = std::move(action)] { action(); });
    buttons->addWidget(button);
    return button;
}

void SettingsRow::render(std::optional<StateMark::State> state, const QString& newTitle,
                         const QString& newExplanation) {
    mark->setVisible(state.has_value());
    if (state) mark->render(*state);
    showText(*title, newTitle);
    showText(*explanation, newExplanation);
    explanation->setVisible(!newExplanation.isEmpty());
}

SettingsCard::SettingsCard(QWidget* parent) : QFrame(parent), column(new QVBoxLayout(this)) {
    setObjectName(QStringLiteral("panel"));
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
}

SettingsRow* SettingsCard::addRow(SettingsRow::Buttons place) {
    auto* added = new SettingsRow(place);
    add(added);
    return added;
}

void SettingsCard::add(QWidget* content) {
    QWidget* line = nullptr;
    if (!entries.empty()) {
        line = new QFrame;
        line->setObjectName(QStringLiteral("line"));
        line->setFixedHeight(1);
        column->addWidget(line);
    }
    column->addWidget(content);
    entries.push_back({line, content});
}

void SettingsCard::showFirst(std::size_t count) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].line) entries[i].line->setVisible(i < count);
        entries[i].content->setVisible(i < count);
    }
}

} // namespace orvel
