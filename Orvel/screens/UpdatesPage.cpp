#include "Orvel/screens/UpdatesPage.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SettingsParts.h"
#include "Orvel/shell/OrvelUpdateController.h"

namespace orvel {

UpdatesPage::UpdatesPage(OrvelUpdateController& updates) : SettingsPage(tr("Updates")), updates(updates) {
    if (!updates.productionUpdatesEnabled()) {
        column().addWidget(plainLabel(tr("Updates are disabled in this local development build. Install the "
                                         "distribution build to receive updates.")));
        column().addStretch();
        return;
    }
    checks = new QCheckBox(tr("Automatically check for updates"));
    downloads = new QCheckBox(tr("Download updates and install on quit"));
    action = new QPushButton;
    action->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    status = plainLabel();
    connect(checks, &QCheckBox::clicked, this,
            [this](bool isChecked) { this->updates.setAutomaticallyChecks(isChecked); });
    connect(downloads, &QCheckBox::clicked, this,
            [this](bool isChecked) { this->updates.setAutomaticallyDownloads(isChecked); });
    connect(action, &QPushButton::clicked, this, [this] { act(this->updates); });
    column().addWidget(sectionTitle(tr("Orvel %1").arg(qtText(updates.version()))));
    for (QWidget* widget : std::initializer_list<QWidget*>{checks, downloads, action, status})
        column().addWidget(widget);
    column().addWidget(
        faintLabel(tr("Orvel asks about automatic checks on the second launch. Updates are normally checked "
                      "daily and installed when you quit. Active transfers must finish before quitting.")));
    column().addWidget(
        faintLabel(tr("Update checks connect to %1. Conversations, notes and usage statistics are not sent. "
                      "Installing from a manual check quits and relaunches Orvel.")
                       .arg(qtText(updates.feedHost()))));
    column().addStretch();
}

void UpdatesPage::render() {
    if (!action) return;
    checks->setChecked(updates.automaticallyChecks());
    downloads->setChecked(updates.automaticallyDownloads());
    action->setText(actionTitle(updates));
    action->setEnabled(canAct(updates));
    showText(*status, qtText(updates.status().value_or("")));
    status->setVisible(updates.status().has_value());
}

QString UpdatesPage::actionTitle(const OrvelUpdateController& updates) {
    return updates.isReadyToInstall() ? tr("Install Update and Relaunch…") : tr("Check for Updates…");
}

bool UpdatesPage::canAct(const OrvelUpdateController& updates) {
    return updates.isReadyToInstall() || updates.canCheckForUpdates();
}

void UpdatesPage::act(OrvelUpdateController& updates) {
    if (updates.isReadyToInstall())
        updates.installReadyUpdate();
    else
        updates.checkForUpdates();
}

} // namespace orvel
