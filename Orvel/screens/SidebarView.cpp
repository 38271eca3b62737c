#include "Orvel/screens/SidebarView.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SidebarList.h"
#include "Orvel/screens/SidebarListModel.h"
#include "Orvel/screens/Theme.h"

#include <algorithm>
#include <functional>
#include <utility>

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
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

// Two lines a link or a conversation, one a heading. The row under the pointer and the selected one have a
// button for what a click does not do.
class SidebarDelegate : public QStyledItemDelegate {
  public:
    /// The text of a row's button; empty for none.
    using ActionOf = std::function<QString(const SidebarRow&)>;

    SidebarDelegate(const SidebarListModel& rows, ActionOf actionOf, QObject* parent)
        : QStyledItemDelegate(parent), rows(rows), actionOf(std::move(actionOf)) {}

    static QRect actionArea(const QRect& row, const QFont& font, const QString& text) {
        const QFontMetrics metrics(smaller(font));
        const QSize size(metrics.horizontalAdvance(text) + 20, metrics.height() + 8);
        return {QPoint(row.right() - 16 - size.width(), row.center().y() - size.height() / 2), size};
    }

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
            if (paintMark(painter, QPointF(area.right() - 12, dot.y()), row.waiting, theme))
                textArea.setRight(textArea.right() - 16);
            painter.setPen(Qt::NoPen);
            painter.setBrush(row.isAvailable ? theme.colorOf(row.agent) : theme.fadedText);
            painter.drawEllipse(dot, 4, 4);
        }

        const auto action = isSelected || isHovered ? actionOf(row) : QString();
        if (!action.isEmpty()) {
            const auto button = actionArea(option.rect, option.font, action);
            paintAction(painter, option.font, button, action, theme);
            textArea.setRight(button.left() - 6);
        }
        painter.setFont(option.font);
        painter.setPen(row.isAvailable ? theme.text : theme.secondaryText);
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

    static void paintAction(QPainter& painter, const QFont& font, const QRect& area, const QString& text,
                            const Theme& theme) {
        painter.setFont(smaller(font));
        painter.setPen(theme.border);
        painter.setBrush(theme.card);
        painter.drawRoundedRect(QRectF(area).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
        painter.setPen(theme.accent);
        painter.drawText(area, Qt::AlignCenter, text);
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
    ActionOf actionOf;
};

// Which row it is, whatever it is called.
std::string keyOf(const SidebarRow& row) {
    return std::to_string(static_cast<int>(row.section)) + (row.link ? row.link->pairID : row.path);
}

} // namespace

