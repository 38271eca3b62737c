#include "Orvel/screens/DesktopCard.h"

#include "Orvel/shell/OrvelApp.h"

namespace orvel {

namespace {

using Mark = StateMark::State;
using State = DesktopSwitch::State;

Mark markOf(const SwitchStanding& standing) {
    if (standing.hasFailed) return Mark::failed;
    return standing.state == State::on ? Mark::done : Mark::open;
}

// Orvel turns off only what it turned on, and on only what is off.
void render(QPushButton& button, const SwitchStanding& standing, const QString& on, const QString& off) {
    const bool isOn = standing.isOurs;
    button.setText(isOn ? off : on);
    button.setVisible(isOn || standing.state != State::on);
    button.setEnabled(!standing.isBusy);
}

} // namespace

DesktopCard::DesktopCard(OrvelApp& app) : app(app), watching(addRow()), accessibility(addRow()) {
    allow = watching->addButton({}, {}, [&app] { app.allowWatching(!app.consent.mayWatch()); });
    turnAccessibility = accessibility->addButton(
        {}, {}, [&app] { app.consent.turnAccessibility(!app.consent.accessibility().isOurs); });
    if (!app.consent.canStartWithSession()) return;
    autostart = addRow();
    turnAutostart =
        autostart->addButton({}, {}, [&app] { app.consent.turnAutostart(!app.consent.autostart().isOurs); });
}

void DesktopCard::render() {
    const bool mayWatch = app.consent.mayWatch();
    watching->render(mayWatch ? Mark::done : Mark::open,
                     mayWatch ? tr("Watching the keyboard: Allowed")
                              : tr("Watching the keyboard: Not allowed"),
                     tr("While this is on, Orvel hears of every key, keeps none, and holds each Return for a "
                        "few thousandths of a second to see whether it ends a /orvel command. Orvel asks "
                        "for it because an X server asks nobody."));
    allow->setText(mayWatch ? tr("Withdraw") : tr("Allow"));
    allow->setAccessibleName(mayWatch ? tr("Withdraw watching the keyboard")
                                      : tr("Allow watching the keyboard"));

    const auto& reading = app.consent.accessibility();
    const auto title = reading.state == State::on
                           ? (reading.isOurs ? tr("Accessibility: On, by Orvel") : tr("Accessibility: On"))
                       : reading.state == State::off ? tr("Accessibility: Off")
                                                     : tr("Accessibility: Unknown");
    auto words = tr("Has every program that starts from then on describe its windows to assistive programs, "
                    "which is how Orvel reads an editor. Programs that run already have to be restarted, and "
                    "some become a little slower.");
    if (reading.hasFailed)
        words = tr("The desktop didn't take the change, and nothing else was changed. Its accessibility bus "
                   "(package at-spi2-core) may be missing. “orvel-cli doctor” tells more.");
    else if (reading.state == State::on && !reading.isOurs)
        words = tr("The desktop or another program turned it on, so Orvel leaves it as it is.");
    else if (reading.state == State::unknown)
        words += tr(" The session's bus doesn't tell how it stands.");
    accessibility->render(markOf(reading), title, words);
    orvel::render(*turnAccessibility, reading, tr("Turn on"), tr("Turn off"));
    turnAccessibility->setAccessibleName(reading.isOurs ? tr("Turn accessibility off")
                                                        : tr("Turn accessibility on"));

    if (!autostart) return;
    const auto& start = app.consent.autostart();
    autostart->render(
        start.hasFailed            ? std::optional(Mark::failed)
        : start.state == State::on ? std::optional(Mark::done)
                                   : std::nullopt,
        start.state == State::on ? tr("Start with the session: Yes") : tr("Start with the session: No"),
        start.hasFailed
            ? tr("The file ~/.config/autostart/orvel.desktop couldn't be written, or is not Orvel's own, and "
                 "was left as it is.")
        : start.state == State::on && !start.isOurs
            ? tr("By a file that Orvel didn't make and leaves alone.")
            : tr("Keeps one small file in the folder of your session's programs."));
    orvel::render(*turnAutostart, start, tr("Turn on"), tr("Turn off"));
    turnAutostart->setAccessibleName(start.isOurs ? tr("Turn the start with the session off")
                                                  : tr("Turn the start with the session on"));
}

QString sessionLimits(const OrvelApp& app) {
    const auto rest = QStringLiteral(" ") +
                      DesktopCard::tr("Everything else works: reading, choosing, sending into Codex, and "
                                      "copying a message for Claude.");
    switch (app.consent.sessionKind()) {
    case SessionKind::wayland:
        return DesktopCard::tr(
                   "In a Wayland session no program can watch for /orvel or type into another one's "
                   "window. A session “on Xorg”, chosen at login, allows it.") +
               rest;
    case SessionKind::x11:
        if (app.canMonitor()) return {};
        return DesktopCard::tr("This X server can't tell its input devices apart (it lacks XInput 2.1), so "
                               "Orvel can't watch for /orvel.") +
               rest;
    case SessionKind::noDisplay:
        return DesktopCard::tr("No X server answers, so Orvel can't watch for /orvel.") + rest;
    case SessionKind::unsupported:
        return DesktopCard::tr("This build of Orvel lacks the libraries to watch for /orvel.") + rest;
    case SessionKind::guarded: break;
    }
    if (app.canMonitor()) return {};
    return DesktopCard::tr("Orvel can't watch for /orvel on this system yet. Everything else works.");
}

} // namespace orvel
