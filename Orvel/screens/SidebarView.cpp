#include "Orvel/screens/SidebarView.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SidebarListModel.h"
#include "Orvel/screens/Theme.h"

#include <algorithm>
#include <utility>

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QVBoxLayout>

namespace orvel {

namespace {

QFont smaller(QFont font) {
    font.setPointSizeF(font.pointSizeF() * 0.88);
    return font;
}

// Two lines a link or a conversation, one a heading.
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
            paintRow(*painter, option, area, *row, theme);
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

    void paintRow(QPainter& painter, const QStyleOptionViewItem& option, const QRect& area,
                  const SidebarRow& row, const Theme& theme) const {
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
        auto textArea = area.adjusted(24, 6, -8, -6);
        const QPointF dot(area.left() + 12, textArea.top() + titleHeight / 2.0);
        painter.setPen(Qt::NoPen);
        if (row.link) {
            paintBothAgents(painter, dot, theme);
            if (paintMark(painter, QPointF(area.right() - 12, dot.y()), row.link->standing, theme))
                textArea.setRight(textArea.right() - 16);
        } else {
            painter.setBrush(row.isAvailable ? theme.colorOf(row.agent) : theme.fadedText);
            painter.drawEllipse(dot, 4, 4);
        }

        painter.setFont(option.font);
        painter.setPen(row.isAvailable ? theme.text : theme.fadedText);
        const auto title = qtText(row.title).simplified();
        // On the font's own baseline, which a fallback font for another script doesn't move.
        painter.drawText(textArea.left(), textArea.top() + option.fontMetrics.ascent(),
                         option.fontMetrics.elidedText(title, Qt::ElideRight, textArea.width()));
        painter.setFont(small);
        painter.setPen(theme.secondaryText);
        const QFontMetrics metrics(small);
        painter.drawText(textArea.left(), textArea.bottom() - metrics.descent(),
                         metrics.elidedText(rows.subtitle(row), Qt::ElideRight, textArea.width()));
    }

    // One half in the colour of each.
    static void paintBothAgents(QPainter& painter, const QPointF& center, const Theme& theme) {
        const QRectF circle(center - QPointF(4, 4), QSizeF(8, 8));
        constexpr int quarter = 90 * 16;
        painter.setBrush(theme.colorOf(Agent::claude));
        painter.drawPie(circle, quarter, 2 * quarter);
        painter.setBrush(theme.colorOf(Agent::codex));
        painter.drawPie(circle, 3 * quarter, 2 * quarter);
    }

    // A dot while a message is on its way, an exclamation mark after a failure. Says whether there is one.
    static bool paintMark(QPainter& painter, const QPointF& center, std::optional<TransferStanding> standing,
                          const Theme& theme) {
        if (!standing || standing == TransferStanding::received) return false;
        if (!hasFailed(*standing)) {
            painter.setBrush(theme.pending);
            painter.drawEllipse(center, 3.5, 3.5);
            return true;
        }
        painter.setBrush(theme.failure);
        painter.drawEllipse(center, 7, 7);
        painter.setBrush(theme.sidebar);
        painter.drawRoundedRect(QRectF(center.x() - 1, center.y() - 4, 2, 5), 1, 1);
        painter.drawEllipse(center + QPointF(0, 3.2), 1.1, 1.1);
        return true;
    }

    const SidebarListModel& rows;
};

} // namespace

