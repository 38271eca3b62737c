#include "Orvel/screens/SidebarListModel.h"

#include "Orvel/model/RelativeTime.h"
#include "Orvel/platform/posix/SystemClock.h"
#include "Orvel/platform/qt/QtText.h"

#include <optional>

namespace orvel {

void SidebarListModel::show(std::shared_ptr<const SidebarContents> newContents, const QString& query) {
    beginResetModel();
    contents = std::move(newContents);
    items.clear();
    std::optional<SidebarRow::Section> section;
    for (const auto found : contents->matching(utf8Text(query))) {
        const auto rowSection = contents->rows()[found].section;
        if (section != rowSection) items.push_back({rowSection, -1});
        section = rowSection;
        items.push_back({rowSection, static_cast<std::ptrdiff_t>(found)});
    }
    endResetModel();
}

const SidebarRow* SidebarListModel::row(const QModelIndex& index) const {
    if (!index.isValid() || index.row() >= rowCount()) return nullptr;
    const auto& item = items[static_cast<std::size_t>(index.row())];
    return item.row < 0 ? nullptr : &contents->rows()[static_cast<std::size_t>(item.row)];
}

QModelIndex SidebarListModel::indexOf(const std::string& path, SidebarRow::Section section) const {
    for (int i = 0; i < rowCount(); ++i) {
        const auto* candidate = row(index(i));
        if (candidate && candidate->section == section && candidate->path == path) return index(i);
    }
    return {};
}

int SidebarListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items.size());
}

QString SidebarListModel::subtitle(const SidebarRow& row) {
    const auto now = SystemClock::now();
    const auto when = qtText(relativeTime(row.date, now, localUTCOffset(row.date)));
    if (!row.isAvailable) return tr("file not found");
    return row.folder.empty() ? when : qtText(row.folder) + QStringLiteral(" · ") + when;
}

QVariant SidebarListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const auto& item = items[static_cast<std::size_t>(index.row())];
    const auto* conversation = row(index);
    const bool isRecent = item.section == SidebarRow::Section::recent;
    if (!conversation) {
        if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole)
            return isRecent ? tr("Recent") : tr("Conversations");
        return {};
    }
    switch (role) {
    case Qt::DisplayRole: return qtText(conversation->title);
    case Qt::ToolTipRole:
        return QStringLiteral("%1\n%2").arg(qtText(conversation->title), qtText(conversation->path));
    case Qt::AccessibleTextRole:
        return QStringLiteral("%1, %2, %3")
            .arg(qtText(label(conversation->agent)), qtText(conversation->title), subtitle(*conversation));
    default: return {};
    }
}

Qt::ItemFlags SidebarListModel::flags(const QModelIndex& index) const {
    return row(index) ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren
                      : Qt::ItemNeverHasChildren;
}

} // namespace orvel
