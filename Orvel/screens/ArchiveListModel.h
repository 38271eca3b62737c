#pragma once
// Paths of an archive, with what there is to say of each: those that go in with their sizes, or those that
// were left out with the reasons.

#include "Orvel/screens/Theme.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <QAbstractTableModel>
#include <QBrush>

namespace orvel {

class ArchiveListModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    struct Row {
        QString path, detail;
    };

    explicit ArchiveListModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

    void setRows(std::vector<Row> newRows) {
        beginResetModel();
        all = std::move(newRows);
        filter(words);
        endResetModel();
    }
    /// Shows those rows whose path or detail holds every word, in any case.
    void show(const QStringList& newWords) {
        beginResetModel();
        filter(newWords);
        endResetModel();
    }
    std::size_t total() const { return all.size(); }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(shown.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : 2; }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid()) return {};
        const auto& row = all[shown[static_cast<std::size_t>(index.row())]];
        const bool isPath = index.column() == 0;
        if (role == Qt::DisplayRole) return isPath ? row.path : row.detail;
        if (role == Qt::ToolTipRole || role == Qt::AccessibleTextRole)
            return QString(row.path + QStringLiteral(", ") + row.detail);
        if (role == Qt::ForegroundRole && !isPath) return QBrush(Theme::current().secondaryText);
        if (role == Qt::TextAlignmentRole)
            return static_cast<int>((isPath ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
        return {};
    }

  private:
    void filter(const QStringList& newWords) {
        words = newWords;
        shown.clear();
        for (std::size_t i = 0; i < all.size(); ++i) {
            const auto holds = [&](const QString& word) {
                return all[i].path.contains(word, Qt::CaseInsensitive) ||
                       all[i].detail.contains(word, Qt::CaseInsensitive);
            };
            if (std::all_of(words.begin(), words.end(), holds)) shown.push_back(i);
        }
    }

    std::vector<Row> all;
    std::vector<std::size_t> shown;
    QStringList words;
};

} // namespace orvel
