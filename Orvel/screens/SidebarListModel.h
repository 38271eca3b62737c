#pragma once
// The sidebar's rows under their headings, as Qt's list views want them.

#include "Orvel/model/SidebarContents.h"

#include <memory>
#include <vector>

#include <QAbstractListModel>

namespace orvel {

class MainLoop;

class SidebarListModel : public QAbstractListModel {
    Q_OBJECT

  public:
    /// The loop, which outlives the rows, tells how old they are.
    explicit SidebarListModel(const MainLoop& loop, QObject* parent = nullptr)
        : QAbstractListModel(parent), loop(loop) {}

    /// Shows those of the contents in scope that match the query.
    void show(std::shared_ptr<const SidebarContents> newContents, const QString& query,
              const SidebarContents::Scope& scope, const std::unordered_set<std::string>& holding = {});
    /// The shown rows are called something else by now.
    void renamed();
    /// Folds or unfolds the closed links, as the next `show` will have them. A search looks into them anyway.
    void toggleClosedLinks() { hasFoldedClosedLinks = !hasFoldedClosedLinks; }
    /// Whether this is the heading by which the closed links are folded and unfolded.
    bool isFold(const QModelIndex& index) const;

    /// The row at the index; null for a heading.
    const SidebarRow* row(const QModelIndex& index) const;
    /// The index of the first row of this file and section; invalid if it is not shown.
    QModelIndex indexOf(const std::string& path, SidebarRow::Section section) const;
    /// The index of the link of this pair; invalid if it is not shown.
    QModelIndex indexOfLink(const std::string& pairID) const;
    bool isEmpty() const { return items.empty(); }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;

    /// "compiler · 2 min" or "arrived · 2 min": what stands beneath a title.
    QString subtitle(const SidebarRow& row) const;

  private:
    template <typename Fits>
    QModelIndex firstRow(Fits fits) const;

    struct Item {
        SidebarRow::Section section;
        std::ptrdiff_t row; // In the contents; -1 for the section's heading.
    };

    QString heading(SidebarRow::Section section) const;

    const MainLoop& loop;
    std::shared_ptr<const SidebarContents> contents;
    std::vector<Item> items;
    bool hasFoldedClosedLinks = true;
    int closedLinks = 0; // Of those that match.
};

} // namespace orvel
