#include "screens/WindowFixture.h"

#include <QAbstractButton>
#include <QAction>
#include <QLabel>
#include <QMenuBar>

namespace orvel {

namespace {

QAccessibleInterface* find(QAccessibleInterface* from, QAccessible::Role role, const QString& name) {
    if (!from || from->state().invisible) return nullptr;
    if (from->role() == role && from->text(QAccessible::Name).contains(name)) return from;
    for (int i = 0; i < from->childCount(); ++i)
        if (auto* found = find(from->child(i), role, name)) return found;
    return nullptr;
}

} // namespace

QAccessibleInterface* WindowFixture::shownIn(QWidget& root, QAccessible::Role role, const QString& name) {
    return find(QAccessible::queryAccessibleInterface(&root), role, name);
}

QAccessibleInterface* WindowFixture::shown(QAccessible::Role role, const QString& name) {
    return shownIn(*window, role, name);
}

void WindowFixture::expectNames(const QWidget& root) {
    for (auto* widget : root.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->focusPolicy() == Qt::NoFocus || !widget->isEnabled()) continue;
        auto* element = QAccessible::queryAccessibleInterface(widget);
        ASSERT_TRUE(element);
        if (qobject_cast<QMenuBar*>(widget) || widget->objectName().startsWith("qt_")) continue;
        EXPECT_FALSE(element->text(QAccessible::Name).isEmpty())
            << widget->metaObject()->className() << " " << widget->objectName().toStdString();
    }
}

int WindowFixture::countShown(const QString& text) {
    int count = 0;
    for (const auto* label : window->findChildren<QLabel*>())
        if (label->isVisible() && label->text().contains(text)) ++count;
    return count;
}

void WindowFixture::press(const QString& name) {
    auto* element = shown(QAccessible::Button, name);
    ASSERT_TRUE(element) << name.toStdString();
    // The accessible press of a button comes later, with an animation.
    auto* button = qobject_cast<QAbstractButton*>(element->object());
    ASSERT_TRUE(button) << name.toStdString();
    button->click();
    settle();
}

bool WindowFixture::isEnabled(const QString& button) {
    auto* element = shown(QAccessible::Button, button);
    return element && !element->state().disabled;
}

void WindowFixture::trigger(const QString& action) {
    for (auto* candidate : window->findChildren<QAction*>())
        if (candidate->text().remove(QLatin1Char('&')) == action) candidate->trigger();
    settle();
}

QPlainTextEdit* WindowFixture::editor(const QString& name) {
    auto* element = shown(QAccessible::EditableText, name);
    auto* found = element ? qobject_cast<QPlainTextEdit*>(element->object()) : nullptr;
    EXPECT_TRUE(found) << name.toStdString();
    return found;
}

void WindowFixture::type(const QString& field, const QString& text) {
    auto* element = shown(QAccessible::EditableText, field);
    ASSERT_TRUE(element) << field.toStdString();
    if (auto* found = qobject_cast<QPlainTextEdit*>(element->object())) {
        found->setPlainText(text);
        found->moveCursor(QTextCursor::End);
    } else {
        element->setText(QAccessible::Value, text);
    }
    settle();
}

void WindowFixture::choose(const QString& title) {
    auto& list = sidebarList();
    for (int row = 0; row < list.model()->rowCount(); ++row) {
        const auto index = list.model()->index(row, 0);
        if (index.data().toString() != title) continue;
        emit list.clicked(index);
        return settle();
    }
    FAIL() << "no row " << title.toStdString();
}

QStringList WindowFixture::rows() {
    const auto& list = *sidebarList().model();
    QStringList texts;
    for (int row = 0; row < list.rowCount(); ++row)
        texts += list.index(row, 0).data(Qt::AccessibleTextRole).toString();
    return texts;
}

} // namespace orvel
