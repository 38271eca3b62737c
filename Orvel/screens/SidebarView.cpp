#include "Orvel/screens/SidebarView.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SidebarListModel.h"
#include "Orvel/screens/Theme.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QVBoxLayout>

namespace orvel {

namespace {

QFont smaller(QFont font) {
    font.setPointSizeF(font.pointSizeF() * 0.88);
    return font;
}

// Two lines a conversation, one a heading.
class SidebarDelegate : public QStyledItemDelegate {
  public:
    SidebarDelegate(const SidebarListModel& rows, QObject* parent)
        : QStyledItemDelegate(parent), rows(rows) {}

    // Every row is of one height: a list of ten thousand rows then needs to ask only once.
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {0, option.fontMetrics.height() + QFontMetrics(smaller(option.font)).height() + 14};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const auto& theme = Theme::current();
        const auto area = option.rect.adjusted(10, 1, -10, -1);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (const auto* row = rows.row(index))
            paintConversation(*painter, option, area, *row, theme);
        else
            paintHeading(*painter, option, area, index.data().toString(), theme);
        painter->restore();
    }

  private:
    static void paintHeading(QPainter& painter, const QStyleOptionViewItem& option, const QRect& area,
                             const QString& text, const Theme& theme) {
        auto font = smaller(option.font);
        font.setWeight(QFont::Bold);
        font.setCapitalization(QFont::AllUppercase);
        font.setLetterSpacing(QFont::AbsoluteSpacing, 0.6);
        painter.setFont(font);
        painter.setPen(theme.secondaryText);
        painter.drawText(area.adjusted(8, 0, 0, -5), Qt::AlignLeft | Qt::AlignBottom, text);
    }

    static void paintConversation(QPainter& painter, const QStyleOptionViewItem& option, const QRect& area,
                                  const SidebarRow& row, const Theme& theme) {
        const bool isSelected = option.state.testFlag(QStyle::State_Selected);
        const bool isHovered = option.state.testFlag(QStyle::State_MouseOver);
        if (isSelected || isHovered) {
            auto color = theme.selection;
            if (!isSelected) color.setAlphaF(0.45F);
            painter.setPen(option.state.testFlag(QStyle::State_HasFocus) ? QPen(theme.accent, 1)
                                                                         : QPen(Qt::NoPen));
            painter.setBrush(color);
            painter.drawRoundedRect(area, 6, 6);
        }
        const auto small = smaller(option.font);
        const auto titleHeight = option.fontMetrics.height();
        const auto textArea = area.adjusted(24, 6, -8, -6);
        painter.setPen(Qt::NoPen);
        painter.setBrush(row.isAvailable ? theme.colorOf(row.agent) : theme.fadedText);
        painter.drawEllipse(QPointF(area.left() + 12, textArea.top() + titleHeight / 2.0), 4, 4);

        painter.setFont(option.font);
        painter.setPen(row.isAvailable ? theme.text : theme.fadedText);
        const auto title = qtText(row.title).simplified();
        // On the font's own baseline, which a fallback font for another script doesn't move.
        painter.drawText(textArea.left(), textArea.top() + option.fontMetrics.ascent(),
                         option.fontMetrics.elidedText(title, Qt::ElideRight, textArea.width()));
        painter.setFont(small);
        painter.setPen(theme.secondaryText);
        const QFontMetrics metrics(small);
        painter.drawText(
            textArea.left(), textArea.bottom() - metrics.descent(),
            metrics.elidedText(SidebarListModel::subtitle(row), Qt::ElideRight, textArea.width()));
    }

    const SidebarListModel& rows;
};

} // namespace

SidebarView::SidebarView(OrvelModel& model, Applications& applications, QWidget* parent)
    : QWidget(parent),
      model(model),
      applications(applications),
      search(new QLineEdit),
      progress(new QProgressBar),
      list(new QListView),
      nothing(new QLabel),
      rows(new SidebarListModel(this)) {
    search->setObjectName(QStringLiteral("search"));
    search->setPlaceholderText(tr("Search conversations"));
    search->setAccessibleName(tr("Search conversations"));
    search->setClearButtonEnabled(true);
    search->installEventFilter(this);
    connect(search, &QLineEdit::textChanged, this, [this] { refill(); });

    progress->setRange(0, 0);
    progress->setTextVisible(false);
    progress->setFixedHeight(3);
    progress->setAccessibleName(tr("Looking for conversations"));

    list->setObjectName(QStringLiteral("sidebarList"));
    list->setAccessibleName(tr("Conversations"));
    list->setModel(rows);
    list->setItemDelegate(new SidebarDelegate(*rows, list));
    list->setUniformItemSizes(true);
    list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setMouseTracking(true);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(list, &QListView::clicked, this, &SidebarView::openRow);
    connect(list, &QListView::activated, this, &SidebarView::openRow);
    connect(list, &QListView::customContextMenuRequested, this, &SidebarView::showMenu);

    nothing->setWordWrap(true);
    nothing->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    nothing->setContentsMargins(20, 16, 20, 16);
    nothing->setForegroundRole(QPalette::PlaceholderText);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 12, 0, 0);
    column->setSpacing(4);
    auto* searchRow = new QVBoxLayout;
    searchRow->setContentsMargins(10, 0, 10, 0);
    searchRow->addWidget(search);
    searchRow->addWidget(progress);
    column->addLayout(searchRow);
    column->addWidget(nothing, 1);
    column->addWidget(list, 1);

    // The times beneath the titles grow old.
    auto* clock = new QTimer(this);
    connect(clock, &QTimer::timeout, list->viewport(), qOverload<>(&QWidget::update));
    clock->start(std::chrono::seconds(30));
    setMinimumWidth(180);
}