SidebarView::SidebarView(OrvelModel& model, const Desktop& desktop, QWidget* parent)
    : QWidget(parent),
      model(model),
      applications(desktop.applications),
      pickingFrame(new QFrame),
      pickingText(new QLabel),
      search(new QLineEdit),
      progress(new QProgressBar),
      list(new QListView),
      nothing(new QLabel),
      rows(new SidebarListModel(desktop.loop, this)) {
    search->setObjectName(QStringLiteral("search"));
    search->setPlaceholderText(tr("Search conversations"));
    search->setAccessibleName(tr("Search conversations"));
    search->setClearButtonEnabled(true);
    search->installEventFilter(this);
    connect(search, &QLineEdit::textChanged, this, [this] { refill(); });
    connect(list->verticalScrollBar(), &QScrollBar::valueChanged, this, &SidebarView::wantNames);

    progress->setRange(0, 0);
    progress->setTextVisible(false);
    progress->setFixedHeight(3);
    progress->setAccessibleName(tr("Looking for conversations"));

    list->setObjectName(QStringLiteral("sidebarList"));
    list->setAccessibleName(tr("Links and conversations"));
    list->installEventFilter(this);
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
    searchRow->addWidget(pickingRow());
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

QWidget* SidebarView::pickingRow() {
    pickingFrame->setObjectName(QStringLiteral("hint"));
    pickingText->setWordWrap(true);
    auto* cancel = new QPushButton(tr("Cancel"));
    cancel->setAccessibleName(tr("Stop choosing"));
    connect(cancel, &QPushButton::clicked, this, &SidebarView::stopPicking);
    auto* row = new QHBoxLayout(pickingFrame);
    row->setContentsMargins(10, 6, 6, 6);
    row->addWidget(pickingText, 1);
    row->addWidget(cancel);
    pickingFrame->hide();
    return pickingFrame;
}

void SidebarView::chooseSource() {
    startPicking(Picking::source);
}

void SidebarView::chooseDestination() {
    startPicking(model.workspace.state().sourceReference ? Picking::destination : Picking::source);
}

void SidebarView::startPicking(Picking newPicking) {
    picking = newPicking;
    pickingText->setText(
        picking == Picking::source
            ? tr("Choose the conversation to take from")
            : tr("Choose the %1 conversation to send to")
                  .arg(qtText(label(other(model.workspace.state().sourceReference->agent)))));
    pickingFrame->show();
    refill();
    focusSearch();
    search->setAccessibleDescription(pickingText->text());
    QAccessibleEvent alert(pickingText, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void SidebarView::stopPicking() {
    if (std::exchange(picking, Picking::anything) == Picking::anything) return;
    pickingFrame->hide();
    search->setAccessibleDescription({});
    refill();
}

void SidebarView::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), Theme::current().sidebar);
}

std::uint64_t SidebarView::contentsRevision() const {
    const auto& catalogue = model.catalogue.state();
    return catalogue.catalog.revision() + catalogue.codexThreadTitles.revision() +
           catalogue.recentConversations.revision();
}

void SidebarView::render() {
    // Kept in place, so that the list does not move when the search begins.
    auto policy = progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    progress->setSizePolicy(policy);
    progress->setVisible(model.catalogue.state().isDiscovering);
    if (picking == Picking::destination && !model.workspace.state().sourceReference) stopPicking();
    const auto& catalogue = model.catalogue.state();
    auto links = sidebarLinks(model.view());
    if (!contents || shownRevision != contentsRevision() || shownLinks != links) {
        shownRevision = contentsRevision();
        shownLinks = std::move(links);
        shownNames = catalogue.readNames.revision();
        contents = std::make_shared<SidebarContents>(
            linkRows(model.view(), shownLinks), catalogue.recentConversations.get(), catalogue.catalog.get(),
            catalogue.codexThreadTitles.get(), catalogue.readNames.get());
        refill();
    } else if (std::exchange(shownNames, catalogue.readNames.revision()) != catalogue.readNames.revision()) {
        rename();
    }
    model.messageSearch.look(utf8Text(search->text()));
    const auto findings = model.messageSearch.result().revision();
    if (std::exchange(shownFindings, findings) != findings) refill();
    showSelection();
    wantNames();
}

// Without a search the rows stay where they are.
void SidebarView::rename() {
    const auto& catalogue = model.catalogue.state();
    contents->rename(linkRows(model.view(), shownLinks), catalogue.codexThreadTitles.get(),
                     catalogue.readNames.get());
    if (search->text().isEmpty())
        rows->renamed();
    else
        refill();
}

// Asks for the names of what is visible and open; a search looks into all of them.
void SidebarView::wantNames() {
    std::vector<ConversationReference> wanted;
    const auto wantPair = [&](const RelayPair& pair) {
        for (const auto agent : allAgents) wanted.push_back(pair.endpoint(agent));
    };
    if (!search->text().isEmpty()) model.catalogue.readNames(model.catalogue.state().catalog.get());
    const auto begin = std::max(0, list->indexAt({1, 1}).row());
    const auto visible = list->viewport()->height() / std::max(1, list->sizeHintForRow(0)) + 2;
    for (auto at = begin; at < std::min(begin + visible, rows->rowCount()); ++at) {
        const auto* row = rows->row(rows->index(at));
        if (!row) continue;
        if (row->reference) wanted.push_back(*row->reference);
        if (row->link)
            if (const auto pair = model.ledger.state().relayState->pairs.find(row->link->pairID))
                wantPair(*pair);
    }
    if (const auto& open = model.workspace.state().sourceReference) wanted.push_back(*open);
    if (const auto pair = model.workspace.relay().activePair()) wantPair(*pair);
    model.catalogue.readNames(wanted);
}

