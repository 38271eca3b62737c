#include "Orvel/screens/GeneralPage.h"

#include "Orvel/screens/SettingsParts.h"
#include "Orvel/screens/WindowPreferences.h"
#include "Orvel/shell/OrvelApp.h"

namespace orvel {

GeneralPage::GeneralPage(OrvelApp& app, WindowPreferences& preferences)
    : SettingsPage(tr("General")),
      app(app),
      preferences(preferences),
      claudeCode(new QCheckBox(tr("Send through &Claude Code where Claude's application can't"))),
      developerTools(new QCheckBox(tr("Show &developer tools"))),
      appearance(new QComboBox),
      notifications(new QCheckBox(tr("&Notify when a message has arrived or needs attention"))),
      stateInTitle(new QCheckBox(tr("Say in the window's &title how things stand"))) {
    auto* explanation =
        faintLabel(tr("For a conversation that Claude's application does not know, Orvel runs the command "
                      "“claude” in the conversation's own folder and hands it the message. Claude works on "
                      "it with the permissions that you have set there, also when Orvel is closed, and the "
                      "turn counts towards your plan as if you had typed it. Nothing is sent while the "
                      "conversation is open in a terminal. Conversations that the application knows never "
                      "go this way."));
    claudeCode->setAccessibleDescription(explanation->text());
    connect(claudeCode, &QCheckBox::toggled, this,
            [this](bool isChecked) { this->app.allowClaudeCode(isChecked); });
    connect(developerTools, &QCheckBox::toggled, this,
            [this](bool isChecked) { this->app.showDeveloperTools(isChecked); });
    column().addWidget(sectionTitle(tr("Into Claude")));
    column().addWidget(claudeCode);
    column().addWidget(explanation);
    column().addSpacing(10);
    addWindowChoices();
    column().addSpacing(10);
    column().addWidget(sectionTitle(tr("These settings")));
    column().addWidget(developerTools);
    column().addStretch();
}

void GeneralPage::addWindowChoices() {
    // In the order of WindowPreferences::Appearance.
    appearance->addItems({tr("As the system"), tr("Light"), tr("Dark")});
    appearance->setAccessibleName(tr("Appearance"));
    appearance->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    connect(appearance, &QComboBox::activated, this, [this](int chosen) {
        preferences.setAppearance(static_cast<WindowPreferences::Appearance>(chosen));
    });
    connect(notifications, &QCheckBox::toggled, this,
            [this](bool isChecked) { preferences.setNotifies(isChecked); });
    connect(stateInTitle, &QCheckBox::toggled, this,
            [this](bool isChecked) { preferences.setShowsStateInTitle(isChecked); });
    connect(&preferences, &WindowPreferences::changed, this, &GeneralPage::render);
    column().addWidget(sectionTitle(tr("The windows")));
    column().addWidget(appearance);
    column().addWidget(stateInTitle);
    column().addWidget(notifications);
}

void GeneralPage::render() {
    const auto show = [](QCheckBox* box, bool isChecked) {
        if (box->isChecked() != isChecked) box->setChecked(isChecked);
    };
    show(claudeCode, app.model.outbox.state().mayUseClaudeCode);
    show(developerTools, app.showsDeveloperTools());
    appearance->setCurrentIndex(static_cast<int>(preferences.appearance()));
    show(notifications, preferences.notifies());
    show(stateInTitle, preferences.showsStateInTitle());
}

} // namespace orvel
