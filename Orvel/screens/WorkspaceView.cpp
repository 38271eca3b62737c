#include "Orvel/screens/WorkspaceView.h"

#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/screens/ErrorBanner.h"
#include "Orvel/screens/ExactText.h"
#include "Orvel/screens/GrowingTextEdit.h"
#include "Orvel/screens/LongText.h"
#include "Orvel/screens/MessageListView.h"
#include "Orvel/screens/PendingPanel.h"
#include "Orvel/screens/RouteView.h"
#include "Orvel/screens/WelcomeView.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLocale>
#include <QStyle>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr std::chrono::milliseconds stageInterval{200}, turnInterval{1'000};

// Sets an editor's text without moving the cursor of somebody who just typed the same.
void showText(QPlainTextEdit& editor, const std::string& text) {
    if (exactText(*editor.document()) == text) return;
    const QSignalBlocker quiet(&editor);
    editor.setPlainText(qtText(text));
    editor.moveCursor(QTextCursor::End);
}

// How much would be relayed to whom, and what keeps it back.
QString previewText(const OrvelWorkspaceSnapshot& snapshot) {
    if (snapshot.preparing) return WorkspaceView::tr("Reading both conversations once more…");
    if (!snapshot.state.hasContent) return {};
    if (snapshot.refusal) return qtText(*snapshot.refusal);
    const auto bytes = QLocale().toString(static_cast<qulonglong>(snapshot.previewSize));
    if (snapshot.nextRange) return WorkspaceView::tr("%1 bytes for the next transfer").arg(bytes);
    auto text = WorkspaceView::tr("%1 bytes for %2").arg(bytes, qtText(snapshot.destination));
    if (snapshot.state.busy)
        text += WorkspaceView::tr(" · %1 is still working").arg(qtText(snapshot.sourceLabel));
    else if (snapshot.pendingMessage && !snapshot.hasPending)
        text += WorkspaceView::tr(" · waits until the message above has been seen");
    return text;
}

// How things stand; where the card says that already, what would go where.
QString statusText(const OrvelWorkspaceSnapshot& snapshot) {
    if (snapshot.statusLine) return qtText(*snapshot.statusLine);
    const auto count = static_cast<int>(snapshot.messages.span().size());
    if (count == 0) return {};
    const auto messages = count == 1 ? WorkspaceView::tr("1 message for %1")
                                     : WorkspaceView::tr("%1 messages for %2").arg(QLocale().toString(count));
    return messages.arg(qtText(snapshot.destination));
}

// What the instructions are for, while a saved message is shown.
QString nextNoteText(const OrvelWorkspaceSnapshot& snapshot, bool hasText) {
    if (!snapshot.hasPending) return {};
    if (snapshot.nextError) return qtText(*snapshot.nextError);
    if (snapshot.nextRange) return qtText(*snapshot.nextRange);
    if (hasText)
        return WorkspaceView::tr("These instructions are part of the saved message. If you change them, they "
                                 "become a note for the next transfer.");
    return WorkspaceView::tr("What you write now is for the next transfer.");
}

// "0:42" or "1:02:03".
QString clockText(MainLoop::Duration duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration).count();
    const auto two = [](auto number) { return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0')); };
    const auto hours = seconds / 3600, minutes = seconds / 60 % 60;
    return (hours > 0 ? QString::number(hours) + QStringLiteral(":") + two(minutes)
                      : QString::number(minutes)) +
           QStringLiteral(":") + two(seconds % 60);
}

QString withShortcut(const QString& text, const QKeySequence& shortcut) {
    return text + QStringLiteral("  ") + shortcut.toString(QKeySequence::NativeText);
}

// The most important of the buttons has the object name "primary".
void makePrimary(QPushButton& button, bool isPrimary) {
    const auto name = isPrimary ? QStringLiteral("primary") : QString();
    if (button.objectName() == name) return;
    button.setObjectName(name);
    button.style()->unpolish(&button);
    button.style()->polish(&button);
}

} // namespace

