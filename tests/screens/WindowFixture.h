#pragma once
// A window that is driven as a screen reader drives it: by the names, texts and actions that it shows.

#include "Orvel/model/OrvelModel.h"
#include "Orvel/screens/MainWindow.h"
#include "screens/QtFixture.h"

#include <memory>

#include <QAccessible>
#include <QListView>
#include <QPlainTextEdit>

namespace orvel {

class WindowFixture : public QtFixture {
  public:
    /// Lets everything that is under way come to its end and onto the screen.
    virtual void settle() = 0;

    /// The first thing in the window with this role whose name holds the text; null if there is none.
    QAccessibleInterface* shown(QAccessible::Role role, const QString& name);
    static QAccessibleInterface* shownIn(QWidget& root, QAccessible::Role role, const QString& name);
    /// Fails the test if anything that takes the focus has no name.
    static void expectNames(const QWidget& root);
    bool shows(const QString& text) { return countShown(text) > 0; }
    /// How many labels hold the text.
    int countShown(const QString& text);

    /// Presses the button.
    void press(const QString& name);
    bool isEnabled(const QString& button);
    void trigger(const QString& action);
    void type(const QString& field, const QString& text);
    /// An editor on the screen; fails the test and gives null if there is none.
    QPlainTextEdit* editor(const QString& name);

    /// Clicks the row of the sidebar.
    void choose(const QString& title);
    /// What a screen reader says of the sidebar's rows, in order.
    QStringList rows();
    QListView& sidebarList() { return *window->findChild<QListView*>(QStringLiteral("sidebarList")); }

    std::unique_ptr<OrvelModel> model;
    std::unique_ptr<MainWindow> window;

  protected:
    // Before the ports of the derived fixture.
    void TearDown() override {
        window.reset();
        model.reset();
    }
};

} // namespace orvel