void SidebarView::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), Theme::current().sidebar);
}

std::uint64_t SidebarView::contentsRevision() const {
    const auto& relay = model.relay();
    return relay.catalog.revision() + relay.codexThreadTitles.revision() +
           model.session().recentConversations.revision();
}

void SidebarView::render() {
    // Kept in place, so that the list does not move when the search begins.
    auto policy = progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    progress->setSizePolicy(policy);
    progress->setVisible(model.relay().isDiscovering);
    if (!contents || shownRevision != contentsRevision()) {
        shownRevision = contentsRevision();
        contents = std::make_shared<SidebarContents>(model.session().recentConversations.get(),
                                                     model.relay().catalog.get(),
                                                     model.relay().codexThreadTitles.get());
        refill();
    }
    showSelection();
}

void SidebarView::refill() {
    if (!contents) return;
    rows->show(contents, search->text());
    const bool isEmpty = !rows->showsConversations();
    list->setVisible(!isEmpty);
    nothing->setVisible(isEmpty);
    if (!contents->rows().empty())
        nothing->setText(tr("No conversation matches “%1”.").arg(search->text()));
    else
        nothing->setText(model.relay().isDiscovering ? tr("Looking for conversations…")
                                                     : tr("No conversations yet."));
    showSelection();
}

void SidebarView::showSelection() {
    const auto& path = model.session().filePath.get();
    const auto* selected = rows->row(list->currentIndex());
    if (!path) {
        list->clearSelection();
    } else if (!selected || selected->path != *path) {
        auto index = rows->indexOf(*path, SidebarRow::Section::conversations);
        if (!index.isValid()) index = rows->indexOf(*path, SidebarRow::Section::recent);
        list->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    }
}

void SidebarView::openRow(const QModelIndex& index) {
    const auto* found = rows->row(index);
    if (!found) return;
    const auto row = *found; // Opening may refill the list.
    if (row.section == SidebarRow::Section::conversations)
        model.chooseSource(*row.reference);
    else
        model.openRecent({.source = row.agent, .title = row.title, .path = row.path, .lastUsed = row.date});
}

void SidebarView::showMenu(const QPoint& position) {
    const auto index = list->indexAt(position);
    const auto* found = rows->row(index);
    if (!found) return;
    const auto row = *found;
    QMenu menu(this);
    connect(menu.addAction(tr("Open")), &QAction::triggered, this, [this, index] { openRow(index); });
    connect(menu.addAction(tr("Show in file manager")), &QAction::triggered, this,
            [this, row] { applications.revealFile(row.path); });
    if (row.reference)
        connect(menu.addAction(tr("Copy identifier")), &QAction::triggered, this,
                [row] { QGuiApplication::clipboard()->setText(qtText(row.reference->sessionID)); });
    if (row.section == SidebarRow::Section::recent)
        connect(menu.addAction(tr("Remove from recent")), &QAction::triggered, this,
                [this, row] { model.removeRecent(row.path); });
    menu.exec(list->viewport()->mapToGlobal(position));
}

void SidebarView::focusSearch() {
    search->setFocus(Qt::ShortcutFocusReason);
    search->selectAll();
}

bool SidebarView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == search && event->type() == QEvent::KeyPress) {
        const auto key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape && !search->text().isEmpty()) {
            search->clear();
            return true;
        }
        if (key == Qt::Key_Down || key == Qt::Key_Return || key == Qt::Key_Enter) {
            // Row 0 is a heading.
            if (!rows->row(list->currentIndex())) list->setCurrentIndex(rows->index(1));
            list->setFocus(Qt::ShortcutFocusReason);
            if (key != Qt::Key_Down) openRow(list->currentIndex());
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace orvel
