#include "Orvel/screens/ChatGPTTools.h"

#include "Orvel/model/ChatGPTConsultationModel.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/SettingsParts.h"

#include <utility>

#include <QPointer>

namespace orvel {

namespace {

QLineEdit* field(const QString& name) {
    auto* made = new QLineEdit;
    made->setObjectName(QStringLiteral("field"));
    made->setPlaceholderText(name);
    made->setAccessibleName(name);
    return made;
}

} // namespace

ChatGPTTools::ChatGPTTools(ChatGPTConsultationModel& model, Report report, QWidget* parent)
    : QWidget(parent),
      model(model),
      report(std::move(report)),
      stability(new QPushButton(tr("Watch ChatGPT's page"))),
      receipt(new QPushButton(tr("Look for the question"))),
      preparation(new QPushButton(tr("Prepare without sending"))),
      filename(field(tr("Name of the ZIP"))),
      conversation(field(tr("Conversation ID"))),
      obstacle(faintLabel()) {
    connect(stability, &QPushButton::clicked, this,
            [this] { this->model.inspectPageStability(reportLater()); });
    connect(receipt, &QPushButton::clicked, this, [this] {
        this->model.inspectReceipt(utf8Text(filename->text()), utf8Text(conversation->text()), reportLater());
    });
    connect(preparation, &QPushButton::clicked, this,
            [this] { this->model.verifyPreparationWithoutSending(reportLater()); });
    auto* receiptRow = new QHBoxLayout;
    receiptRow->addWidget(filename, 1);
    receiptRow->addWidget(conversation, 1);
    receiptRow->addWidget(receipt);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(sectionTitle(tr("ChatGPT in Dia")));
    column->addWidget(faintLabel(tr("Reads the selected page for some seconds and reports whether its "
                                    "elements stay the same, without content.")));
    column->addWidget(stability, 0, Qt::AlignLeft);
    column->addWidget(faintLabel(tr("Looks in the selected conversation for the question that stands in "
                                    "“Ask ChatGPT about a repository”, and for the ZIP of this name.")));
    column->addLayout(receiptRow);
    column->addWidget(faintLabel(tr("Attaches the prepared ZIP and writes the question on the selected page, "
                                    "checks both, and doesn't press Send. They stay there.")));
    column->addWidget(preparation, 0, Qt::AlignLeft);
    column->addWidget(obstacle);
}

ChatGPTTools::Report ChatGPTTools::reportLater() {
    return [tools = QPointer(this)](const std::string& text) {
        if (tools) tools->report(text);
    };
}

void ChatGPTTools::render() {
    const bool isFree = !model.isBusy();
    for (auto* button : {stability, receipt}) button->setEnabled(isFree);
    preparation->setEnabled(isFree && model.archive.get().has_value());
    showText(*obstacle, !isFree                ? tr("Something is under way.")
                        : !model.archive.get() ? tr("Nothing is packed yet, so nothing can be prepared.")
                                               : QString());
}

} // namespace orvel
