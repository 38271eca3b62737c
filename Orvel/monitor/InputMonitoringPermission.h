#pragma once
// The system's permission to listen to keys, as far as it is known, and what the person is told of it.
// Monitoring may work without it.

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

struct InputMonitoringPermission {
    enum class Guidance { none, unconfirmed, settingsOpened, settingsUnavailable, confirmed };

    bool granted = false;
    Guidance guidance = Guidance::none; ///< What came of the person's last request.

    /// The system was asked whether it is granted.
    void observe(bool isGranted) {
        granted = isGranted;
        if (granted && guidance != Guidance::none)
            guidance = Guidance::confirmed;
        else if (!granted && guidance == Guidance::confirmed)
            guidance = Guidance::unconfirmed;
    }

    /// The system has been told to ask the person.
    void didRequest(bool isGranted) {
        granted = isGranted;
        guidance = granted ? Guidance::confirmed : Guidance::unconfirmed;
    }

    void didOpenSettings(bool success) {
        guidance = success ? Guidance::settingsOpened : Guidance::settingsUnavailable;
    }

    /// One line on how it stands.
    std::string_view label(bool isMonitoring) const {
        if (granted) return "Input Monitoring: Confirmed";
        return isMonitoring ? "Input Monitoring: Unconfirmed (monitoring is working)"
                            : "Input Monitoring: Unconfirmed (may not be required)";
    }

    /// What to do; nothing as long as the person has asked for nothing.
    std::optional<std::string> explanation(bool isMonitoring) const {
        std::string text;
        switch (guidance) {
        case Guidance::none: return std::nullopt;
        case Guidance::confirmed: return "Input Monitoring permission confirmed.";
        case Guidance::unconfirmed:
            text = "Input Monitoring permission is still unconfirmed. macOS may not show the permission "
                   "dialog again. ";
            break;
        case Guidance::settingsOpened: text = "Requested System Settings to open. "; break;
        case Guidance::settingsUnavailable: text = "Couldn't open System Settings. "; break;
        }
        text += isMonitoring ? "Monitoring is working; no additional Input Monitoring permission is needed."
                             : "Monitoring starts automatically with Accessibility permission unless paused.";
        return text + " If needed, open System Settings → Privacy & Security → Input Monitoring and check "
                      "Orvel. Permission changes are detected automatically. If macOS requests it or the "
                      "status does not change, quit with Command+Q and reopen the updated app.";
    }

    bool operator==(const InputMonitoringPermission&) const = default;
};

} // namespace orvel
