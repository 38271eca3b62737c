#include "Orvel/screens/SampleAgentWindow.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/platform/sample/SampleClaude.h"
#include "Orvel/screens/ExactText.h"
#include "Orvel/screens/SettingsParts.h"

#include <chrono>

#include <QKeyEvent>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr std::chrono::milliseconds lookInterval{50};
constexpr int editorLines = 4;

} // namespace

SampleAgentWindow::SampleAgentWindow(OrvelModel& model, SampleClaude& claude)
    : model(model),
      claude(claude),
      conversations(new QComboBox),
      received(plainLabel()),
      editor(new QPlainTextEdit) {
    setObjectName(QStringLiteral("sampleAgent"));
    setWindowTitle(tr("Claude — a sample, for trying the typed command"));
    auto* explanation = plainLabel();
    explanation->setText(
        tr("Type /orvel with instructions behind it and press Return. Orvel takes the command out of this "
           "editor and puts the instructions into the message for the linked conversation; once a message of "
           "the link was received, it sends the next one by itself. Everything else goes to Claude."));
    conversations->setAccessibleName(tr("Conversation with Claude"));
    editor->setAccessibleName(tr("Claude's editor"));
    editor->setPlaceholderText(tr("Message Claude, or type /orvel"));
    editor->setFixedHeight(editor->fontMetrics().lineSpacing() * editorLines + 16);
    editor->setTabChangesFocus(true);
    editor->setReadOnly(true);
    editor->installEventFilter(this);
    received->setAlignment(Qt::AlignTop | Qt::AlignLeft);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, 16);
    column->setSpacing(10);
    column->addWidget(explanation);
    column->addWidget(conversations);
    column->addWidget(received, 1);
    column->addWidget(editor);
    editor->setFocus();
    resize(460, 420);

    connect(conversations, &QComboBox::activated, this, [this] { sitDown(); });
    connect(editor, &QPlainTextEdit::textChanged, this, [this] {
        if (!isRendering) this->claude.type(utf8Text(editor->toPlainText()));
    });
    connect(&looking, &QTimer::timeout, this, [this] { render(); });
    looking.start(lookInterval);
    subscription = model.changes().subscribe([this] {
        if (conversations->count() == 0) fillConversations();
    });
    fillConversations();
}

void SampleAgentWindow::fillConversations() {
    const auto& state = model.catalogue.state();
    for (const auto& reference : state.catalog.get())
        if (reference.agent == Agent::claude && reference.desktopSessionID)
            conversations->addItem(qtText(state.conversationTitle(reference)),
                                   qtText(*reference.desktopSessionID));
    if (isVisible()) sitDown();
}

void SampleAgentWindow::sitDown() {
    const auto id = utf8Text(conversations->currentData().toString());
    if (!id.empty()) claude.sitDown(id);
}

void SampleAgentWindow::render() {
    auto& program = claude.program();
    const auto* conversation = program.conversation(program.shown());
    const bool isThere = conversation && program.editorElement(); // A page takes a moment to load.
    editor->setReadOnly(!isThere);
    if (!isThere) return;
    const auto text = qtText(program.editorText());
    if (editor->toPlainText() != text) {
        isRendering = true;
        editor->setPlainText(text);
        editor->moveCursor(QTextCursor::End);
        isRendering = false;
    }
    const auto& messages = conversation->received;
    auto seen = messages.empty() ? tr("Nothing was sent to Claude here yet.")
                                 : tr("Claude was sent:\n\n%1").arg(qtText(messages.back()));
    if (conversation->isReplying) seen += tr("\n\nClaude is answering…");
    if (received->text() != seen) received->setText(seen);
}

// Return goes by way of the sample's keyboard, where Orvel may hold it back.
bool SampleAgentWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const bool isReturn = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    if (!isReturn || key->modifiers().testFlag(Qt::ShiftModifier))
        return QWidget::eventFilter(watched, event);
    if (!key->isAutoRepeat()) claude.pressReturn();
    return true;
}

void SampleAgentWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) sitDown();
}

} // namespace orvel