void SidebarView::refill() {
    if (!contents) return;
    SidebarContents::Scope scope{.links = picking == Picking::anything};
    if (picking == Picking::destination) scope.agent = other(model.workspace.state().sourceReference->agent);
    model.messageSearch.look(utf8Text(search->text()));
    const auto& found = model.messageSearch.result().get();
    const bool isCurrent = found.query == utf8Text(search->text());
    rows->show(contents, search->text(), scope, isCurrent ? found.paths : std::unordered_set<std::string>());
    shownSelection.clear();
    const bool isEmpty = rows->isEmpty();
    list->setVisible(!isEmpty);
    nothing->setVisible(isEmpty);
    if (!search->text().isEmpty())
        nothing->setText(tr("No conversation matches “%1”.").arg(search->text()));
    else if (scope.agent)
        nothing->setText(tr("No conversations of %1 found.").arg(qtText(label(*scope.agent))));
    else
        nothing->setText(model.catalogue.state().isDiscovering ? tr("Looking for conversations…")
                                                               : tr("No conversations yet."));
    showSelection();
}

// Selects what is open, once: after that the person may move about in the list.
void SidebarView::showSelection() {
    const auto pair = model.workspace.relay().activePair();
    const auto open = pair ? pair->id : model.workspace.state().filePath->value_or("");
    if (picking != Picking::anything || std::exchange(shownSelection, open) == open) return;
    const auto indexOf = [&] {
        if (pair) return rows->indexOfLink(pair->id);
        const auto index = rows->indexOf(open, SidebarRow::Section::conversations);
        return index.isValid() ? index : rows->indexOf(open, SidebarRow::Section::recent);
    };
    const auto* current = rows->row(list->currentIndex());
    if (open.empty())
        list->clearSelection();
    else if (!current || current->link || current->path != open)
        list->selectionModel()->setCurrentIndex(indexOf(), QItemSelectionModel::ClearAndSelect);
}

// With a source open, a conversation of the other agent is where the message goes; any other becomes the
// source.
void SidebarView::openRow(const QModelIndex& index) {
    const auto* found = rows->row(index);
    if (!found) return;
    const auto row = *found; // Opening may refill the list.
    const auto picked = picking;
    stopPicking();
    if (row.link) {
        if (const auto pair = model.ledger.state().relayState->pairs.find(row.link->pairID))
            model.chains.openSidebarLink(*pair);
    } else if (picked != Picking::source && canBeDestination(row)) {
        model.links.chooseEndpoint(*row.reference);
    } else {
        openAsSource(row);
    }
}

void SidebarView::openAsSource(const SidebarRow& row) {
    if (row.section == SidebarRow::Section::conversations)
        model.workspace.chooseSource(*row.reference);
    else
        model.workspace.openRecent(
            {.source = row.agent, .title = row.title, .path = row.path, .lastUsed = row.date});
}

bool SidebarView::canBeDestination(const SidebarRow& row) const {
    const auto& source = model.workspace.state().sourceReference;
    return row.reference && source && source->agent != row.agent;
}

void SidebarView::showMenu(const QPoint& position) {
    const auto index = list->indexAt(position);
    const auto* found = rows->row(index);
    if (!found) return;
    const auto row = *found;
    QMenu menu(this);
    const auto add = [&](const QString& text, auto action) {
        auto* made = menu.addAction(text);
        connect(made, &QAction::triggered, this, std::move(action));
        return made;
    };
    if (row.link) {
        add(tr("Open"), [this, index] { openRow(index); });
    } else {
        add(tr("Open as source"), [this, row] {
            stopPicking();
            openAsSource(row);
        });
        add(tr("Use as destination"), [this, row] {
            stopPicking();
            model.links.chooseEndpoint(*row.reference);
        })->setEnabled(canBeDestination(row));
        menu.addSeparator();
        add(tr("Show in file manager"), [this, row] { applications.revealFile(row.path); });
    }
    if (row.reference)
        add(tr("Copy identifier"),
            [row] { QGuiApplication::clipboard()->setText(qtText(row.reference->sessionID)); });
    if (row.section == SidebarRow::Section::recent)
        add(tr("Remove from recent"), [this, row] { model.catalogue.removeRecent(row.path); });
    menu.exec(list->viewport()->mapToGlobal(position));
}

void SidebarView::focusSearch() {
    search->setFocus(Qt::ShortcutFocusReason);
    search->selectAll();
}

bool SidebarView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    const auto key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Escape && (picking != Picking::anything || !search->text().isEmpty())) {
        if (search->text().isEmpty())
            stopPicking();
        else
            search->clear();
        return true;
    }
    if (watched == search && (key == Qt::Key_Down || key == Qt::Key_Return || key == Qt::Key_Enter)) {
        // Row 0 is a heading.
        if (!rows->row(list->currentIndex())) list->setCurrentIndex(rows->index(1));
        list->setFocus(Qt::ShortcutFocusReason);
        if (key != Qt::Key_Down) openRow(list->currentIndex());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace orvel