SidebarView::SidebarView(OrvelModel& model, const Desktop& desktop, QWidget* parent)
    : QWidget(parent),
      model(model),
      applications(desktop.applications),
      pickingFrame(new QFrame),
      pickingText(new QLabel),
      leave(new QPushButton(tr("Done"))),
      search(new QLineEdit),
      progress(new QProgressBar),
      list(new SidebarList),
      nothing(new QLabel),
      rows(new SidebarListModel(desktop.loop, this)) {
    search->setObjectName(QStringLiteral("search"));
    search->setPlaceholderText(tr("Search conversations"));
    search->setAccessibleName(tr("Search conversations"));
    search->setClearButtonEnabled(true);
    search->installEventFilter(this);
    connect(search, &QLineEdit::textChanged, this, [this] { rebuild(); });
    leave->setAccessibleName(tr("Back to the relay"));
    connect(leave, &QPushButton::clicked, this, [this] {
        stopPicking();
        emit left();
    });

    progress->setRange(0, 0);
    progress->setTextVisible(false);
    progress->setFixedHeight(3);
    progress->setAccessibleName(tr("Looking for conversations"));

    connectList();

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
    auto* searchLine = new QHBoxLayout;
    searchLine->addWidget(search, 1);
    searchLine->addWidget(leave);
    searchRow->addLayout(searchLine);
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

void SidebarView::connectList() {
    list->setObjectName(QStringLiteral("sidebarList"));
    list->setAccessibleName(tr("Links and conversations"));
    list->installEventFilter(this);
    list->viewport()->installEventFilter(this);
    list->setModel(rows);
    list->setActions({.open = [this](const QModelIndex& index) { openRow(index); },
                      .name =
                          [this](const QModelIndex& index) {
                              const auto* row = rows->row(index);
                              return row ? actionOf(*row) : QString();
                          },
                      .act =
                          [this](const QModelIndex& index) {
                              if (const auto* row = rows->row(index)) act(*row);
                          }});
    list->setItemDelegate(new SidebarDelegate(
        *rows, [this](const SidebarRow& row) { return actionOf(row); }, list));
    list->setUniformItemSizes(true);
    list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setMouseTracking(true);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setContextMenuPolicy(Qt::CustomContextMenu);
    list->setDragDropMode(QAbstractItemView::DragOnly);
    connect(list, &QListView::clicked, this, &SidebarView::openRow);
    connect(list, &QListView::activated, this, &SidebarView::openRow);
    connect(list, &QListView::customContextMenuRequested, this, &SidebarView::showMenu);
    connect(list->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &SidebarView::selectionChanged);
    connect(list->verticalScrollBar(), &QScrollBar::valueChanged, this, &SidebarView::wantNames);
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

void SidebarView::chooseMember(RelayLinkEnd end) {
    const auto members = model.workspace.relay().orderedRelayConversations();
    const auto pair = model.workspace.relay().activePair();
    if (members.empty()) return;
    const auto& neighbour = end == RelayLinkEnd::leading ? members.front() : members.back();
    joining = {.end = end, .pairID = pair->id, .agent = other(neighbour.agent)};
    startPicking(Picking::member);
}

QString SidebarView::pickingWords() const {
    switch (picking) {
    case Picking::anything: break;
    case Picking::source: return tr("Choose the conversation to take from");
    case Picking::destination:
        return tr("Choose the %1 conversation to send to")
            .arg(qtText(label(other(model.workspace.state().sourceReference->agent))));
    case Picking::member:
        return tr("Choose the %1 conversation that joins the link").arg(qtText(label(joining.agent)));
    }
    return {};
}

// What is picked for may be gone by now.
bool SidebarView::isStillPicking() const {
    if (picking == Picking::destination) return model.workspace.state().sourceReference.has_value();
    if (picking != Picking::member) return true;
    const auto open = model.workspace.relay().activePair();
    return open && open->id == joining.pairID;
}

void SidebarView::startPicking(Picking newPicking) {
    picking = newPicking;
    pickingText->setText(pickingWords());
    pickingFrame->show();
    rebuild();
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
    if (!isStillPicking()) stopPicking();
    updateContents();
    model.messageSearch.look(utf8Text(search->text()));
    const auto findings = model.messageSearch.result().revision();
    if (std::exchange(shownFindings, findings) != findings) refill();
    showSelection();
    wantNames();
}

std::shared_ptr<SidebarContents> SidebarView::contentsOf(const SidebarLinks& links) const {
    const auto& catalogue = model.catalogue.state();
    return std::make_shared<SidebarContents>(
        linkRows(model.view(), links), catalogue.recentConversations.get(), catalogue.catalog.get(),
        catalogue.codexThreadTitles.get(), catalogue.readNames.get(), links.waiting);
}

SidebarView::Basis SidebarView::currentBasis() const {
    return {contentsRevision(), sidebarLinks(model.view())};
}

// Whether a row that is shown would stand elsewhere.
bool SidebarView::movesRows(const SidebarContents& newContents) const {
    const auto& before = contents->rows();
    const auto& after = newContents.rows();
    if (after.size() < before.size()) return true;
    return !std::equal(before.begin(), before.end(), after.begin(),
                       [](const auto& one, const auto& two) { return keyOf(one) == keyOf(two); });
}

void SidebarView::updateContents() {
    auto now = currentBasis();
    if (contents && (now == shown || (isPointerOver && now == awaited))) {
        const auto names = model.catalogue.state().readNames.revision();
        if (std::exchange(shownNames, names) != names) rename();
        return;
    }
    auto newContents = contentsOf(now.links);
    if (contents && isPointerOver && movesRows(*newContents)) {
        updateInPlace(now.links);
        awaited = std::move(now);
    } else {
        take(std::move(now), std::move(newContents));
    }
}

void SidebarView::rebuild() {
    auto now = currentBasis();
    if (contents && now == shown) return refill();
    auto newContents = contentsOf(now.links);
    take(std::move(now), std::move(newContents));
}

void SidebarView::take(Basis basis, std::shared_ptr<SidebarContents> newContents) {
    shown = std::move(basis);
    shownNames = model.catalogue.state().readNames.revision();
    contents = std::move(newContents);
    refill();
}

// How the links' messages stand is told at once; what is new waits until no pointer aims at a row.
void SidebarView::updateInPlace(const SidebarLinks& current) {
    for (auto* links : {&shown.links.open, &shown.links.closed})
        for (auto& link : *links)
            for (const auto* each : {&current.open, &current.closed})
                for (const auto& newer : *each)
                    if (newer.pairID == link.pairID) link = newer;
    rename();
}

// Without a search the rows stay where they are.
void SidebarView::rename() {
    const auto& catalogue = model.catalogue.state();
    contents->rename(linkRows(model.view(), shown.links), catalogue.codexThreadTitles.get(),
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
        if (row->reference)
            wanted.push_back(*row->reference);
        else if (!row->link && !isReadableName(row->title))
            wanted.push_back({.agent = row->agent,
                              .title = {},
                              .transcriptPath = row->path,
                              .workingDirectory = {},
                              .modifiedAt = row->date,
                              .desktopSessionID = {}});
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
    if (picking == Picking::member) scope.agent = joining.agent;
    const auto place = list->verticalScrollBar()->value();
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
    if (search->text().isEmpty()) list->verticalScrollBar()->setValue(place);
}

// Selects what is open, once: after that the person may move about in the list.
void SidebarView::showSelection() {
    const auto pair = model.workspace.relay().activePair();
    const auto open = pair ? pair->id : model.workspace.state().filePath->value_or("");
    if (picking != Picking::anything || std::exchange(shownSelection, open) == open) return;
    const auto indexOf = [&] {
        // A link's row stands for its first pair.
        const auto chain = model.workspace.relay().activeChain();
        if (pair) return rows->indexOfLink(chain ? chain->pairIDs.front() : pair->id);
        const auto index = rows->indexOf(open, SidebarRow::Section::conversations);
        return index.isValid() ? index : rows->indexOf(open, SidebarRow::Section::recent);
    };
    const auto* current = rows->row(list->currentIndex());
    if (open.empty())
        list->clearSelection();
    else if (!current || current->link || current->path != open)
        list->selectionModel()->setCurrentIndex(indexOf(), QItemSelectionModel::ClearAndSelect);
}

// A click opens, and forms no link: that is what the row's button does, or a pick for a card.
void SidebarView::openRow(const QModelIndex& index) {
    if (rows->isFold(index)) {
        rows->toggleClosedLinks();
        return refill();
    }
    const auto* found = rows->row(index);
    if (!found || found->section == SidebarRow::Section::closedLinks) return;
    const auto row = *found; // Opening may refill the list.
    const auto picked = picking;
    stopPicking();
    if (row.link) {
        if (const auto pair = pairOf(row)) model.chains.openSidebarLink(*pair);
    } else if (picked == Picking::destination && canBeDestination(row)) {
        emit linkWanted(*row.reference);
    } else if (picked == Picking::member && row.reference) {
        model.chains.appendRelayConversation(*row.reference, joining.end, joining.pairID);
    } else {
        openAsSource(row);
    }
    emit left();
}

std::shared_ptr<const RelayPair> SidebarView::pairOf(const SidebarRow& row) const {
    return row.link ? model.ledger.state().relayState->pairs.find(row.link->pairID) : nullptr;
}

// What the button on a row says.
QString SidebarView::actionOf(const SidebarRow& row) const {
    if (picking != Picking::anything) return {};
    if (row.section == SidebarRow::Section::closedLinks) return tr("Reopen");
    return canBeDestination(row) ? tr("Link") : QString();
}

void SidebarView::act(const SidebarRow& row) {
    const auto taken = row; // The list may be refilled.
    if (taken.section == SidebarRow::Section::closedLinks) {
        if (const auto pair = pairOf(taken)) model.links.restoreLink(*pair);
    } else if (canBeDestination(taken)) {
        emit linkWanted(*taken.reference);
    }
    emit left();
}

bool SidebarView::pressAction(const QPoint& position) {
    const auto index = list->indexAt(position);
    const auto* row = rows->row(index);
    const auto action = row ? actionOf(*row) : QString();
    if (action.isEmpty() ||
        !SidebarDelegate::actionArea(list->visualRect(index), list->font(), action).contains(position))
        return false;
    act(*row);
    return true;
}

bool SidebarView::canLinkSelected() const {
    const auto* row = rows->row(list->currentIndex());
    return row && canBeDestination(*row);
}

void SidebarView::linkSelected() {
    if (const auto* row = rows->row(list->currentIndex()); row && canBeDestination(*row)) act(*row);
}

void SidebarView::offerLeaving(bool isOffered) {
    leave->setVisible(isOffered);
}

void SidebarView::openAsSource(const SidebarRow& row) {
    if (row.section == SidebarRow::Section::conversations)
        model.workspace.chooseSource(*row.reference);
    else
        model.workspace.openRecent(
            {.source = row.agent, .title = row.title, .path = row.path, .lastUsed = row.date});
}

// One that the open relay goes to already needs no link.
bool SidebarView::canBeDestination(const SidebarRow& row) const {
    const auto& source = model.workspace.state().sourceReference;
    if (!row.reference || !source || source->agent == row.agent) return false;
    const auto pair = model.workspace.relay().activePair();
    return !pair || !sameIdentity(pair->endpoint(row.agent), *row.reference);
}

void SidebarView::addLinkEntries(QMenu& menu, const SidebarRow& row, const QModelIndex& index) {
    const auto pair = pairOf(row);
    if (!pair) return;
    if (row.section == SidebarRow::Section::closedLinks) {
        menu.addAction(tr("Reopen link"), this, [this, row] { act(row); });
        return;
    }
    menu.addAction(tr("Open"), this, [this, index] { openRow(index); });
    menu.addAction(tr("Close link"), this, [this, pair] { model.links.archiveLink(*pair); })
        ->setEnabled(model.links.canArchiveLink(*pair));
}

void SidebarView::addConversationEntries(QMenu& menu, const SidebarRow& row) {
    menu.addAction(tr("Open as source"), this, [this, row] {
        stopPicking();
        openAsSource(row);
        emit left();
    });
    menu.addAction(tr("Link"), this,
                   [this, row] {
                       stopPicking();
                       act(row);
                   })
        ->setEnabled(canBeDestination(row));
    menu.addSeparator();
    menu.addAction(tr("Show in file manager"), this, [this, row] { applications.revealFile(row.path); });
    if (row.reference)
        menu.addAction(tr("Copy identifier"), this,
                       [row] { QGuiApplication::clipboard()->setText(qtText(row.reference->sessionID)); });
    if (row.section == SidebarRow::Section::recent)
        menu.addAction(tr("Remove from recent"), this,
                       [this, row] { model.catalogue.removeRecent(row.path); });
}

void SidebarView::showMenu(const QPoint& position) {
    const auto index = list->indexAt(position);
    const auto* found = rows->row(index);
    if (!found) return;
    const auto row = *found;
    QMenu menu(this);
    if (row.link)
        addLinkEntries(menu, row, index);
    else
        addConversationEntries(menu, row);
    menu.exec(list->viewport()->mapToGlobal(position));
}

void SidebarView::focusSearch() {
    search->setFocus(Qt::ShortcutFocusReason);
    search->selectAll();
}

bool SidebarView::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::KeyPress:
        if (handleKey(watched, static_cast<QKeyEvent*>(event)->key())) return true;
        break;
    case QEvent::Enter: isPointerOver |= watched == list->viewport(); break;
    case QEvent::Leave:
        if (watched != list->viewport()) break;
        isPointerOver = false;
        render();
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (watched != list->viewport() || mouse->button() != Qt::LeftButton) break;
        isPressingAction = pressAction(mouse->pos());
        if (isPressingAction) return true;
        break;
    }
    case QEvent::MouseButtonRelease:
        if (watched == list->viewport() && std::exchange(isPressingAction, false)) return true;
        break;
    default: break;
    }
    return QWidget::eventFilter(watched, event);
}

bool SidebarView::handleKey(QObject* watched, int key) {
    const bool isReturn = key == Qt::Key_Return || key == Qt::Key_Enter;
    if (key == Qt::Key_Escape) {
        if (!search->text().isEmpty())
            search->clear();
        else if (picking != Picking::anything)
            stopPicking();
        else
            emit left();
        return true;
    }
    if (watched == search && (key == Qt::Key_Down || isReturn)) {
        if (rows->isEmpty()) return true;
        // The first row is a heading.
        for (int at = 1; at < rows->rowCount() && !rows->row(list->currentIndex()); ++at)
            list->setCurrentIndex(rows->index(at));
        list->setFocus(Qt::ShortcutFocusReason);
        if (isReturn) openRow(list->currentIndex());
        return true;
    }
    const auto* row = watched == list && isReturn ? rows->row(list->currentIndex()) : nullptr;
    if (!row || row->section != SidebarRow::Section::closedLinks) return false;
    act(*row);
    return true;
}

} // namespace orvel