WorkspaceView::WorkspaceView(OrvelModel& model, const Desktop& desktop, QWidget* parent)
    : QWidget(parent),
      model(model),
      desktop(desktop),
      route(new RouteView),
      progress(new QProgressBar),
      statusTitle(new QLabel),
      elapsed(new QLabel),
      statusLine(new QLabel),
      banner(new ErrorBanner),
      pending(new PendingPanel),
      nextNote(new QLabel),
      instruction(new GrowingTextEdit) {
    connect(route, &RouteView::sourceActivated, this, &WorkspaceView::sourceWanted);
    connect(route, &RouteView::destinationActivated, this, &WorkspaceView::destinationWanted);
    connect(route, &RouteView::routeChosen, this, [this](const QString& id) {
        this->model.chains.chooseWorkspaceRoute(utf8Text(id));
        render();
    });
    progress->setRange(0, 0);
    progress->setTextVisible(false);
    auto policy = progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    progress->setSizePolicy(policy);

    auto large = statusTitle->font();
    large.setPointSizeF(large.pointSizeF() * 1.3);
    large.setWeight(QFont::Bold);
    statusTitle->setFont(large);
    for (auto* label : {elapsed, statusLine, nextNote}) label->setForegroundRole(QPalette::PlaceholderText);
    for (auto* label : {statusTitle, statusLine, nextNote}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    connect(banner, &ErrorBanner::dismissed, this, [this] { this->model.notices.dismissError(); });
    connect(pending, &PendingPanel::copyWanted, this, &WorkspaceView::copySavedMessage);
    connect(pending, &PendingPanel::submitDraftWanted, this, &WorkspaceView::submitDraft);
    connect(&clock, &QTimer::timeout, this, &WorkspaceView::renderProgress);

    instruction->setAccessibleName(tr("Instructions"));
    connect(instruction, &QPlainTextEdit::textChanged, this,
            [this] { this->model.workspace.setInstruction(exactText(*instruction->document())); });

    auto* title = new QHBoxLayout;
    title->addWidget(statusTitle, 1);
    title->addWidget(elapsed, 0, Qt::AlignBottom);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 14, 20, 14);
    column->setSpacing(8);
    column->addWidget(route);
    column->addWidget(progress);
    column->addLayout(title);
    column->addWidget(statusLine);
    column->addWidget(banner);
    column->addWidget(middle(), 1);
    column->addWidget(pending);
    column->addWidget(nextNote);
    column->addWidget(instruction);
    column->addWidget(bottom());
}

QWidget* WorkspaceView::middle() {
    stack = new QStackedWidget;
    welcome = new WelcomeView;
    connect(welcome, &WelcomeView::openFileWanted, this, &WorkspaceView::openFileWanted);
    connect(welcome, &WelcomeView::pasteWanted, this, &WorkspaceView::pasteConversation);
    connect(welcome, &WelcomeView::samplesWanted, this, &WorkspaceView::samplesWanted);

    messages = new MessageListView;
    connect(messages, &MessageListView::startRequested, this,
            [this](const QString& id) { model.workspace.selectRange(utf8Text(id)); });

    manual = new QPlainTextEdit;
    manual->setPlaceholderText(tr("Paste the conversation here"));
    manual->setAccessibleName(tr("Pasted conversation"));
    manual->setTabChangesFocus(true);
    connect(manual, &QPlainTextEdit::textChanged, this,
            [this] { model.workspace.setManualText(exactText(*manual->document())); });

    preview = new QPlainTextEdit;
    preview->setReadOnly(true);
    preview->setAccessibleName(tr("Preview"));
    preview->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    loading = new QWidget;

    for (QWidget* page : {static_cast<QWidget*>(welcome), static_cast<QWidget*>(messages),
                          static_cast<QWidget*>(manual), static_cast<QWidget*>(preview), loading})
        stack->addWidget(page);
    stack->setMinimumHeight(80); // Where the window is small, what is below comes first.
    return stack;
}

QWidget* WorkspaceView::bottom() {
    size = new QLabel;
    size->setForegroundRole(QPalette::PlaceholderText);
    size->setWordWrap(true);
    previewButton = new QPushButton;
    connect(previewButton, &QPushButton::clicked, this, &WorkspaceView::togglePreview);
    copyButton = new QPushButton(tr("Copy"));
    copyButton->setAccessibleName(tr("Copy relay"));
    copyButton->setToolTip(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C).toString(QKeySequence::NativeText));
    connect(copyButton, &QPushButton::clicked, this, &WorkspaceView::copyRelay);
    sendButton = new QPushButton;
    makePrimary(*sendButton, true);
    connect(sendButton, &QPushButton::clicked, this, &WorkspaceView::sendRelay);

    auto* holder = new QWidget;
    auto* row = new QHBoxLayout(holder);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(size, 1);
    row->addWidget(previewButton);
    row->addWidget(copyButton);
    row->addWidget(sendButton);
    return holder;
}

void WorkspaceView::render() {
    shown = workspaceSnapshot(model.view());
    if (shown.conversation || shown.state.loading) isPasting = false;
    if (!shown.state.hasContent) showsPreview = false;

    route->render(shown);
    const bool isOccupied = shown.state.loading || shown.preparing || shown.state.sending;
    progress->setVisible(isOccupied);
    progress->setAccessibleName(shown.state.loading ? tr("Loading conversation") : tr("Sending"));
    statusTitle->setText(qtText(shown.statusTitle()));
    statusLine->setText(statusText(shown));
    statusLine->setVisible(!statusLine->text().isEmpty());
    // What the panel says of its message is not said twice.
    banner->render(shown.isErrorOfPending ? std::nullopt : shown.error);
    renderProgress();
    renderMiddle();
    pending->render(shown);
    renderInstruction();
    renderBottom();
}

