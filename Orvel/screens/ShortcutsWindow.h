#pragma once
// The keys by which the window is driven, as its menus have them.

#include <QDialog>
#include <QMenuBar>

namespace orvel {

class ShortcutsWindow : public QDialog {
    Q_OBJECT

  public:
    /// Lists the actions of the menus that have keys.
    explicit ShortcutsWindow(const QMenuBar& menus, QWidget* parent = nullptr);
};

} // namespace orvel
