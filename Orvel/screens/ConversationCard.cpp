#include "Orvel/screens/ConversationCard.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/Theme.h"

#include <utility>

#include <QContextMenuEvent>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr int sideMargin = 14;

QLabel* elidedLabel() {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setMinimumWidth(0);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    return label;
}

QPushButton* smallButton(const QString& name) {
    auto* button = new QPushButton;
    button->setObjectName(name);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

} // namespace

ConversationCard::ConversationCard(QWidget* parent)
    : QPushButton(parent),
      name(new QLabel),
      role(new QLabel),
      title(elidedLabel()),
      choose(smallButton(QStringLiteral("link"))),
      more(smallButton(QStringLiteral("link"))),
      folderRow(new QWidget),
      folder(elidedLabel()),
      chooseFolder(smallButton(QStringLiteral("small"))) {
    setObjectName(QStringLiteral("card"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    setCursor(Qt::PointingHandCursor);
    setAcceptDrops(true);
    auto bold = name->font();
    bold.setWeight(QFont::Bold);
    name->setFont(bold);
    auto small = role->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    small.setWeight(QFont::Bold);
    role->setFont(small);
    title->setForegroundRole(QPalette::WindowText);
    choose->setAccessibleName(tr("Choose a conversation"));
    more->setText(QStringLiteral("⋯"));
    chooseFolder->setText(tr("Choose…"));
    chooseFolder->setAccessibleName(tr("Choose the working folder"));
    connect(choose, &QPushButton::clicked, this, &ConversationCard::chooseWanted);
    connect(more, &QPushButton::clicked, this, [this] { showMenu(more->geometry().bottomLeft()); });
    connect(chooseFolder, &QPushButton::clicked, this, &ConversationCard::folderWanted);

    auto* head = new QHBoxLayout;
    head->setSpacing(8);
    head->addWidget(name);
    head->addWidget(role);
    head->addStretch();
    head->addWidget(choose);
    head->addWidget(more);
    auto* folderCaption = new QLabel(tr("Folder"));
    folderCaption->setForegroundRole(QPalette::PlaceholderText);
    auto* line = new QHBoxLayout(folderRow);
    line->setContentsMargins(0, 4, 0, 0);
    line->setSpacing(8);
    line->addWidget(folderCaption);
    line->addWidget(folder, 1);
    line->addWidget(chooseFolder);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(sideMargin, 12, sideMargin, 10);
    column->setSpacing(4);
    column->addLayout(head);
    column->addWidget(title);
    column->addWidget(folderRow);
    column->addStretch();
}

void ConversationCard::render(Contents newContents) {
    const auto& theme = Theme::current();
    contents = std::move(newContents);
    const auto& endpoint = contents.endpoint;
    name->setText(endpoint ? qtText(endpoint->name) : tr("Source"));
    role->setVisible(endpoint && !endpoint->role.empty());
    if (endpoint) role->setText(qtText(endpoint->role));
    const bool isSource = endpoint && endpoint->role == "From";
    role->setStyleSheet(QStringLiteral("background: %1; color: %2; border-radius: 7px; padding: 1px 8px;")
                            .arg((isSource ? theme.accent : theme.border).name(),
                                 (isSource ? theme.accentText : theme.text).name()));
    title->setStyleSheet(
        QStringLiteral("color: %1;").arg((endpoint ? theme.secondaryText : theme.accent).name()));
    choose->setVisible(contents.canChoose);
    more->setAccessibleName(tr("More for %1").arg(name->text()));
    folderRow->setVisible(contents.folder.has_value());
    setToolTip(contents.purpose);
    const auto spoken = !endpoint ? tr("Source: %1").arg(contents.title)
                        : endpoint->role.empty()
                            ? tr("%1, %2").arg(name->text(), contents.title)
                            : tr("%1, %2, %3").arg(name->text(), role->text(), contents.title);
    setAccessibleName(spoken);
    updateGeometry();
    fit();
    update();
}

// Titles are shortened to the card's width, and so are the words of its choice.
void ConversationCard::fit() {
    const auto full = contents.title.simplified();
    title->setText(title->fontMetrics().elidedText(full, Qt::ElideRight, width() - 2 * sideMargin - 2));
    const auto spare = width() - name->sizeHint().width() - role->sizeHint().width() - 2 * sideMargin - 30;
    const auto longer = tr("Choose a conversation");
    choose->setText(choose->fontMetrics().horizontalAdvance(longer) < spare ? longer : tr("Choose…"));
    // What it offers stands in the context menu as well.
    more->setVisible(contents.endpoint && hasMenu() && spare > more->sizeHint().width());
    if (!contents.folder) return;
    const auto path = contents.folder->isEmpty() ? tr("none chosen") : *contents.folder;
    layout()->activate();
    folder->setText(folder->fontMetrics().elidedText(path, Qt::ElideMiddle, folder->width()));
    folder->setToolTip(path);
    folder->setAccessibleName(tr("Working folder: %1").arg(path));
}

void ConversationCard::paintEvent(QPaintEvent* event) {
    QPushButton::paintEvent(event);
    const auto& theme = Theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    if (isEmpty()) {
        painter.setPen(QPen(theme.card, 1)); // Over the frame that the style has painted.
        painter.drawPath(outline);
        painter.setPen(QPen(isDropTarget ? theme.accent : theme.fadedText, isDropTarget ? 2 : 1,
                            isDropTarget ? Qt::SolidLine : Qt::DashLine));
        painter.drawPath(outline);
    }
    if (contents.endpoint) {
        auto stripe = theme.colorOf(contents.endpoint->agent);
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

// Three cards and their arrows fit into the smallest window.
QSize ConversationCard::minimumSizeHint() const {
    constexpr int leastWidth = 96;
    return {leastWidth, layout()->sizeHint().height()};
}

void ConversationCard::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QPushButton::keyPressEvent(event);
}

void ConversationCard::resizeEvent(QResizeEvent* event) {
    QPushButton::resizeEvent(event);
    fit();
}

void ConversationCard::contextMenuEvent(QContextMenuEvent* event) {
    if (contents.endpoint && hasMenu()) showMenu(event->pos());
}

void ConversationCard::showMenu(const QPoint& position) {
    QMenu menu(this);
    if (contents.canReplace)
        connect(menu.addAction(tr("Choose another conversation…")), &QAction::triggered, this,
                &ConversationCard::chooseWanted);
    if (contents.endpoint->canStartNew)
        connect(menu.addAction(tr("New conversation")), &QAction::triggered, this,
                &ConversationCard::newConversationWanted);
    menu.exec(mapToGlobal(position));
}

void ConversationCard::dragEnterEvent(QDragEnterEvent* event) {
    if (!contents.takesDrops || !event->mimeData()->hasFormat(dragFormat())) return;
    event->acceptProposedAction();
    isDropTarget = true;
    update();
}

void ConversationCard::dragLeaveEvent(QDragLeaveEvent*) {
    isDropTarget = false;
    update();
}

void ConversationCard::dropEvent(QDropEvent* event) {
    isDropTarget = false;
    update();
    event->acceptProposedAction();
    emit conversationDropped(QString::fromUtf8(event->mimeData()->data(dragFormat())));
}

} // namespace orvel
