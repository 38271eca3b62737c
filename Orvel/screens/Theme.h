#pragma once
// The colours and measures of the window, light and dark.

#include "OrvelCore/conversations/Agent.h"

#include <QColor>
#include <QPalette>

namespace orvel {

struct Theme {
    bool isDark = false;
    QColor window, sidebar, card, border;
    QColor text, secondaryText, fadedText;
    QColor accent, accentText, selection;
    QColor codex, claude;
    QColor banner, bannerBorder;
    QColor done, pending, failure; ///< How far a message has come.

    static const Theme& light();
    static const Theme& dark();
    /// The theme that the application's windows show now.
    static const Theme& current();

    const QColor& colorOf(Agent agent) const { return agent == Agent::codex ? codex : claude; }
    QPalette palette() const;

    /// Makes this the theme of all windows.
    void apply() const;
};

} // namespace orvel
