// Whether text can be read on every ground that it stands on.

#include "Orvel/screens/Theme.h"

#include <cmath>

namespace orvel {
namespace {

// After the Web Content Accessibility Guidelines 2.1, "relative luminance" and "contrast ratio".
double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& two) {
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(two)}); // By value.
    return (lighter + 0.05) / (darker + 0.05);
}

TEST(ThemeTest, EveryTextHasTheContrastOfFourAndAHalfToOne) {
    for (const auto* theme : {&Theme::light(), &Theme::dark()}) {
        const std::pair<const char*, std::pair<QColor, QColor>> uses[] = {
            {"text on window", {theme->text, theme->window}},
            {"text on sidebar", {theme->text, theme->sidebar}},
            {"text on selection", {theme->text, theme->selection}},
            {"text on banner", {theme->text, theme->banner}},
            {"role on border", {theme->text, theme->border}},
            {"headings and folders in the sidebar", {theme->secondaryText, theme->sidebar}},
            {"folders of the selected row", {theme->secondaryText, theme->selection}},
            {"titles on cards", {theme->secondaryText, theme->card}},
            {"speakers", {theme->secondaryText, theme->window}},
            {"faint text on window", {theme->fadedText, theme->window}},
            {"faint text on card", {theme->fadedText, theme->card}},
            {"links on cards", {theme->accent, theme->card}},
            {"links on window", {theme->accent, theme->window}},
            {"primary button", {theme->accentText, theme->accent}},
            {"failure on panel", {theme->failure, theme->card}},
        };
        for (const auto& [use, colors] : uses)
            EXPECT_GE(contrast(colors.first, colors.second), 4.5) << use << (theme->isDark ? ", dark" : "");
    }
}

} // namespace
} // namespace orvel
