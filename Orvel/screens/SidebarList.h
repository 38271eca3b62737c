#pragma once
// The list of the sidebar, whose rows tell a screen reader what can be done with them: each can be opened,
// and some have an action of their own beside that.

#include <functional>

#include <QListView>

namespace orvel {

class SidebarList : public QListView {
    Q_OBJECT

  public:
    /// What the rows do.
    struct Actions {
        std::function<void(const QModelIndex&)> open;
        /// What the row's own action is called; empty where it has none.
        std::function<QString(const QModelIndex&)> name;
        std::function<void(const QModelIndex&)> act;
    };

    explicit SidebarList(QWidget* parent = nullptr);

    void setActions(Actions newActions) { actions = std::move(newActions); }
    const Actions& rowActions() const { return actions; }

  private:
    Actions actions;
};

} // namespace orvel
