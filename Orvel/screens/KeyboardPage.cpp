#include "Orvel/screens/KeyboardPage.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/shell/OrvelApp.h"

namespace orvel {

KeyboardPage::KeyboardPage(OrvelApp& app) : SettingsPage(tr("Keyboard")), app(app) {
    column().addWidget(sectionTitle(tr("Codex's keybindings")));
    auto* location = new SettingsCard;
    file = location->addRow();
    file->addButton(tr("Choose…"), tr("Choose Codex's keybindings.json"),
                    [&app] { app.monitoring.keybindings.choose(); });
    column().addWidget(location);
    column().addSpacing(6);
    column().addWidget(sectionTitle(tr("What follows from them")));
    auto* dispositions = new SettingsCard;
    copyShortcut = dispositions->addRow();
    returnKeys = dispositions->addRow();
    japaneseReturn = dispositions->addRow();
    column().addWidget(dispositions);
    if (app.canMonitor()) {
        column().addSpacing(6);
        column().addWidget(sectionTitle(tr("Input method")));
        auto* input = new SettingsCard;
        inputMethod = input->addRow();
        column().addWidget(input);
    }
    column().addStretch();
}

void KeyboardPage::render() {
    const auto& keybindings = app.monitoring.keybindings;
    const auto& display = keybindings.display();
    const bool isConfirmed = !keybindings.path().empty();
    file->render(isConfirmed ? StateMark::State::done : StateMark::State::open,
                 isConfirmed ? qtText(keybindings.path()) : tr("No keybindings.json is chosen."),
                 qtText(keybindings.status()));
    copyShortcut->render(display.canCopy ? StateMark::State::done : StateMark::State::open,
                         tr("Copying the conversation's address"), qtText(display.copyShortcut));
    returnKeys->render(std::nullopt, tr("Return and Shift+Return"), qtText(display.returnKeys));
    japaneseReturn->render(std::nullopt, qtText(display.japaneseReturn),
                           tr("Japanese activation supports default keys, supported copy shortcuts, and a "
                              "verified plan-mode shortcut. Unconfirmed settings or other overrides stop "
                              "activation."));
    if (inputMethod) inputMethod->render(std::nullopt, qtText(app.monitoring.inputModeDescription()));
}

} // namespace orvel
