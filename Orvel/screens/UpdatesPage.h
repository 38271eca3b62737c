#pragma once
// Settings: updates of this program, where the platform has a framework for them.

#include "Orvel/screens/SettingsPage.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

namespace orvel {

class OrvelUpdateController;

class UpdatesPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The controller outlives the page, and is offered.
    explicit UpdatesPage(OrvelUpdateController& updates);

    void render() override;

    /// What the menu and the page call what can be done now.
    static QString actionTitle(const OrvelUpdateController& updates);
    static bool canAct(const OrvelUpdateController& updates);
    /// Looks for updates, or installs the one that is ready.
    static void act(OrvelUpdateController& updates);

  private:
    OrvelUpdateController& updates;
    QCheckBox *checks = nullptr, *downloads = nullptr; // Null where updates are disabled, as the next two.
    QPushButton* action = nullptr;
    QLabel* status = nullptr;
};

} // namespace orvel
