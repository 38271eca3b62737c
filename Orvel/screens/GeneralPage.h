#pragma once
// Settings of how messages go, and what the settings themselves show.

#include "Orvel/screens/SettingsPage.h"

#include <QCheckBox>
#include <QComboBox>

namespace orvel {

class OrvelApp;
class WindowPreferences;

class GeneralPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The application and the preferences outlive the page. A choice counts, and is kept, as soon as it is
    /// made.
    GeneralPage(OrvelApp& app, WindowPreferences& preferences);
    void render() override;

  private:
    void addWindowChoices();

    OrvelApp& app;
    WindowPreferences& preferences;
    QCheckBox *claudeCode, *developerTools;
    QComboBox* appearance;
    QCheckBox *notifications, *stateInTitle;
};

} // namespace orvel
