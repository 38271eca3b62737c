#include "Orvel/screens/SettingsDialog.h"

#include "Orvel/desktop/Settings.h"
#include "Orvel/model/OrvelModel.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr std::string_view claudeCodeKey = "throughClaudeCode", chosen = "yes", notChosen = "no";

} // namespace

SettingsDialog::SettingsDialog(OrvelModel& model, Settings& settings, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Settings"));
    setObjectName(QStringLiteral("settings"));
    auto* claudeCode = new QCheckBox(tr("Send through &Claude Code where Claude's application can't"));
    claudeCode->setChecked(model.outbox.state().mayUseClaudeCode);
    connect(claudeCode, &QCheckBox::toggled, this, [&model, &settings](bool isChecked) {
        model.outbox.allowClaudeCode(isChecked);
        settings.setString(claudeCodeKey, isChecked ? chosen : notChosen);
    });
    auto* explanation =
        new QLabel(tr("For a conversation that Claude's application does not know, Orvel runs the command "
                      "“claude” in the conversation's own folder and hands it the message. Claude works on "
                      "it with the permissions that you have set there, also when Orvel is closed, and the "
                      "turn counts towards your plan as if you had typed it. Nothing is sent while the "
                      "conversation is open in a terminal. Conversations that the application knows never "
                      "go this way."));
    explanation->setTextFormat(Qt::PlainText);
    explanation->setWordWrap(true);
    explanation->setMinimumWidth(460);
    claudeCode->setAccessibleDescription(explanation->text());

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->setSpacing(10);
    column->addWidget(claudeCode);
    column->addWidget(explanation);
    column->addStretch();
    column->addWidget(buttons);
}

void SettingsDialog::restore(OrvelModel& model, const Settings& settings) {
    model.outbox.allowClaudeCode(settings.string(claudeCodeKey) == chosen);
}

} // namespace orvel
