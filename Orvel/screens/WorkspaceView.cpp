#include "Orvel/screens/WorkspaceView.h"

#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/ErrorBanner.h"
#include "Orvel/screens/ExactText.h"
#include "Orvel/screens/GrowingTextEdit.h"
#include "Orvel/screens/MessageListView.h"
#include "Orvel/screens/SourceCard.h"
#include "Orvel/screens/WelcomeView.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLocale>
#include <QVBoxLayout>

namespace orvel {

namespace {

// A text editor takes long over more than this, in bytes. What is copied is never cut.
constexpr std::size_t mostPreviewed = 1'000'000;

// Sets an editor's text without moving the cursor of somebody who just typed the same.
void showText(QPlainTextEdit& editor, const std::string& text) {
    if (exactText(*editor.document()) == text) return;
    const QSignalBlocker quiet(&editor);
    editor.setPlainText(qtText(text));
}

// How much would be relayed to whom, and why it can't be copied yet.
QString previewText(const OrvelWorkspaceSnapshot& snapshot) {
    if (!snapshot.state.hasContent) return {};
    const auto bytes = QLocale().toString(static_cast<qulonglong>(snapshot.previewSize));
    auto text = WorkspaceView::tr("%1 bytes for %2").arg(bytes, qtText(snapshot.destination));
    if (snapshot.state.busy)
        text += WorkspaceView::tr(" · %1 is still working; F5 looks again").arg(qtText(snapshot.sourceLabel));
    return text;
}

} // namespace

WorkspaceView::WorkspaceView(OrvelModel& model, Pasteboard& pasteboard, QWidget* parent)
    : QWidget(parent),
      model(model),
      pasteboard(pasteboard),
      card(new SourceCard),
      progress(new QProgressBar),
      statusTitle(new QLabel),
      statusLine(new QLabel),
      banner(new ErrorBanner),
      instruction(new GrowingTextEdit) {
    connect(card, &SourceCard::activated, this, &WorkspaceView::chooseConversationWanted);
    card->setMaximumWidth(520);
    progress->setRange(0, 0);
    progress->setTextVisible(false);
    progress->setAccessibleName(tr("Loading conversation"));
    auto policy = progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    progress->setSizePolicy(policy);

    auto large = statusTitle->font();
    large.setPointSizeF(large.pointSizeF() * 1.3);
    large.setWeight(QFont::Bold);
    statusTitle->setFont(large);
    statusLine->setForegroundRole(QPalette::PlaceholderText);
    for (auto* label : {statusTitle, statusLine}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    connect(banner, &ErrorBanner::dismissed, this, [this] { this->model.dismissError(); });

    instruction->setPlaceholderText(tr("Instructions for the relay (optional)"));
    instruction->setAccessibleName(tr("Instructions"));
    connect(instruction, &QPlainTextEdit::textChanged, this,
            [this] { this->model.setInstruction(exactText(*instruction->document())); });

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 14, 20, 14);
    column->setSpacing(8);
    column->addWidget(card);
    column->addWidget(progress);
    column->addWidget(statusTitle);
    column->addWidget(statusLine);
    column->addWidget(banner);
    column->addWidget(middle(), 1);
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
            [this](const QString& id) { model.selectRange(utf8Text(id)); });

    manual = new QPlainTextEdit;
    manual->setPlaceholderText(tr("Paste the conversation here"));
    manual->setAccessibleName(tr("Pasted conversation"));
    manual->setTabChangesFocus(true);
    connect(manual, &QPlainTextEdit::textChanged, this,
            [this] { model.setManualText(exactText(*manual->document())); });

    preview = new QPlainTextEdit;
    preview->setReadOnly(true);
    preview->setAccessibleName(tr("Preview"));
    preview->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    loading = new QWidget;

    for (QWidget* page : {static_cast<QWidget*>(welcome), static_cast<QWidget*>(messages),
                          static_cast<QWidget*>(manual), static_cast<QWidget*>(preview), loading})
        stack->addWidget(page);
    return stack;
}

