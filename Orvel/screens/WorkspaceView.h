#pragma once
// The main zone of the window: the route, the status, the messages with their range, the saved message that
// is on its way, the instruction, the preview, and what is done with it all.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/OrvelWorkspaceSnapshot.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QWidget>

namespace orvel {

class ErrorBanner;
class GrowingTextEdit;
class MessageListView;
class PendingPanel;
class RouteView;
class WelcomeView;

class WorkspaceView : public QWidget {
    Q_OBJECT

  public:
    /// The model and the ports outlive the view.
    WorkspaceView(OrvelModel& model, const Desktop& desktop, QWidget* parent = nullptr);

    /// Brings the workspace up to date with the model.
    void render();
    /// The same for a turn that is watched, which begins and ends without notice.
    void renderProgress();
    /// What was rendered last.
    const OrvelWorkspaceSnapshot& snapshot() const { return shown; }

    void focusInstruction();
    void focusSource();
    void focusDestination();
    void focusMessages();
    /// Shows or hides the exact text.
    void togglePreview();
    /// Shows or hides the text of the saved message.
    void toggleSavedMessage();

    /// What the primary button does: sends the message, or the saved one again.
    void sendRelay();
    void copyRelay();
    void copySavedMessage();
    void submitDraft();
    /// Lets the message go the other way.
    void turnRound();
    /// Leaves what is open for a field in which a conversation can be pasted.
    void pasteConversation();
    /// No longer offers the samples.
    void withdrawSamples();

  signals:
    void openFileWanted();
    void sourceWanted();
    void destinationWanted();
    void samplesWanted();

  private:
    QWidget* middle();
    QWidget* bottom();
    void renderMiddle();
    void renderPreview();
    void renderInstruction();
    void renderBottom();

    OrvelModel& model;
    Desktop desktop;
    OrvelWorkspaceSnapshot shown;
    RouteView* route;
    QProgressBar* progress;
    QLabel *statusTitle, *elapsed, *statusLine;
    ErrorBanner* banner;
    QStackedWidget* stack;
    WelcomeView* welcome;
    MessageListView* messages;
    QPlainTextEdit *manual, *preview;
    QWidget* loading;
    PendingPanel* pending;
    QLabel* nextNote;
    GrowingTextEdit* instruction;
    QLabel* size;
    QPushButton *previewButton, *copyButton, *sendButton;
    QTimer clock; // Ticks only while a turn is watched or a delivery goes into Claude.
    bool isPasting = false;
    bool showsPreview = false;
    std::string shownPreview;
};

} // namespace orvel
