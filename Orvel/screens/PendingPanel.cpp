#include "Orvel/screens/PendingPanel.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/DeliverySteps.h"
#include "Orvel/screens/LongText.h"
#include "Orvel/screens/Theme.h"

#include <chrono>

#include <QAccessible>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr std::chrono::seconds farewellTime{8};
constexpr double attemptTextScale = 0.85;
constexpr int leastTextHeight = 56, mostTextHeight = 132;

bool isOnItsWay(const OrvelWorkspaceSnapshot& snapshot) {
    return snapshot.preparing || snapshot.transferStanding == TransferStanding::delivering;
}

// What is going on, unless the message failed.
QString progressWords(const OrvelWorkspaceSnapshot& snapshot, const QString& receiver) {
    if (isOnItsWay(snapshot)) return PendingPanel::tr("Delivering…");
    if (snapshot.pendingHint) return {};
    switch (*snapshot.transferStanding) {
    case TransferStanding::checking: return PendingPanel::tr("Looking in %1's transcript…").arg(receiver);
    case TransferStanding::waitingForPaste:
        return PendingPanel::tr("Waits to be pasted into %1").arg(receiver);
    case TransferStanding::delivering:
    case TransferStanding::mayBeRetried:
    case TransferStanding::outdated:
    case TransferStanding::unconfirmed:
    case TransferStanding::receiptUnsaved:
    case TransferStanding::received: break;
    }
    return {};
}

QString remedyFor(const OrvelWorkspaceSnapshot& snapshot, const QString& receiver) {
    switch (remedyOf(*snapshot.transferStanding)) {
    case TransferRemedy::retryOrCopy:
        return snapshot.hasPending
                   ? PendingPanel::tr("Retry sends exactly the saved message; it can also be copied.")
                   : PendingPanel::tr("Turn the relay round to see whether it can be sent again.");
    case TransferRemedy::copy:
        return PendingPanel::tr("Copy the saved message and paste it into %1.").arg(receiver);
    case TransferRemedy::lookThenCopy:
        return PendingPanel::tr("Look in %1: if it is not there, copy the saved message and paste it.")
            .arg(receiver);
    case TransferRemedy::lookAgain: return PendingPanel::tr("Orvel goes on trying.");
    case TransferRemedy::none: break;
    }
    return {};
}

// What became of a message that failed, and what the person can do about it.
QString adviceFor(const OrvelWorkspaceSnapshot& snapshot, const QString& receiver) {
    if (isOnItsWay(snapshot)) return {};
    if (snapshot.pendingHint) return qtText(*snapshot.pendingHint);
    const auto standing = *snapshot.transferStanding;
    if (!hasFailed(standing) && standing != TransferStanding::receiptUnsaved) return {};
    return qtText(situationOf(standing)) + QStringLiteral(" ") + remedyFor(snapshot, receiver);
}

// Of the three steps of a message.
std::size_t stepsDone(TransferStanding standing) {
    switch (standing) {
    case TransferStanding::delivering:
    case TransferStanding::mayBeRetried:
    case TransferStanding::outdated:
    case TransferStanding::waitingForPaste:
    case TransferStanding::unconfirmed: break;
    case TransferStanding::checking:
    case TransferStanding::receiptUnsaved: return 2;
    case TransferStanding::received: return 3;
    }
    return 1;
}

QLabel* plainLabel(bool wraps) {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(wraps);
    return label;
}

} // namespace

PendingPanel::PendingPanel(QWidget* parent)
    : QFrame(parent),
      steps(new DeliverySteps({tr("Saved"), tr("Delivered"), tr("Seen in the transcript")})),
      progress(plainLabel(false)),
      failure(plainLabel(true)),
      attempt(plainLabel(true)),
      advice(plainLabel(true)),
      firstLine(plainLabel(false)),
      text(new QPlainTextEdit),
      fold(new QPushButton),
      copy(new QPushButton(tr("Copy saved message"))),
      submit(new QPushButton(tr("Submit draft"))) {
    setObjectName(QStringLiteral("panel"));
    setAccessibleName(tr("Saved message"));
    for (auto* label : {progress, firstLine}) {
        label->setForegroundRole(QPalette::PlaceholderText);
        label->setMinimumWidth(0);
        label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    }
    progress->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    for (auto* label : {failure, attempt})
        label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    attempt->setForegroundRole(QPalette::PlaceholderText);
    auto small = attempt->font();
    small.setPointSizeF(small.pointSizeF() * attemptTextScale);
    attempt->setFont(small);
    text->setReadOnly(true);
    text->setTabChangesFocus(true);
    text->setAccessibleName(tr("Text of the saved message"));
    text->setMinimumHeight(leastTextHeight);
    text->setMaximumHeight(mostTextHeight);
    submit->setToolTip(tr("Press Send on the text that an earlier attempt left in Claude's editor"));
    connect(fold, &QPushButton::clicked, this, &PendingPanel::toggleText);
    connect(copy, &QPushButton::clicked, this, &PendingPanel::copyWanted);
    connect(submit, &QPushButton::clicked, this, &PendingPanel::submitDraftWanted);

    auto* head = new QHBoxLayout;
    head->addWidget(steps);
    head->addWidget(progress, 1);
    auto* foot = new QHBoxLayout;
    foot->addWidget(firstLine, 1);
    for (auto* button : {fold, submit, copy}) foot->addWidget(button);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(14, 10, 10, 10);
    column->setSpacing(6);
    column->addLayout(head);
    column->addWidget(failure);
    column->addWidget(advice);
    column->addWidget(attempt);
    column->addLayout(foot);
    column->addWidget(text);
    farewell.setSingleShot(true);
    connect(&farewell, &QTimer::timeout, this, &QWidget::hide);
    hide();
}