QWidget* WorkspaceView::bottom() {
    size = new QLabel;
    size->setForegroundRole(QPalette::PlaceholderText);
    size->setWordWrap(true);
    previewButton = new QPushButton;
    connect(previewButton, &QPushButton::clicked, this, &WorkspaceView::togglePreview);
    copyButton = new QPushButton(tr("Copy"));
    copyButton->setObjectName(QStringLiteral("primary"));
    copyButton->setToolTip(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C).toString(QKeySequence::NativeText));
    connect(copyButton, &QPushButton::clicked, this, &WorkspaceView::copyRelay);

    auto* holder = new QWidget;
    auto* row = new QHBoxLayout(holder);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(size, 1);
    row->addWidget(previewButton);
    row->addWidget(copyButton);
    return holder;
}

void WorkspaceView::render() {
    const auto snapshot = workspaceSnapshot(model);
    const auto& session = model.session();
    if (session.conversation.get() || session.isLoading) isPasting = false;
    if (!snapshot.state.hasContent) showsPreview = false;

    card->render(snapshot.endpoints.empty() ? std::nullopt : std::optional(snapshot.endpoints.front()));
    progress->setVisible(snapshot.state.loading);
    statusTitle->setText(qtText(snapshot.statusTitle()));
    statusLine->setText(qtText(session.status.get()));
    banner->render(snapshot.error);
    renderMiddle(snapshot);
    showText(*instruction, session.instruction);
    size->setText(previewText(snapshot));
    const auto shortcut = QKeySequence(Qt::CTRL | Qt::Key_P).toString(QKeySequence::NativeText);
    previewButton->setText((showsPreview ? tr("Hide preview  %1") : tr("Preview  %1")).arg(shortcut));
    previewButton->setEnabled(snapshot.state.hasContent);
    copyButton->setEnabled(snapshot.canCopy);
}

void WorkspaceView::renderMiddle(const OrvelWorkspaceSnapshot& snapshot) {
    const auto& session = model.session();
    showText(*manual, session.manualText);
    if (const auto& conversation = session.conversation.get()) {
        const auto start = conversation->messages.size() - snapshot.messages.span().size();
        messages->show(conversation, start,
                       model.startsAtCheckpoint() ? tr("new since the last relay")
                                                  : tr("the range starts here"),
                       model.sourceSpeakerLabel());
    }
    QWidget* page = welcome;
    if (showsPreview) {
        renderPreview();
        page = preview;
    } else if (session.conversation.get()) {
        page = messages;
    } else if (session.isLoading) {
        page = loading;
    } else if (isPasting || !session.manualText->empty()) {
        page = manual;
    } else {
        welcome->render(model);
    }
    stack->setCurrentWidget(page);
}

void WorkspaceView::renderPreview() {
    auto text = model.preview();
    if (text == shownPreview) return;
    shownPreview = text;
    if (text.size() > mostPreviewed) {
        auto end = mostPreviewed;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
        const auto rest = text.size() - end;
        text.resize(end);
        preview->setPlainText(
            qtText(text) +
            tr("\n\n[Shown up to here. The copy holds %1 bytes more.]").arg(static_cast<qulonglong>(rest)));
    } else {
        preview->setPlainText(qtText(text));
    }
}

void WorkspaceView::togglePreview() {
    showsPreview = !showsPreview && !model.preview().empty();
    render();
    if (showsPreview) preview->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::copyRelay() {
    if (workspaceSnapshot(model).canCopy || !model.session().conversation.get()) model.copy(pasteboard);
}

void WorkspaceView::pasteConversation() {
    model.useManualInput();
    isPasting = true;
    showsPreview = false;
    render();
    manual->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::focusInstruction() {
    instruction->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::focusCard() {
    card->setFocus(Qt::ShortcutFocusReason);
}

void WorkspaceView::focusMessages() {
    messages->setFocus(Qt::ShortcutFocusReason);
}

} // namespace orvel
