#include "Orvel/screens/FailureNotice.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SettingsParts.h"
#include "Orvel/screens/Theme.h"

#include <algorithm>
#include <utility>

#include <QAccessible>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr int noticeWidth = 400, margin = 20;
constexpr qsizetype mostCharacters = 600; // The main window has all of a longer one.

} // namespace

FailureNotice::FailureNotice(MainLoop& loop)
    : QFrame(nullptr,
             Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus),
      loop(loop),
      message(plainLabel()),
      context(faintLabel()) {
    setObjectName(QStringLiteral("notice"));
    setWindowTitle(QStringLiteral("Orvel"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_MacAlwaysShowToolWindow); // Also while another application is in front.
    setFixedWidth(noticeWidth);
    auto* mark = new StateMark;
    mark->render(StateMark::State::failed);
    auto* view = new QPushButton(tr("View in Orvel"));
    auto* close = new QPushButton(tr("Close"));
    for (auto* button : {view, close}) button->setFocusPolicy(Qt::NoFocus);
    connect(view, &QPushButton::clicked, this, [this] {
        const auto open = std::exchange(openDetails, {});
        dismiss();
        if (open) open();
    });
    connect(close, &QPushButton::clicked, this, &FailureNotice::dismiss);

    auto* words = new QVBoxLayout;
    words->setSpacing(10);
    words->addWidget(message);
    words->addWidget(context);
    auto* head = new QHBoxLayout;
    head->setSpacing(10);
    head->addWidget(mark, 0, Qt::AlignTop);
    head->addLayout(words, 1);
    auto* foot = new QHBoxLayout;
    foot->setSpacing(10);
    foot->addStretch();
    foot->addWidget(view);
    foot->addWidget(close);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, 16);
    column->setSpacing(10);
    column->addLayout(head);
    column->addLayout(foot);
}

void FailureNotice::tell(const std::string& newMessage, const std::string& newContext,
                         std::function<void()> newDetails) {
    dismiss();
    openDetails = std::move(newDetails);
    auto text = qtText(newMessage);
    if (text.size() > mostCharacters) text = text.left(mostCharacters) + QStringLiteral("…");
    message->setText(text);
    context->setText(qtText(newContext));
    context->setVisible(!newContext.empty());
    setAccessibleName(text);
    place();
    show();
    raise();
    QAccessibleEvent alert(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
    dismissal = loop.after(duration, [this] { dismiss(); });
}

void FailureNotice::dismiss() {
    hide();
    dismissal.reset();
}

void FailureNotice::place() {
    const auto* screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    layout()->activate();
    const auto room = screen->availableGeometry();
    resize(noticeWidth, std::min(layout()->heightForWidth(noticeWidth), room.height() - 2 * margin));
    move(room.right() + 1 - margin - width(), room.top() + margin);
}

void FailureNotice::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Theme::current().border);
    painter.setBrush(Theme::current().window);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
}

} // namespace orvel
