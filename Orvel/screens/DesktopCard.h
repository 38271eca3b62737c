#pragma once
// What the person lets Orvel do with the desktop, where Orvel has to ask by itself: each with what it does,
// how it stands, and the way back.

#include "Orvel/screens/SettingsParts.h"

#include <QString>

namespace orvel {

class OrvelApp;
struct SwitchStanding;

class DesktopCard : public SettingsCard {
    Q_OBJECT

  public:
    /// The application outlives the card.
    explicit DesktopCard(OrvelApp& app);
    void render();

  private:
    OrvelApp& app;
    SettingsRow *watching, *accessibility, *autostart = nullptr;
    QPushButton *allow, *turnAccessibility, *turnAutostart = nullptr;
};

/// Why the typed command doesn't work in the application's session, and what does; empty where it works.
QString sessionLimits(const OrvelApp& app);

} // namespace orvel
