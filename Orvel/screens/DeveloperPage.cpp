#include "Orvel/screens/DeveloperPage.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/ChatGPTTools.h"
#include "Orvel/screens/SettingsParts.h"
#include "Orvel/shell/OrvelApp.h"

#include <QPointer>
#include <QTimer>

namespace orvel {

DeveloperPage::DeveloperPage(OrvelApp& app)
    : SettingsPage(tr("Developer")),
      app(app),
      inspection(new QPushButton(tr("Inspect Claude's editor"))),
      obstacle(faintLabel()),
      recording(new QPushButton),
      chatGPT(new ChatGPTTools(app.consultation, [this](const std::string& text) { showReport(text); })),
      report(new QPlainTextEdit) {
    report->setReadOnly(true);
    report->setTabChangesFocus(true);
    report->setAccessibleName(tr("The report"));
    report->setMinimumHeight(160);
    report->hide();
    connect(inspection, &QPushButton::clicked, this, &DeveloperPage::inspect);
    auto* row = new QHBoxLayout;
    row->addWidget(inspection);
    row->addWidget(obstacle, 1);
    column().addWidget(sectionTitle(tr("The open conversation in Claude")));
    column().addWidget(faintLabel(tr("Brings Claude to the front, looks at the conversation's editor without "
                                     "writing, and reports its structure without content.")));
    column().addLayout(row);
    column().addSpacing(10);
    column().addWidget(sectionTitle(tr("Claude's editor as it is")));
    column().addWidget(faintLabel(tr("Tells what a Return would meet there, without one, and leaves Claude "
                                     "where it is.")));
    auto* look = new QPushButton(tr("Look at Claude's editor"));
    connect(look, &QPushButton::clicked, this,
            [this] { showReport(this->app.monitoring.diagnoseClaudeComposer().text()); });
    column().addWidget(look, 0, Qt::AlignLeft);
    column().addSpacing(10);
    column().addWidget(sectionTitle(tr("Diagnostics")));
    column().addWidget(faintLabel(tr("What “Copy diagnostics” puts on the clipboard.")));
    auto* diagnostics = new QPushButton(tr("Show diagnostics"));
    connect(diagnostics, &QPushButton::clicked, this,
            [this] { showReport(this->app.monitoring.diagnosticReport().text()); });
    column().addWidget(diagnostics, 0, Qt::AlignLeft);
    column().addSpacing(10);
    column().addWidget(sectionTitle(tr("Input method")));
    column().addWidget(faintLabel(tr("Records for a minute how the input method's state looks from outside, "
                                     "without anything that is typed, and pauses monitoring. The diagnostics "
                                     "show it.")));
    connect(recording, &QPushButton::clicked, this, [this] {
        auto& monitoring = this->app.monitoring;
        if (monitoring.inputMethod.isRecording())
            monitoring.inputMethod.stop();
        else
            monitoring.recordInputMethod();
    });
    column().addWidget(recording, 0, Qt::AlignLeft);
    column().addSpacing(10);
    column().addWidget(chatGPT);
    column().addWidget(report, 1);
    column().addStretch();
}

void DeveloperPage::inspect() {
    app.model.outbox.diagnoseRelayComposer([page = QPointer(this)](const std::string& text) {
        if (page) page->showReport(text);
    });
}

void DeveloperPage::showReport(const std::string& text) {
    report->setPlainText(qtText(text));
    report->show();
    // Once there is room for it.
    QTimer::singleShot(0, report, [this] { ensureWidgetVisible(report); });
}

void DeveloperPage::render() {
    const bool isOpen = app.model.workspace.relay().activePair() != nullptr;
    const bool isBusy = app.model.messageOperation().isUnderWay();
    inspection->setEnabled(isOpen && !isBusy);
    chatGPT->render();
    recording->setEnabled(app.canMonitor());
    recording->setText(app.monitoring.inputMethod.isRecording() ? tr("Stop recording")
                                                                : tr("Record input method states"));
    showText(*obstacle, !isOpen  ? tr("Open a link in the main window first.")
                        : isBusy ? tr("Something is under way.")
                                 : QString());
}

} // namespace orvel
