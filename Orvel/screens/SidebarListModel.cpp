#include "Orvel/screens/SidebarListModel.h"

#include "Orvel/model/RelativeTime.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/screens/ConversationCard.h"

#include <QMimeData>

namespace orvel {

namespace {

// What became of a link's last message, in a few words.
QString wordsFor(std::optional<TransferStanding> standing) {
    if (!standing) return SidebarListModel::tr("nothing sent yet");
    switch (*standing) {
    case TransferStanding::received: return SidebarListModel::tr("arrived");
    case TransferStanding::delivering:
    case TransferStanding::waitingForPaste:
    case TransferStanding::checking:
    case TransferStanding::receiptUnsaved: return SidebarListModel::tr("on its way");
    case TransferStanding::mayBeRetried:
    case TransferStanding::outdated:
    case TransferStanding::unconfirmed: return SidebarListModel::tr("needs attention");
    }
    return {};
}

QString spokenLink(const SidebarRow& row, const QString& subtitle) {
    const auto title = qtText(row.title);
    const auto standing = row.link->standing;
    if (row.section == SidebarRow::Section::closedLinks)
        return SidebarListModel::tr("Closed link, %1, %2").arg(title, subtitle);
    if (!standing || standing == TransferStanding::received)
        return SidebarListModel::tr("Link, %1, %2").arg(title, subtitle);
    return (hasFailed(*standing) ? SidebarListModel::tr("Link, %1, transfer failed, %2")
                                 : SidebarListModel::tr("Link, %1, transfer pending, %2"))
        .arg(title, subtitle);
}

} // namespace

void SidebarListModel::show(std::shared_ptr<const SidebarContents> newContents, const QString& query,
                            const SidebarContents::Scope& scope,
                            const std::unordered_set<std::string>& holding) {
    beginResetModel();
    contents = std::move(newContents);
    items.clear();
    closedLinks = 0;
    std::optional<SidebarRow::Section> section;
    for (const auto found : contents->matching(utf8Text(query), scope, holding)) {
        const auto rowSection = contents->rows()[found].section;
        if (section != rowSection) items.push_back({rowSection, -1});
        section = rowSection;
        if (rowSection == SidebarRow::Section::closedLinks) {
            ++closedLinks;
            if (hasFoldedClosedLinks && query.isEmpty()) continue;
        }
        items.push_back({rowSection, static_cast<std::ptrdiff_t>(found)});
    }
    endResetModel();
}

void SidebarListModel::renamed() {
    if (!items.empty()) emit dataChanged(index(0), index(rowCount() - 1));
}

const SidebarRow* SidebarListModel::row(const QModelIndex& index) const {
    if (!index.isValid() || index.row() >= rowCount()) return nullptr;
    const auto& item = items[static_cast<std::size_t>(index.row())];
    return item.row < 0 ? nullptr : &contents->rows()[static_cast<std::size_t>(item.row)];
}

template <typename Fits>
QModelIndex SidebarListModel::firstRow(Fits fits) const {
    for (int i = 0; i < rowCount(); ++i) {
        const auto* candidate = row(index(i));
        if (candidate && fits(*candidate)) return index(i);
    }
    return {};
}

QModelIndex SidebarListModel::indexOf(const std::string& path, SidebarRow::Section section) const {
    return firstRow([&](const SidebarRow& row) { return row.section == section && row.path == path; });
}

QModelIndex SidebarListModel::indexOfLink(const std::string& pairID) const {
    return firstRow([&](const SidebarRow& row) { return row.link && row.link->pairID == pairID; });
}

bool SidebarListModel::isFold(const QModelIndex& index) const {
    return index.isValid() && index.row() < rowCount() && !row(index) &&
           items[static_cast<std::size_t>(index.row())].section == SidebarRow::Section::closedLinks;
}

QString SidebarListModel::heading(SidebarRow::Section section) const {
    switch (section) {
    case SidebarRow::Section::links: return tr("Links");
    case SidebarRow::Section::closedLinks:
        return (hasFoldedClosedLinks ? tr("▸ Closed links (%1)") : tr("▾ Closed links (%1)"))
            .arg(closedLinks);
    case SidebarRow::Section::recent: return tr("Recent");
    case SidebarRow::Section::conversations: break;
    }
    return tr("Conversations");
}

int SidebarListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items.size());
}

QString SidebarListModel::subtitle(const SidebarRow& row) const {
    const auto when = qtText(relativeTime(row.date, loop.now(), localUTCOffset(row.date)));
    if (row.link) {
        const auto words = wordsFor(row.link->standing);
        return row.date == 0 ? words : words + QStringLiteral(" · ") + when;
    }
    if (!row.isAvailable) return tr("file not found");
    QStringList parts;
    if (!row.folder.empty()) parts += qtText(row.folder);
    if (row.waiting)
        parts += hasFailed(*row.waiting) ? tr("first message needs attention") : tr("first message waits");
    return (parts << when).join(QStringLiteral(" · "));
}

QVariant SidebarListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const auto& item = items[static_cast<std::size_t>(index.row())];
    const auto* shown = row(index);
    if (!shown) {
        if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole) return heading(item.section);
        return {};
    }
    switch (role) {
    case Qt::DisplayRole: return qtText(shown->title);
    case Qt::ToolTipRole:
        return QStringLiteral("%1\n%2").arg(qtText(shown->title),
                                            qtText(shown->link ? shown->folder : shown->path));
    case Qt::AccessibleTextRole:
        if (shown->link) return spokenLink(*shown, subtitle(*shown));
        return QStringLiteral("%1, %2, %3")
            .arg(qtText(label(shown->agent)), qtText(shown->title), subtitle(*shown));
    default: return {};
    }
}

// What belongs to a conversation can be dragged onto the card that waits for one.
Qt::ItemFlags SidebarListModel::flags(const QModelIndex& index) const {
    const auto* shown = row(index);
    if (!shown && !isFold(index)) return Qt::ItemNeverHasChildren;
    const auto flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    return shown && shown->reference ? flags | Qt::ItemIsDragEnabled : flags;
}

QStringList SidebarListModel::mimeTypes() const {
    return {ConversationCard::dragFormat()};
}

QMimeData* SidebarListModel::mimeData(const QModelIndexList& indexes) const {
    const auto* dragged = indexes.isEmpty() ? nullptr : row(indexes.first());
    if (!dragged || !dragged->reference) return nullptr;
    auto* data = new QMimeData; // The view owns it.
    data->setData(ConversationCard::dragFormat(), QByteArray::fromStdString(dragged->path));
    return data;
}

} // namespace orvel
