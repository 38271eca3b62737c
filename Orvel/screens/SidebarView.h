#pragma once
// The left zone of the window: a search field over the links, the recent and the found conversations.

#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/SidebarContents.h"

#include <cstdint>
#include <memory>
#include <vector>

#include <QFrame>
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
    /// The model and the ports outlive the view.
    SidebarView(OrvelModel& model, const Desktop& desktop, QWidget* parent = nullptr);

    /// Brings the sidebar up to date with the model.
    void render();
    void focusSearch();
    /// Lets the person pick the conversation that the message is taken from, whichever agent's it is.
    void chooseSource();
    /// Lets the person pick the conversation that the message goes to. Without a source that can be joined
    /// with one, it lets them pick a source.
    void chooseDestination();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    // What the next pick is for.
    enum class Picking { anything, source, destination };

    QWidget* pickingRow();
    void startPicking(Picking newPicking);
    void stopPicking();
    void refill();
    void rename();
    void wantNames();
    void showSelection();
    void openRow(const QModelIndex& index);
    void openAsSource(const SidebarRow& row);
    bool canBeDestination(const SidebarRow& row) const;
    void showMenu(const QPoint& position);
    std::uint64_t contentsRevision() const;

    OrvelModel& model;
    Applications& applications;
    QFrame* pickingFrame;
    QLabel* pickingText;
    QLineEdit* search;
    QProgressBar* progress;
    QListView* list;
    QLabel* nothing;
    SidebarListModel* rows;
    std::shared_ptr<SidebarContents> contents;
    std::uint64_t shownRevision = 0, shownNames = 0, shownFindings = 0;
    std::vector<SidebarLink> shownLinks;
    std::string shownSelection; // The pair or path that was last selected because it is open.
    Picking picking = Picking::anything;
};

} // namespace orvel
