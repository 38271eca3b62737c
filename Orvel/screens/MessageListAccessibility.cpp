#include "Orvel/screens/MessageListAccessibility.h"

#include "Orvel/screens/MessageListView.h"

#include <map>

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>

namespace orvel {

namespace {

// One message.
class MessageItem : public QAccessibleInterface, public QAccessibleActionInterface {
  public:
    MessageItem(MessageListView* list, std::size_t row) : list(list), row(row) {}

    bool isValid() const override { return list && row < list->messageCount(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return list ? list->window()->windowHandle() : nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(list); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name && isValid() ? list->spokenText(row) : QString();
    }

    QRect rect() const override {
        if (!isValid()) return {};
        const auto place = list->rowRect(row);
        return {list->viewport()->mapToGlobal(place.topLeft()), place.size()};
    }

    QAccessible::State state() const override {
        QAccessible::State state;
        state.focusable = true;
        state.selectable = true;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selected = list->isInRange(row);
        state.focused = list->hasFocus() && row == list->currentRow();
        state.offscreen = !list->viewport()->rect().intersects(list->rowRect(row));
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }
    QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
    QString localizedActionName(const QString& name) const override {
        return name == pressAction() ? MessageListView::tr("Start here")
                                     : QAccessibleActionInterface::localizedActionName(name);
    }
    void doAction(const QString& name) override {
        if (!isValid()) return;
        if (name == pressAction()) list->requestStart(row);
        if (name == setFocusAction()) {
            list->setFocus();
            list->setCurrentRow(row);
        }
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

  private:
    QPointer<MessageListView> list;
    std::size_t row;
};

class MessageListInterface : public QAccessibleWidget {
  public:
    explicit MessageListInterface(MessageListView* list) : QAccessibleWidget(list, QAccessible::List) {}
    ~MessageListInterface() override {
        for (const auto& [row, id] : items) QAccessible::deleteAccessibleInterface(id);
    }

    int childCount() const override { return static_cast<int>(list()->messageCount()); }

    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) return nullptr;
        auto known = items.find(index);
        if (known == items.end()) {
            const auto id = QAccessible::registerAccessibleInterface(
                new MessageItem(list(), static_cast<std::size_t>(index)));
            known = items.emplace(index, id).first;
        }
        return QAccessible::accessibleInterface(known->second);
    }

    int indexOfChild(const QAccessibleInterface* child) const override {
        for (const auto& [row, id] : items)
            if (QAccessible::accessibleInterface(id) == child) return row;
        return -1;
    }

    QAccessibleInterface* focusChild() const override {
        return list()->hasFocus() ? child(static_cast<int>(list()->currentRow())) : nullptr;
    }

  private:
    MessageListView* list() const { return static_cast<MessageListView*>(widget()); }

    mutable std::map<int, QAccessible::Id> items; // Made when asked for; Qt owns what stands behind an id.
};

QAccessibleInterface* makeInterface(const QString&, QObject* object) {
    auto* list = qobject_cast<MessageListView*>(object);
    return list ? new MessageListInterface(list) : nullptr;
}

} // namespace

void installMessageListAccessibility() {
    static const bool done = [] {
        QAccessible::installFactory(&makeInterface);
        return true;
    }();
    static_cast<void>(done);
}

void announceCurrentMessage(MessageListView& list) {
    if (!QAccessible::isActive() || !list.hasFocus()) return;
    QAccessibleEvent event(&list, QAccessible::Focus);
    event.setChild(static_cast<int>(list.currentRow()));
    QAccessible::updateAccessibility(&event);
}

} // namespace orvel
