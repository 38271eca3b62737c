#pragma once
// Settings of how messages go, and what the settings themselves show.

#include "Orvel/screens/SettingsPage.h"

#include <QCheckBox>

namespace orvel {

class OrvelApp;

class GeneralPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The application outlives the page. A choice counts, and is kept, as soon as it is made.
    explicit GeneralPage(OrvelApp& app);
    void render() override;

  private:
    OrvelApp& app;
    QCheckBox *claudeCode, *developerTools;
};

} // namespace orvel