void WorkspaceView::renderProgress() {
    const auto turn = watchedTurn(model.view());
    const auto stage = model.outbox.deliveryStage();
    elapsed->setVisible(turn || stage);
    if (stage) {
        elapsed->setText(qtText(*stage));
        clock.start(stageInterval);
    } else if (turn) {
        elapsed->setText(tr("%1 is working · %2")
                             .arg(qtText(model.workspace.relay().speakerTitle(turn->agent)),
                                  clockText(desktop.loop.uptime() - turn->since)));
        clock.start(turnInterval);
    } else {
        clock.stop();
    }
}

void WorkspaceView::renderMiddle() {
    const auto& manualText = model.workspace.state().manualText.get();
    showText(*manual, manualText);
    if (shown.conversation) {
        const auto start = shown.conversation->messages.size() - shown.messages.span().size();
        messages->show(shown.conversation, start,
                       shown.startsAtCheckpoint ? tr("new since the last relay")
                                                : tr("the range starts here"),
                       shown.assistantLabel);
    }
    QWidget* page = welcome;
    if (showsPreview) {
        renderPreview();
        page = preview;
    } else if (shown.conversation) {
        page = messages;
    } else if (shown.state.loading) {
        page = loading;
    } else if (isPasting || !manualText.empty()) {
        page = manual;
    } else {
        welcome->render(model.catalogue);
    }
    stack->setCurrentWidget(page);
}

// Locked while the model takes no edits, so that no typed word is lost.
void WorkspaceView::renderInstruction() {
    const auto& text = model.workspace.state().instruction.get();
    showText(*instruction, text);
    instruction->setReadOnly(!shown.canEdit);
    instruction->setPlaceholderText(shown.hasPending ? tr("Note for the next transfer (optional)")
                                                     : tr("Instructions for the relay (optional)"));
    instruction->viewport()->update(); // A new placeholder is not painted by itself.
    nextNote->setText(nextNoteText(shown, !text.empty()));
    nextNote->setVisible(!nextNote->text().isEmpty());
}

// Without a pair there is nothing to send to, and copying is what can be done.
void WorkspaceView::renderBottom() {
    size->setText(previewText(shown));
    previewButton->setText(
        withShortcut(showsPreview ? tr("Hide preview") : tr("Preview"), Qt::CTRL | Qt::Key_P));
    previewButton->setEnabled(shown.state.hasContent);
    copyButton->setEnabled(shown.canCopy);
    copyButton->setVisible(!shown.pendingMessage); // There is one for the saved message beside it.
    const bool hasPair = !shown.routes.empty();
    makePrimary(*copyButton, !hasPair);
    const auto title = qtText(shown.primaryTitle);
    sendButton->setText(withShortcut(title, Qt::CTRL | Qt::Key_Return));
    sendButton->setAccessibleName(title);
    sendButton->setEnabled(shown.canSend);
    sendButton->setVisible(hasPair);
}

void WorkspaceView::renderPreview() {
    auto text = model.workspace.relay().preview();
    if (text == shownPreview) return;
    shownPreview = text;
    preview->setPlainText(shownText(text));
}

void WorkspaceView::togglePreview() {
    showsPreview = !showsPreview && !model.workspace.relay().preview().empty();
    render();
    if (showsPreview) preview->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::toggleSavedMessage() {
    pending->toggleText();
}

void WorkspaceView::sendRelay() {
    if (workspaceSnapshot(model.view()).canSend) model.send();
    render(); // Before the next key is typed.
}

void WorkspaceView::copyRelay() {
    if (shown.pendingMessage) return copySavedMessage();
    if (workspaceSnapshot(model.view()).canCopy || !shown.conversation) model.copy(desktop.pasteboard);
    render();
}

void WorkspaceView::copySavedMessage() {
    model.outbox.copyPendingTransfer(desktop.pasteboard);
}

void WorkspaceView::submitDraft() {
    if (workspaceSnapshot(model.view()).canSubmitDraft) model.outbox.submitExistingClaudeDraft();
    render();
}

void WorkspaceView::turnRound() {
    for (const auto& route : shown.routes)
        if (!route.selected) return model.chains.chooseWorkspaceRoute(route.id);
}

void WorkspaceView::withdrawSamples() {
    welcome->withdrawSamples();
}

void WorkspaceView::pasteConversation() {
    model.workspace.useManualInput();
    isPasting = true;
    showsPreview = false;
    render();
    manual->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::focusInstruction() {
    instruction->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::focusSource() {
    route->focusSource();
}

void WorkspaceView::focusDestination() {
    route->focusDestination();
}

void WorkspaceView::focusMessages() {
    messages->setFocus(Qt::ShortcutFocusReason);
}

} // namespace orvel
