#pragma once
// The left zone of the window: a search field over the recent and the found conversations.

#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/SidebarContents.h"

#include <cstdint>
#include <memory>

#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QProgressBar>
#include <QWidget>

namespace orvel {

class Applications;
class SidebarListModel;

class SidebarView : public QWidget {
    Q_OBJECT

  public:
    SidebarView(OrvelModel& model, Applications& applications, QWidget* parent = nullptr);

    /// Brings the sidebar up to date with the model.
    void render();
    void focusSearch();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void refill();
    void showSelection();
    void openRow(const QModelIndex& index);
    void showMenu(const QPoint& position);
    std::uint64_t contentsRevision() const;

    OrvelModel& model;
    Applications& applications;
    QLineEdit* search;
    QProgressBar* progress;
    QListView* list;
    QLabel* nothing;
    SidebarListModel* rows;
    std::shared_ptr<const SidebarContents> contents;
    std::uint64_t shownRevision = 0;
};

} // namespace orvel
