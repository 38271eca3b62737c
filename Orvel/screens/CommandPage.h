#pragma once
// The typed command: whether it is watched for, what it needs, whether the editors can be read, and what the
// last Returns came to.

#include "Orvel/runtime/Observable.h"
#include "Orvel/screens/SettingsPage.h"
#include "Orvel/screens/SettingsParts.h"

#include <vector>

namespace orvel {

class DesktopCard;
class OrvelApp;

class CommandPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The application outlives the page.
    explicit CommandPage(OrvelApp& app);
    void render() override;

  private:
    struct ReturnRow {
        StateMark* mark;
        QLabel *time, *agent, *outcome;
    };

    void addChecklist();
    void addPermissions();
    void addReturns();
    void addDiagnostics();
    void renderPermissions();
    void renderEditors();
    void renderReturns();

    OrvelApp& app;
    DesktopCard* desktop = nullptr; ///< Where Orvel asks; elsewhere the permissions.
    QLabel* trayHint = nullptr;
    SettingsRow *monitoring = nullptr, *accessibility = nullptr, *inputMonitoring = nullptr;
    QPushButton *toggle = nullptr, *request = nullptr;
    std::vector<SettingsRow*> editors;
    QLabel* noReturns = nullptr;
    SettingsCard *editorsCard = nullptr, *returnsCard = nullptr;
    std::vector<ReturnRow> returns;
    QLabel* diagnostics;
    ChangeSignal::Subscription preparation; ///< Its countdown goes on beneath all else.
};

} // namespace orvel