void PendingPanel::render(const OrvelWorkspaceSnapshot& snapshot) {
    if (snapshot.pendingMessage) {
        farewell.stop();
        renderPending(snapshot);
    } else if (transferID && transferID == snapshot.transferID &&
               snapshot.transferStanding == TransferStanding::received) {
        if (!farewell.isActive() && isVisible()) renderArrived();
    } else {
        farewell.stop();
        transferID.reset();
        hide();
    }
}

void PendingPanel::renderPending(const OrvelWorkspaceSnapshot& snapshot) {
    if (std::exchange(transferID, snapshot.transferID) != snapshot.transferID) isUnfolded = false;
    // A message that is not of the shown side goes the other way.
    receiver = qtText(snapshot.hasPending ? snapshot.destination : snapshot.sourceLabel);
    steps->render(stepsDone(*snapshot.transferStanding), hasFailed(*snapshot.transferStanding));
    progressText = progressWords(snapshot, receiver);

    const auto failureText = snapshot.pendingFailure ? qtText(*snapshot.pendingFailure) : QString();
    const bool isNewFailure = !failureText.isEmpty() && failure->text() != failureText;
    failure->setText(failureText);
    failure->setAccessibleName(tr("Failure: %1").arg(failureText));
    failure->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::current().failure.name()));
    failure->setVisible(!failureText.isEmpty());
    attempt->setText(qtText(snapshot.pendingAttempt.value_or("")));
    attempt->setAccessibleName(tr("Record of the attempt: %1").arg(attempt->text()));
    advice->setText(adviceFor(snapshot, receiver));
    advice->setVisible(!advice->text().isEmpty());

    if (message != *snapshot.pendingMessage) {
        message = *snapshot.pendingMessage;
        text->setPlainText(shownText(message));
    }
    firstLine->show();
    fold->show();
    showFolded();
    copy->show();
    submit->setVisible(snapshot.canSubmitDraft);
    show();
    elide();
    if (isNewFailure) {
        QAccessibleEvent alert(failure, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void PendingPanel::renderArrived() {
    steps->render(stepsDone(TransferStanding::received), false);
    progressText = tr("%1 has it").arg(receiver);
    for (QWidget* gone :
         {static_cast<QWidget*>(failure), static_cast<QWidget*>(advice), static_cast<QWidget*>(firstLine),
          static_cast<QWidget*>(text), static_cast<QWidget*>(fold), static_cast<QWidget*>(copy),
          static_cast<QWidget*>(submit)})
        gone->hide();
    elide();
    QAccessibleEvent alert(progress, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
    farewell.start(farewellTime);
}

void PendingPanel::setShort(bool newIsShort) {
    isShort = newIsShort;
    if (transferID && !farewell.isActive()) showFolded();
}

void PendingPanel::toggleText() {
    if (!isVisible() || farewell.isActive()) return;
    isUnfolded = !isUnfolded;
    showFolded();
    if (isUnfolded) text->setFocus(Qt::ShortcutFocusReason);
}

void PendingPanel::showFolded() {
    text->setVisible(isUnfolded);
    attempt->setVisible(!attempt->text().isEmpty() && (isUnfolded || !isShort));
    fold->setText(isUnfolded ? tr("Hide") : tr("Show"));
    fold->setAccessibleName(isUnfolded ? tr("Hide the saved message") : tr("Show the saved message"));
}

// As much of the message's beginning as there is room for. The progress stands there whole or not at all: the
// steps beside it say the same.
void PendingPanel::elide() {
    constexpr std::size_t most = 1'000; // Bytes; more are never visible.
    layout()->activate();
    const auto beginning = qtText(std::string_view(message).substr(0, most)).simplified();
    firstLine->setText(firstLine->fontMetrics().elidedText(beginning, Qt::ElideRight, firstLine->width()));
    const bool fits = progress->fontMetrics().horizontalAdvance(progressText) <= progress->width();
    progress->setText(fits ? progressText : QString());
    progress->setAccessibleName(progressText);
}

void PendingPanel::resizeEvent(QResizeEvent* event) {
    QFrame::resizeEvent(event);
    elide();
}

} // namespace orvel
