#pragma once
// Whether typed commands are watched for, and the switch for it, as tray and settings have them.

#include "Orvel/shell/OrvelApp.h"

#include <QCoreApplication>
#include <QString>

namespace orvel {

struct MonitoringWords {
    QString state, toggle;
};

inline MonitoringWords monitoringWords(const OrvelApp& app) {
    const auto tr = [](const char* text) { return QCoreApplication::translate("MonitoringWords", text); };
    if (app.monitoring.lifecycle.isMonitoring())
        return {tr("Codex / Claude /orvel: On"), tr("Pause monitoring")};
    if (!app.consent.mayWatch()) return {tr("Codex / Claude /orvel: Off"), tr("Set up /orvel…")};
    return {tr("Codex / Claude /orvel: Off"), tr("Resume monitoring")};
}

inline void toggleMonitoring(OrvelApp& app) {
    auto& lifecycle = app.monitoring.lifecycle;
    if (!app.consent.mayWatch())
        app.screens.showSetup(); // There it is said what is asked for.
    else if (lifecycle.isMonitoring())
        lifecycle.pause();
    else
        lifecycle.resume();
}

} // namespace orvel
