#include "Orvel/screens/SidebarList.h"

#include <map>

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>

namespace orvel {

namespace {

// One row, which may show something else later.
class RowItem : public QAccessibleInterface, public QAccessibleActionInterface {
  public:
    RowItem(SidebarList* list, int row) : list(list), row(row) {}

    bool isValid() const override { return list && index().isValid(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return list ? list->window()->windowHandle() : nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(list); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    void setText(QAccessible::Text, const QString&) override {}

    QAccessible::Role role() const override {
        return isValid() && !isSelectable() ? QAccessible::Heading : QAccessible::ListItem;
    }
    QString text(QAccessible::Text kind) const override {
        if (!isValid()) return {};
        if (kind == QAccessible::Name) return index().data(Qt::AccessibleTextRole).toString();
        return kind == QAccessible::Description ? index().data(Qt::ToolTipRole).toString() : QString();
    }
    QRect rect() const override {
        if (!isValid()) return {};
        const auto place = list->visualRect(index());
        return {list->viewport()->mapToGlobal(place.topLeft()), place.size()};
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.focusable = state.selectable = isSelectable();
        state.selected = list->selectionModel()->isSelected(index());
        state.focused = list->hasFocus() && index() == list->currentIndex();
        state.offscreen = !list->viewport()->rect().intersects(list->visualRect(index()));
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }
    QStringList actionNames() const override {
        if (!isValid() || !isSelectable()) return {};
        QStringList names{pressAction(), setFocusAction()};
        if (const auto own = list->rowActions().name(index()); !own.isEmpty()) names += own;
        return names;
    }
    QString localizedActionName(const QString& name) const override {
        return name == pressAction() ? SidebarList::tr("Open") : name;
    }
    void doAction(const QString& name) override {
        if (!actionNames().contains(name)) return;
        if (name == pressAction()) return list->rowActions().open(index());
        list->setCurrentIndex(index());
        if (name == setFocusAction())
            list->setFocus();
        else
            list->rowActions().act(index());
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

  private:
    QModelIndex index() const { return list->model()->index(row, 0); }
    bool isSelectable() const { return index().flags().testFlag(Qt::ItemIsSelectable); }

    QPointer<SidebarList> list;
    int row;
};

class ListInterface : public QAccessibleWidget {
  public:
    explicit ListInterface(SidebarList* list) : QAccessibleWidget(list, QAccessible::List) {}
    ~ListInterface() override {
        for (const auto& [row, id] : items) QAccessible::deleteAccessibleInterface(id);
    }

    int childCount() const override { return list()->model() ? list()->model()->rowCount() : 0; }

    QAccessibleInterface* child(int row) const override {
        if (row < 0 || row >= childCount()) return nullptr;
        auto known = items.find(row);
        if (known == items.end())
            known =
                items.emplace(row, QAccessible::registerAccessibleInterface(new RowItem(list(), row))).first;
        return QAccessible::accessibleInterface(known->second);
    }

    int indexOfChild(const QAccessibleInterface* child) const override {
        for (const auto& [row, id] : items)
            if (QAccessible::accessibleInterface(id) == child) return row;
        return -1;
    }

    QAccessibleInterface* focusChild() const override {
        return list()->hasFocus() ? child(list()->currentIndex().row()) : nullptr;
    }

  private:
    SidebarList* list() const { return static_cast<SidebarList*>(widget()); }

    mutable std::map<int, QAccessible::Id> items; // Made when asked for; Qt owns what stands behind an id.
};

QAccessibleInterface* makeInterface(const QString&, QObject* object) {
    auto* list = qobject_cast<SidebarList*>(object);
    return list ? new ListInterface(list) : nullptr;
}

} // namespace

SidebarList::SidebarList(QWidget* parent) : QListView(parent) {
    static const bool isInstalled = [] {
        QAccessible::installFactory(&makeInterface);
        return true;
    }();
    static_cast<void>(isInstalled);
}

} // namespace orvel
