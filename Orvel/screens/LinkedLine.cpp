#include "Orvel/screens/LinkedLine.h"

#include "Orvel/platform/qt/QtText.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <QHBoxLayout>
#include <QPushButton>

namespace orvel {

LinkedLine::LinkedLine(OrvelModel& model, QWidget* parent) : QFrame(parent), model(model), text(new QLabel) {
    setObjectName(QStringLiteral("quiet"));
    text->setTextFormat(Qt::PlainText);
    text->setMinimumWidth(0);
    text->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* button = new QPushButton(tr("Undo"));
    button->setAccessibleName(tr("Undo the link"));
    connect(button, &QPushButton::clicked, this, &LinkedLine::undo);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(10, 4, 6, 4);
    row->addWidget(text, 1);
    row->addWidget(button);
    end.setSingleShot(true);
    end.setInterval(std::chrono::seconds(10));
    connect(&end, &QTimer::timeout, this, [this] {
        made.reset();
        hide();
    });
    hide();
}

void LinkedLine::link(const ConversationReference& reference) {
    made.reset();
    const auto& open = model.workspace.state();
    const bool joinsTwo = open.sourceReference && open.sourceReference->agent != reference.agent &&
                          !open.newConversationAttachment->has_value() &&
                          !model.workspace.relay().activeInitial() && !model.messageOperation().isUnderWay();
    if (joinsTwo)
        made = Made{.pairsBefore = model.ledger.state().relayState->pairs.size(),
                    .source = *open.sourceReference,
                    .instruction = open.instruction,
                    .title = qtText(model.catalogue.state().conversationTitle(reference)),
                    .pairID = {}};
    model.links.chooseEndpoint(reference);
}

// A pair that was there before is only opened, and nothing can be taken back.
void LinkedLine::recognizeMade() {
    if (!made || made->pairID || model.messageOperation().isUnderWay()) return;
    const auto open = model.workspace.relay().activePair();
    const auto& pairs = model.ledger.state().relayState->pairs;
    for (auto i = made->pairsBefore; open && i < pairs.size(); ++i)
        if (pairs[i].id == open->id) made->pairID = open->id;
    if (!made->pairID) return made.reset();
    text->setText(tr("Linked with “%1”.").arg(made->title.simplified()));
    end.start();
}

bool LinkedLine::canUndo() const {
    const auto open = model.workspace.relay().activePair();
    if (!made || !made->pairID || !open || open->id != *made->pairID) return false;
    const auto& state = model.ledger.state().relayState.get();
    const bool hasTransfer =
        std::any_of(state.transfers.begin(), state.transfers.end(),
                    [&](const RelayTransfer& transfer) { return transfer.pairID == open->id; });
    return !hasTransfer && !state.link(open->id) && model.links.canArchiveLink(*open);
}

void LinkedLine::undo() {
    if (!canUndo()) return;
    undone = std::exchange(made, std::nullopt);
    undone->instruction = model.workspace.state().instruction;
    model.links.archiveLink(*model.workspace.relay().activePair());
}

// Closing a link leaves nothing open; before it was made its source was, with the same instructions.
void LinkedLine::finishUndo() {
    if (!undone || model.messageOperation().isUnderWay()) return;
    const auto source = std::exchange(undone, std::nullopt);
    const auto& open = model.workspace.state();
    if (model.workspace.relay().activePair() || open.sourceReference || open.isLoading) return;
    model.workspace.chooseSource(source->source);
    model.workspace.setInstruction(source->instruction);
}

void LinkedLine::render() {
    finishUndo();
    recognizeMade();
    setVisible(canUndo());
}

} // namespace orvel
