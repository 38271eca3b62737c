#pragma once
// Codex's keybindings: which file has them, and what follows from it for the typed command.

#include "Orvel/screens/SettingsPage.h"
#include "Orvel/screens/SettingsParts.h"

namespace orvel {

class OrvelApp;

class KeyboardPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The application outlives the page.
    explicit KeyboardPage(OrvelApp& app);
    void render() override;

  private:
    OrvelApp& app;
    SettingsRow *file, *copyShortcut, *returnKeys, *japaneseReturn;
    SettingsRow* inputMethod = nullptr; ///< Only where commands can be typed.
};

} // namespace orvel
