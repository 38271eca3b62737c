#include "Orvel/screens/GeneralPage.h"

#include "Orvel/screens/SettingsParts.h"
#include "Orvel/shell/OrvelApp.h"

namespace orvel {

GeneralPage::GeneralPage(OrvelApp& app)
    : SettingsPage(tr("General")),
      app(app),
      claudeCode(new QCheckBox(tr("Send through &Claude Code where Claude's application can't"))),
      developerTools(new QCheckBox(tr("Show &developer tools"))) {
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
    column().addWidget(sectionTitle(tr("These settings")));
    column().addWidget(developerTools);
    column().addStretch();
}

void GeneralPage::render() {
    const auto show = [](QCheckBox* box, bool isChecked) {
        if (box->isChecked() != isChecked) box->setChecked(isChecked);
    };
    show(claudeCode, app.model.outbox.state().mayUseClaudeCode);
    show(developerTools, app.showsDeveloperTools());
}

} // namespace orvel
