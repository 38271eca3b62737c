#include "Orvel/screens/WindowPreferences.h"

#include "Orvel/desktop/Settings.h"
#include "Orvel/screens/Theme.h"

#include <string_view>

namespace orvel {

namespace {

// A flag is false until it is set, so what is on at first is kept as its opposite.
constexpr std::string_view appearanceKey = "appearance", silentKey = "hideNotifications",
                           plainTitleKey = "hideStateInTitle";

} // namespace

WindowPreferences::Appearance WindowPreferences::appearance() const {
    const auto kept = settings.string(appearanceKey);
    if (kept == "light") return Appearance::light;
    return kept == "dark" ? Appearance::dark : Appearance::system;
}

void WindowPreferences::setAppearance(Appearance newAppearance) {
    settings.setString(appearanceKey, newAppearance == Appearance::light  ? "light"
                                      : newAppearance == Appearance::dark ? "dark"
                                                                          : "system");
    overriding.reset();
    applyTheme();
    emit changed();
}

void WindowPreferences::followSystem(bool isDark) {
    systemIsDark = isDark;
    applyTheme();
}

void WindowPreferences::overrideAppearance(bool isDark) {
    overriding = isDark;
    applyTheme();
}

void WindowPreferences::applyTheme() const {
    const auto chosen = appearance();
    const bool isDark = chosen == Appearance::system ? systemIsDark : chosen == Appearance::dark;
    (overriding.value_or(isDark) ? Theme::dark() : Theme::light()).apply();
}

bool WindowPreferences::notifies() const {
    return !settings.flag(silentKey);
}

void WindowPreferences::setNotifies(bool isOn) {
    settings.setFlag(silentKey, !isOn);
    emit changed();
}

bool WindowPreferences::showsStateInTitle() const {
    return !settings.flag(plainTitleKey);
}

void WindowPreferences::setShowsStateInTitle(bool isOn) {
    settings.setFlag(plainTitleKey, !isOn);
    emit changed();
}

} // namespace orvel
