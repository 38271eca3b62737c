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
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QWidget>

namespace orvel {

class Applications;
class SidebarList;
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
    /// Lets the person pick the conversation that joins the open link at this end.
    void chooseMember(RelayLinkEnd end);

    /// Whether the selected conversation could be linked with the open source.
    bool canLinkSelected() const;
    void linkSelected();

    /// Offers the way back to the workspace, in whose place the sidebar stands.
    void offerLeaving(bool isOffered);

  signals:
    /// The person wants the open source to be linked with this conversation.
    void linkWanted(const orvel::ConversationReference& reference);
    /// Something was opened, or nothing is wanted here.
    void left();
    void selectionChanged();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    // What the next pick is for.
    enum class Picking { anything, source, destination, member };
    // A conversation that is to join a link.
    struct Joining {
        RelayLinkEnd end = RelayLinkEnd::trailing;
        std::string pairID;
        Agent agent = Agent::codex;
    };

    void connectList();
    QWidget* pickingRow();
    QString pickingWords() const;
    bool isStillPicking() const;
    void startPicking(Picking newPicking);
    void stopPicking();
    void rebuild();
    void updateContents();
    bool movesRows(const SidebarContents& newContents) const;
    void updateInPlace(const SidebarLinks& current);
    /// What the rows are made from, beside the names.
    struct Basis {
        std::uint64_t revision = 0;
        SidebarLinks links;

        bool operator==(const Basis&) const = default;
    };
    Basis currentBasis() const;
    std::shared_ptr<SidebarContents> contentsOf(const SidebarLinks& links) const;
    void take(Basis basis, std::shared_ptr<SidebarContents> newContents);
    void refill();
    void rename();
    void wantNames();
    void showSelection();
    void openRow(const QModelIndex& index);
    void openAsSource(const SidebarRow& row);
    bool canBeDestination(const SidebarRow& row) const;
    std::shared_ptr<const RelayPair> pairOf(const SidebarRow& row) const;
    QString actionOf(const SidebarRow& row) const;
    void act(const SidebarRow& row);
    bool pressAction(const QPoint& position);
    bool handleKey(QObject* watched, int key);
    void showMenu(const QPoint& position);
    void addLinkEntries(QMenu& menu, const SidebarRow& row, const QModelIndex& index);
    void addConversationEntries(QMenu& menu, const SidebarRow& row);
    std::uint64_t contentsRevision() const;

    OrvelModel& model;
    Applications& applications;
    QFrame* pickingFrame;
    QLabel* pickingText;
    QPushButton* leave;
    QLineEdit* search;
    QProgressBar* progress;
    SidebarList* list;
    QLabel* nothing;
    SidebarListModel* rows;
    std::shared_ptr<SidebarContents> contents;
    Basis shown;
    Basis awaited; // What the rows are to be made from once no pointer is over them.
    std::uint64_t shownNames = 0, shownFindings = 0;
    bool isPointerOver = false; // While it is, no row moves.
    bool isPressingAction = false;
    std::string shownSelection; // The pair or path that was last selected because it is open.
    Picking picking = Picking::anything;
    Joining joining; // While a member is picked.
};

} // namespace orvel
