#include "Orvel/screens/CommandPage.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/DesktopCard.h"
#include "Orvel/screens/MonitoringWords.h"
#include "Orvel/shell/LastReturns.h"
#include "Orvel/shell/OrvelApp.h"

#include <QSystemTrayIcon>

namespace orvel {

namespace {

using State = StateMark::State;

constexpr std::size_t mostReturns = 6;

// The descriptions of the agents' editors, one a line, or one line on all of them.
QStringList descriptionsOf(const EditorPreparation& preparation) {
    auto lines = qtText(preparation.description()).split(QLatin1Char('\n'));
    for (std::size_t i = 0; lines.size() > 1 && i < allAgents.size(); ++i) {
        auto& line = lines[static_cast<qsizetype>(i)];
        const auto name = qtText(label(allAgents[i])) + QStringLiteral(": ");
        if (line.startsWith(name)) line.remove(0, name.size());
    }
    return lines;
}

} // namespace

CommandPage::CommandPage(OrvelApp& app) : SettingsPage(tr("Command")), app(app), diagnostics(faintLabel()) {
    if (app.canMonitor()) {
        addChecklist();
        addReturns();
        preparation = app.monitoring.preparationChanges.subscribe([this] {
            if (isVisible()) renderEditors();
        });
    } else {
        auto* card = new SettingsCard;
        card->addRow()->render(std::nullopt, sessionLimits(app));
        column().addWidget(card);
    }
    addDiagnostics();
}

void CommandPage::addChecklist() {
    auto* state = new SettingsCard;
    monitoring = state->addRow();
    toggle = monitoring->addButton({}, {}, [this] { toggleMonitoring(app); });
    column().addWidget(state);
    trayHint = faintLabel(tr("This desktop shows no tray. Closing Orvel's window quits Orvel and ends "
                             "monitoring; minimise it instead."));
    column().addWidget(trayHint);

    column().addSpacing(6);
    if (app.consent.isNeeded()) {
        column().addWidget(sectionTitle(tr("This desktop")));
        desktop = new DesktopCard(app);
        column().addWidget(desktop);
    } else {
        addPermissions();
    }

    column().addSpacing(6);
    column().addWidget(sectionTitle(tr("Reading the editors")));
    editorsCard = new SettingsCard;
    for (std::size_t i = 0; i < allAgents.size(); ++i) editors.push_back(editorsCard->addRow());
    column().addWidget(editorsCard);
}

void CommandPage::addPermissions() {
    auto& lifecycle = app.monitoring.lifecycle;
    column().addWidget(sectionTitle(tr("Permissions")));
    auto* permissions = new SettingsCard;
    accessibility = permissions->addRow();
    accessibility->addButton(tr("Open settings…"), tr("Open the settings of Accessibility"),
                             [&lifecycle] { lifecycle.openAccessibilitySettings(); });
    inputMonitoring = permissions->addRow(SettingsRow::Buttons::beneath);
    request = inputMonitoring->addButton(tr("Request…"), tr("Request Input Monitoring"),
                                         [&lifecycle] { lifecycle.requestInputMonitoring(); });
    inputMonitoring->addButton(tr("Open settings…"), tr("Open the settings of Input Monitoring"),
                               [&lifecycle] { lifecycle.openInputMonitoringSettings(); });
    column().addWidget(permissions);
}

void CommandPage::addReturns() {
    column().addSpacing(6);
    column().addWidget(sectionTitle(tr("Last Returns")));
    returnsCard = new SettingsCard;
    noReturns = faintLabel(tr("No Return in Codex or Claude yet."));
    for (std::size_t i = 0; i < mostReturns; ++i) {
        auto* content = new QWidget;
        auto* row = new QHBoxLayout(content);
        row->setContentsMargins(14, 8, 14, 8);
        row->setSpacing(10);
        const ReturnRow made{new StateMark, faintLabel(), plainLabel(), plainLabel()};
        made.time->setWordWrap(false);
        made.agent->setWordWrap(false);
        made.agent->setMinimumWidth(made.agent->fontMetrics().horizontalAdvance(QStringLiteral("Claude")));
        row->addWidget(made.mark, 0, Qt::AlignTop);
        row->addWidget(made.time, 0, Qt::AlignTop);
        row->addWidget(made.agent, 0, Qt::AlignTop);
        row->addWidget(made.outcome, 1);
        returnsCard->add(content);
        returns.push_back(made);
    }
    column().addWidget(noReturns);
    column().addWidget(returnsCard);
}

void CommandPage::addDiagnostics() {
    diagnostics->setText(tr("Without message content, label contents, or conversation URLs."));
    auto* copy = new QPushButton(tr("Copy diagnostics"));
    connect(copy, &QPushButton::clicked, this, [this] {
        diagnostics->setText(app.monitoring.copyDiagnostics()
                                 ? tr("Copied diagnostics without message content, label contents, or "
                                      "conversation URLs.")
                                 : tr("Couldn't copy the diagnostics. The clipboard did not take them."));
    });
    auto* row = new QHBoxLayout;
    row->addWidget(diagnostics, 1);
    row->addWidget(copy);
    column().addStretch();
    column().addSpacing(6);
    column().addLayout(row);
}

void CommandPage::render() {
    if (!app.canMonitor()) return;
    renderPermissions();
    renderEditors();
    renderReturns();
}

void CommandPage::renderPermissions() {
    const auto& lifecycle = app.monitoring.lifecycle;
    const auto words = monitoringWords(app);
    monitoring->render(lifecycle.isMonitoring()     ? State::done
                       : lifecycle.hasStartFailed() ? State::failed
                                                    : State::open,
                       words.state, qtText(lifecycle.status()));
    toggle->setText(words.toggle);
    trayHint->setVisible(!QSystemTrayIcon::isSystemTrayAvailable());
    if (desktop) return desktop->render();
    const bool isGranted = lifecycle.isAccessibilityGranted();
    accessibility->render(isGranted ? State::done : State::open,
                          isGranted ? tr("Accessibility: Granted") : tr("Accessibility: Not granted"),
                          isGranted
                              ? tr("Lets Orvel read the command and clear it from the editor.")
                              : tr("Lets Orvel read the command and clear it from the editor. If needed, "
                                   "open System Settings → Privacy & Security → Accessibility and check "
                                   "Orvel."));
    const bool isConfirmed = lifecycle.inputMonitoringPermission().granted;
    inputMonitoring->render(isConfirmed ? State::done : State::open, qtText(lifecycle.inputMonitoringLabel()),
                            qtText(lifecycle.inputMonitoringExplanation().value_or("")));
    request->setVisible(!isConfirmed);
}

void CommandPage::renderEditors() {
    const auto& preparation = app.monitoring.preparation;
    const auto lines = descriptionsOf(preparation);
    const bool isEach = lines.size() == static_cast<qsizetype>(editors.size());
    editorsCard->showFirst(isEach ? editors.size() : 1);
    if (!isEach) return editors.front()->render(State::open, lines.join(QLatin1Char(' ')));
    for (std::size_t i = 0; i < editors.size(); ++i) {
        const auto agent = allAgents[i];
        const auto version = preparation.targetVersion(agent);
        const auto name = qtText(label(agent));
        const bool isUnknown = version && *version == EditorPreparation::unknownVersion;
        const auto title = !version    ? name
                           : isUnknown ? tr("%1 · version unknown").arg(name)
                                       : tr("%1 · version %2").arg(name, qtText(*version));
        auto words = lines[static_cast<qsizetype>(i)];
        if (preparation.needsRestart(agent))
            words = tr("Quit %1 and open it again. It has been running since before accessibility was turned "
                       "on, and only a program that starts afterwards lets its editor be read.")
                        .arg(name);
        else if (isUnknown)
            words +=
                QLatin1Char('\n') + tr("Whether Orvel was tried with this version can't be told. Nothing is "
                                       "written unless the editor proves to be the expected one.");
        const auto state = preparation.needsRestart(agent)   ? State::failed
                           : preparation.readyProcess(agent) ? State::done
                                                             : State::open;
        editors[i]->render(state, title, words);
    }
}

void CommandPage::renderReturns() {
    const auto last = lastReturns(app.monitoring.monitor.history(), app.clock(), mostReturns);
    noReturns->setVisible(last.empty());
    returnsCard->setVisible(!last.empty());
    returnsCard->showFirst(last.size());
    for (std::size_t i = 0; i < last.size(); ++i) {
        const auto& row = returns[i];
        row.mark->render(last[i].isCommand ? State::command : State::passed);
        showText(*row.time, qtText(last[i].time));
        showText(*row.agent, qtText(label(last[i].agent)));
        showText(*row.outcome, qtText(last[i].outcome).simplified());
        row.outcome->setForegroundRole(last[i].isCommand ? QPalette::WindowText : QPalette::PlaceholderText);
    }
}

} // namespace orvel
