#include "Orvel/screens/SetupPage.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/shell/OrvelApp.h"

#include <QStyle>

namespace orvel {

namespace {

void restyle(QWidget& widget) {
    widget.style()->unpolish(&widget);
    widget.style()->polish(&widget);
}

} // namespace

SetupPage::SetupPage(OrvelApp& app) : SettingsPage(tr("Set up /orvel")), app(app) {
    column().addWidget(faintLabel(
        tr("Type /orvel in a Codex or Claude editor and press Return: Orvel takes the conversation "
           "from there. These three steps make that possible. Everything else in Orvel works "
           "without them.")));
    const bool isOrvelAsking = app.consent.isNeeded();
    steps = {
        makeStep(0, tr("Let Orvel read the editor"),
                 isOrvelAsking
                     ? tr("Orvel then hears of every key, keeps none, and holds each Return for a few "
                          "thousandths of a second to see whether it ends a /orvel command. It also turns on "
                          "the desktop's accessibility if that is off: programs that start from then on "
                          "describe their windows to assistive programs, and to Orvel. Until you allow it, "
                          "neither happens; both can be taken back under Command.")
                     : tr("Accessibility permission lets Orvel read the command and clear it from the "
                          "editor.")),
        makeStep(1, tr("Select the keybindings.json file Codex actually uses"),
                 tr("If CODEX_HOME is customized, select the file in that folder. Settings will not be "
                    "changed.")),
        makeStep(2, tr("Try it"), tr("Type /orvel in a Codex or Claude editor and press Return."))};
    const auto setAction = [this](Step& step, const QString& text, const QString& name, auto action) {
        step.action->setText(text);
        step.action->setAccessibleName(name);
        connect(step.action, &QPushButton::clicked, this, action);
    };
    if (isOrvelAsking)
        setAction(steps[0], tr("Allow"), tr("Allow Orvel to watch the keyboard and turn accessibility on"),
                  [this] {
                      this->app.consent.turnAccessibility(true);
                      this->app.allowWatching(true);
                  });
    else
        setAction(steps[0], tr("Open settings…"), tr("Open the settings of Accessibility"),
                  [this] { this->app.monitoring.lifecycle.openAccessibilitySettings(); });
    setAction(steps[1], tr("Choose…"), tr("Choose Codex's keybindings.json"),
              [this] { this->app.monitoring.keybindings.choose(); });
    setAction(steps[2], tr("Open Codex"), tr("Open Codex"),
              [this] { this->app.openApplication(Agent::codex); });
    rest = new QPushButton;
    connect(rest, &QPushButton::clicked, this, &SetupPage::restSkipped);
    auto* foot = new QHBoxLayout;
    foot->addWidget(faintLabel(tr("Skipped steps wait in Settings.")), 1);
    foot->addWidget(rest);
    column().addStretch();
    column().addLayout(foot);
}

SetupPage::Step SetupPage::makeStep(std::size_t place, const QString& title, const QString& explanation) {
    auto* frame = new QFrame;
    frame->setObjectName(QStringLiteral("step"));
    auto* heading = plainLabel(tr("%1. %2").arg(place + 1).arg(title));
    auto bold = heading->font();
    bold.setWeight(QFont::DemiBold);
    heading->setFont(bold);
    const Step made{frame, new StateMark, plainLabel(), new QPushButton(tr("Skip")), new QPushButton};
    made.skip->setAccessibleName(tr("Skip: %1").arg(title));
    connect(made.skip, &QPushButton::clicked, this, [this, place] {
        steps[place].isSkipped = true;
        render();
    });
    auto* words = new QVBoxLayout;
    words->setSpacing(4);
    words->addWidget(heading);
    words->addWidget(faintLabel(explanation));
    words->addSpacing(2);
    words->addWidget(made.state);
    auto* row = new QHBoxLayout(frame);
    row->setContentsMargins(14, 10, 12, 10);
    row->setSpacing(10);
    row->addWidget(made.mark, 0, Qt::AlignTop);
    row->addLayout(words, 1);
    row->addWidget(made.skip);
    row->addWidget(made.action);
    column().addWidget(frame);
    return made;
}

void SetupPage::render() {
    const auto& monitoring = app.monitoring;
    const auto ready = monitoring.setupState();
    const std::array isDone{ready.accessibilityGranted, ready.codexCaptureReady, app.hasReceivedCommand()};
    const auto granted =
        app.consent.isNeeded() ? tr("Allowed, and accessibility is on.") : tr("Accessibility: Granted");
    const std::array state{ready.accessibilityGranted ? granted : qtText(monitoring.lifecycle.status()),
                           qtText(monitoring.keybindings.display().copyShortcut),
                           qtText(monitoring.monitor.history().commandSummary(app.clock()).text())};
    bool hasCurrent = false;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const bool isCurrent = !hasCurrent && !isDone[i] && !steps[i].isSkipped;
        hasCurrent = hasCurrent || isCurrent;
        render(steps[i], isDone[i], isCurrent, state[i]);
    }
    rest->setText(hasCurrent ? tr("Skip the rest") : tr("Close"));
}

void SetupPage::render(Step& step, bool isDone, bool isCurrent, const QString& state) {
    step.mark->render(isDone ? StateMark::State::done : StateMark::State::open);
    showText(*step.state, state);
    step.skip->setVisible(isCurrent);
    step.action->setVisible(!isDone);
    const auto name = isCurrent ? QStringLiteral("primary") : QString();
    if (step.frame->property("current").toBool() == isCurrent && step.action->objectName() == name) return;
    step.frame->setProperty("current", isCurrent);
    step.action->setObjectName(name);
    restyle(*step.frame);
    restyle(*step.action);
}

} // namespace orvel
