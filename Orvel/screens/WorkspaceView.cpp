#include "Orvel/screens/WorkspaceView.h"

#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/screens/ErrorBanner.h"
#include "Orvel/screens/ExactText.h"
#include "Orvel/screens/FittingLabel.h"
#include "Orvel/screens/GrowingTextEdit.h"
#include "Orvel/screens/LinkedLine.h"
#include "Orvel/screens/LongText.h"
#include "Orvel/screens/MessageListView.h"
#include "Orvel/screens/PendingPanel.h"
#include "Orvel/screens/RouteView.h"
#include "Orvel/screens/WelcomeView.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <utility>

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLocale>
#include <QMenu>
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

// How much would be relayed to whom, in fewer and fewer words.
QStringList sizeTexts(const OrvelWorkspaceSnapshot& snapshot) {
    if (snapshot.preparing) return {WorkspaceView::tr("Reading both conversations once more…")};
    if (!snapshot.state.hasContent) return {};
    const auto bytes =
        WorkspaceView::tr("%1 bytes").arg(QLocale().toString(static_cast<qulonglong>(snapshot.previewSize)));
    const auto agent = qtText(snapshot.destination);
    if (snapshot.nextRange) return {WorkspaceView::tr("%1 for the next transfer").arg(bytes), bytes};
    const auto whole = WorkspaceView::tr("%1 for %2").arg(bytes, agent);
    if (snapshot.state.busy)
        return {WorkspaceView::tr("%1 · %2 is still working").arg(whole, qtText(snapshot.sourceLabel)), whole,
                bytes};
    if (!snapshot.isStart || snapshot.hasPending) return {whole, bytes};
    const auto start = WorkspaceView::tr("%1 · starts a new %2 conversation").arg(bytes, agent);
    if (!snapshot.workingFolder) return {start, bytes};
    const auto folder = qtText(lastPathComponent(*snapshot.workingFolder));
    return {WorkspaceView::tr("%1 in %2").arg(start, folder), start, bytes};
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

// What the instructions are for while a saved message is shown, or what keeps a message back.
QString noteText(const OrvelWorkspaceSnapshot& snapshot, bool hasText) {
    if (snapshot.refusal) return qtText(*snapshot.refusal);
    if (!snapshot.hasPending && snapshot.pendingMessage)
        return WorkspaceView::tr("What you write now waits until the message above has been seen.");
    if (!snapshot.hasPending && snapshot.needsFolder)
        return WorkspaceView::tr("Choose the folder in which the new conversation is to work, on its card.");
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
      column(new QVBoxLayout(this)),
      sidebarButton(new QPushButton(QStringLiteral("☰"))),
      route(new RouteView),
      progress(new QProgressBar),
      status(new QBoxLayout(QBoxLayout::TopToBottom)),
      statusTitle(new QLabel),
      elapsed(new QLabel),
      statusLine(new QLabel),
      newBelowButton(new QPushButton),
      showPendingButton(new QPushButton(tr("Show it"))),
      openInCodexButton(new QPushButton(tr("Open in Codex"))),
      linked(new LinkedLine(model)),
      banner(new ErrorBanner),
      pending(new PendingPanel),
      note(new QLabel),
      instruction(new GrowingTextEdit) {
    connectRoute();
    sidebarButton->setObjectName(QStringLiteral("small"));
    sidebarButton->setAccessibleName(tr("Show the sidebar"));
    sidebarButton->setToolTip(tr("Show the sidebar"));
    connect(sidebarButton, &QPushButton::clicked, this, &WorkspaceView::sidebarWanted);
    showPendingButton->setAccessibleName(tr("Show the pending transfer"));
    connect(showPendingButton, &QPushButton::clicked, this, &WorkspaceView::showPending);
    connect(openInCodexButton, &QPushButton::clicked, this, &WorkspaceView::openInCodex);
    for (auto* button : {newBelowButton, showPendingButton, openInCodexButton})
        button->setObjectName(QStringLiteral("small"));
    progress->setRange(0, 0);
    progress->setTextVisible(false);
    auto policy = progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    progress->setSizePolicy(policy);

    auto large = statusTitle->font();
    large.setPointSizeF(large.pointSizeF() * 1.3);
    large.setWeight(QFont::Bold);
    statusTitle->setFont(large);
    for (auto* label : {elapsed, statusLine, note}) label->setForegroundRole(QPalette::PlaceholderText);
    for (auto* label : {statusTitle, statusLine, note}) {
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

    auto* top = new QHBoxLayout;
    top->setSpacing(10);
    top->addWidget(sidebarButton);
    top->addWidget(route, 1);
    auto* title = new QHBoxLayout;
    title->addWidget(statusTitle, 1);
    title->addWidget(elapsed, 0, Qt::AlignBottom);
    title->addWidget(newBelowButton);
    title->addWidget(showPendingButton);
    title->addWidget(openInCodexButton);
    status->setSpacing(8);
    status->addLayout(title);
    status->addWidget(statusLine);
    column->setSpacing(8);
    column->addLayout(top);
    column->addWidget(progress);
    column->addLayout(status);
    column->addWidget(linked);
    column->addWidget(banner);
    column->addWidget(middle(), 1);
    column->addWidget(pending);
    column->addWidget(note);
    column->addWidget(instruction);
    column->addWidget(bottom());
    offerSidebar(false);
    setNarrow(false);
}

void WorkspaceView::connectRoute() {
    connect(route, &RouteView::sourceActivated, this, &WorkspaceView::sourceWanted);
    connect(route, &RouteView::destinationActivated, this, &WorkspaceView::destinationWanted);
    connect(route, &RouteView::knownMemberWanted, this, &WorkspaceView::memberWanted);
    connect(route, &RouteView::newMemberWanted, this, &WorkspaceView::addNew);
    connect(route, &RouteView::conversationDropped, this, &WorkspaceView::linkDropped);
    connect(route, &RouteView::folderWanted, this, [this] { model.newConversations.chooseCreationFolder(); });
    connect(route, &RouteView::newConversationWanted, this, [this](Agent agent) {
        model.newConversations.useNewDestination(agent);
        render();
    });
    connect(route, &RouteView::routeChosen, this, [this](const QString& id) {
        model.chains.chooseWorkspaceRoute(utf8Text(id));
        render();
    });
    connect(route, &RouteView::memberActivated, this, [this](const QString& id) {
        for (const auto& member : model.workspace.relay().orderedRelayConversations())
            if (member.id() == utf8Text(id)) model.chains.selectChainSource(member);
        render();
    });
}

void WorkspaceView::addNew(RelayLinkEnd end) {
    if (const auto pair = model.workspace.relay().activePair())
        model.chains.beginNewRelayConversation(end, pair->id);
    render();
}

void WorkspaceView::link(const ConversationReference& reference) {
    linked->link(reference);
    render();
}

void WorkspaceView::linkDropped(const QString& path) {
    for (const auto& known : model.catalogue.state().catalog.get()) {
        const auto& source = model.workspace.state().sourceReference;
        if (known.transcriptPath != utf8Text(path) || !source || source->agent == known.agent) continue;
        const auto dropped = known; // The catalogue may change by it.
        return link(dropped);
    }
}

void WorkspaceView::startNew() {
    for (const auto& endpoint : shown.endpoints)
        if (endpoint.canStartNew) return model.newConversations.useNewDestination(endpoint.agent);
}

void WorkspaceView::showPending() {
    model.chains.showPendingWorkspaceTransfer();
    render();
}

void WorkspaceView::openInCodex() {
    const auto codex = model.workspace.relay().cardReference(Agent::codex);
    if (const auto initialID = model.newConversations.state().completedCreation(codex))
        model.newConversations.openCompletedCodexInDesktop(*initialID);
}

void WorkspaceView::offerSidebar(bool isOffered) {
    sidebarButton->setVisible(isOffered);
}

// Where there is little height, what is not needed at once gives way to the messages.
void WorkspaceView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    constexpr int leastHeight = 560;
    if (std::exchange(isShort, height() < leastHeight) == (height() < leastHeight)) return;
    instruction->setFewestLines(isShort ? 1 : 2);
    pending->setShort(isShort);
    render();
}

// The status takes one line, and copying stands in a menu.
void WorkspaceView::setNarrow(bool newIsNarrow) {
    isNarrow = newIsNarrow;
    const int side = isNarrow ? 12 : 20, above = isNarrow ? 10 : 14;
    column->setContentsMargins(side, above, side, above);
    status->setDirection(isNarrow ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    status->setStretch(0, 0);
    status->setStretch(1, isNarrow ? 1 : 0);
    statusTitle->setWordWrap(!isNarrow);
    render();
}

QWidget* WorkspaceView::middle() {
    stack = new QStackedWidget;
    welcome = new WelcomeView;
    connect(welcome, &WelcomeView::openFileWanted, this, &WorkspaceView::openFileWanted);
    connect(welcome, &WelcomeView::pasteWanted, this, &WorkspaceView::pasteConversation);
    connect(welcome, &WelcomeView::samplesWanted, this, &WorkspaceView::samplesWanted);

    messages = new MessageListView;
    newBelowButton->hide();
    connect(newBelowButton, &QPushButton::clicked, messages, &MessageListView::showEnd);
    connect(messages, &MessageListView::unseenChanged, this, [this](std::size_t count) {
        newBelowButton->setText(tr("%1 new ↓").arg(count));
        newBelowButton->setAccessibleName(tr("%1 new messages below").arg(count));
        newBelowButton->setVisible(count > 0);
    });
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
    stack->setMinimumHeight(56); // Where the window is small, what is below comes first.
    return stack;
}

QWidget* WorkspaceView::bottom() {
    size = new FittingLabel;
    size->setForegroundRole(QPalette::PlaceholderText);
    previewButton = new QPushButton;
    connect(previewButton, &QPushButton::clicked, this, &WorkspaceView::togglePreview);
    copyButton = new QPushButton(tr("Copy"));
    copyButton->setAccessibleName(tr("Copy relay"));
    copyButton->setToolTip(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C).toString(QKeySequence::NativeText));
    connect(copyButton, &QPushButton::clicked, this, &WorkspaceView::copyRelay);
    moreButton = new QPushButton(QStringLiteral("⋯"));
    moreButton->setObjectName(QStringLiteral("more"));
    moreButton->setAccessibleName(tr("More actions"));
    auto* more = new QMenu(moreButton);
    connect(more->addAction(tr("Copy")), &QAction::triggered, this, &WorkspaceView::copyRelay);
    moreButton->setMenu(more);
    sendButton = new QPushButton;
    makePrimary(*sendButton, true);
    connect(sendButton, &QPushButton::clicked, this, &WorkspaceView::sendRelay);

    auto* holder = new QWidget;
    auto* row = new QHBoxLayout(holder);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(size, 1);
    row->addWidget(previewButton);
    row->addWidget(copyButton);
    row->addWidget(moreButton);
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
    showPendingButton->setVisible(shown.state.otherPending);
    openInCodexButton->setVisible(shown.canOpenCodex);
    // What the panel says of its message is not said twice.
    banner->render(shown.isErrorOfPending ? std::nullopt : shown.error);
    renderProgress();
    renderMiddle();
    linked->render();
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
        messages->show({.conversation = shown.conversation,
                        .rangeStart = start,
                        .rangeTitle = shown.startsAtCheckpoint ? tr("new since the last relay")
                                                               : tr("the range starts here"),
                        .assistantLabel = shown.assistantLabel,
                        .relayed = shown.relayed,
                        .now = desktop.loop.now()});
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
    note->setText(noteText(shown, !text.empty()));
    // The field says the same while it is empty.
    const bool isKnown = shown.hasPending && text.empty() && !shown.nextError && !shown.nextRange;
    note->setVisible(!note->text().isEmpty() && !(isShort && isKnown));
}

// Where nothing can be sent, copying is what can be done.
void WorkspaceView::renderBottom() {
    size->setTexts(sizeTexts(shown));
    const auto previewTitle = showsPreview ? tr("Hide preview") : tr("Preview");
    previewButton->setText(isNarrow ? previewTitle : withShortcut(previewTitle, Qt::CTRL | Qt::Key_P));
    previewButton->setAccessibleName(previewTitle);
    previewButton->setEnabled(shown.state.hasContent);
    const bool canGoOut = !shown.routes.empty() || shown.isStart;
    copyButton->setEnabled(shown.canCopy);
    // There is one for the saved message beside that.
    copyButton->setVisible(!shown.pendingMessage && !(isNarrow && canGoOut));
    moreButton->menu()->actions().constFirst()->setEnabled(shown.canCopy);
    moreButton->setVisible(!shown.pendingMessage && isNarrow && canGoOut);
    makePrimary(*copyButton, !canGoOut);
    const auto title = qtText(shown.primaryTitle);
    sendButton->setText(withShortcut(title, Qt::CTRL | Qt::Key_Return));
    sendButton->setAccessibleName(title);
    sendButton->setEnabled(shown.canSend);
    sendButton->setVisible(canGoOut);
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
    (showsPreview ? preview : static_cast<QWidget*>(instruction))->setFocus(Qt::ShortcutFocusReason);
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
    const auto& routes = shown.routes;
    const auto taken =
        std::find_if(routes.begin(), routes.end(), [](const auto& route) { return route.selected; });
    for (const auto& route : routes)
        if (taken == routes.end() || (route.fromID == taken->toID && route.toID == taken->fromID))
            return model.chains.chooseWorkspaceRoute(route.id);
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

void WorkspaceView::focusCard(std::size_t place) {
    route->focusCard(place);
}

void WorkspaceView::focusMessages() {
    messages->setFocus(Qt::ShortcutFocusReason);
}

} // namespace orvel
