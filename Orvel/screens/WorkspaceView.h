#pragma once
// The main zone of the window: the source card, the status, the messages with their range, the instruction,
// the preview, and the copy.

#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QWidget>

namespace orvel {

class ErrorBanner;
class GrowingTextEdit;
class MessageListView;
class SourceCard;
class WelcomeView;

class WorkspaceView : public QWidget {
    Q_OBJECT

  public:
    WorkspaceView(OrvelModel& model, Pasteboard& pasteboard, QWidget* parent = nullptr);

    /// Brings the workspace up to date with the model.
    void render();

    void focusInstruction();
    void focusCard();
    void focusMessages();
    /// Shows or hides the exact text.
    void togglePreview();
    void copyRelay();
    /// Leaves what is open for a field in which a conversation can be pasted.
    void pasteConversation();

  signals:
    void openFileWanted();
    void chooseConversationWanted();
    void samplesWanted();

  private:
    QWidget* middle();
    QWidget* bottom();
    void renderMiddle(const OrvelWorkspaceSnapshot& snapshot);
    void renderPreview();

    OrvelModel& model;
    Pasteboard& pasteboard;
    SourceCard* card;
    QProgressBar* progress;
    QLabel *statusTitle, *statusLine;
    ErrorBanner* banner;
    QStackedWidget* stack;
    WelcomeView* welcome;
    MessageListView* messages;
    QPlainTextEdit *manual, *preview;
    QWidget* loading;
    GrowingTextEdit* instruction;
    QLabel* size;
    QPushButton *previewButton, *copyButton;
    bool isPasting = false;
    bool showsPreview = false;
    std::string shownPreview;
};

} // namespace orvel
