#pragma once
// What the person has chosen for the windows, kept between runs: light or dark, and how far Orvel tells of
// its messages outside of them.

#include <optional>

#include <QObject>

namespace orvel {

class Settings;

class WindowPreferences : public QObject {
    Q_OBJECT

  public:
    enum class Appearance { system, light, dark };

    /// The settings outlive the preferences.
    explicit WindowPreferences(Settings& settings) : settings(settings) {}

    /// Until something is chosen it follows the system.
    Appearance appearance() const;
    void setAppearance(Appearance newAppearance);
    /// How the system looks, where that is known, or how all windows are to look in this run.
    void followSystem(bool isDark);
    void overrideAppearance(bool isDark);

    /// Whether the desktop tells that a message has arrived or needs a hand.
    bool notifies() const;
    void setNotifies(bool isOn);
    /// Whether the window's title says how things stand.
    bool showsStateInTitle() const;
    void setShowsStateInTitle(bool isOn);

  signals:
    void changed();

  private:
    void applyTheme() const;

    Settings& settings;
    bool systemIsDark = false;
    std::optional<bool> overriding;
};

} // namespace orvel
