#pragma once
// The main zone of the window: the route, the status, the messages with their range, the saved message that
// is on its way, the instruction, the preview, and what is done with it all.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/OrvelWorkspaceSnapshot.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QWidget>

namespace orvel {

class ErrorBanner;
class FittingLabel;
class GrowingTextEdit;
class LinkedLine;
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
    void focusCard(std::size_t place);
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
    /// Links the open source with the conversation; for a while that can be undone.
    void link(const ConversationReference& reference);
    /// Leaves the destination for a new conversation, where that may be.
    void startNew();
    /// Opens the pair of the open link whose message waits.
    void showPending();
    /// Shows the new conversation in Codex's own application, where that may be.
    void openInCodex();
    /// Leaves what is open for a field in which a conversation can be pasted.
    void pasteConversation();
    /// No longer offers the samples.
    void withdrawSamples();
    /// Takes less room; for a window in which the sidebar does not stand beside it.
    void setNarrow(bool newIsNarrow);
    /// Whether the button is shown by which the sidebar comes back.
    void offerSidebar(bool isOffered);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  signals:
    void openFileWanted();
    void sourceWanted();
    void destinationWanted();
    void samplesWanted();
    void sidebarWanted();
    /// A known conversation is to join the open link at this end.
    void memberWanted(orvel::RelayLinkEnd end);

  private:
    void connectRoute();
    void linkDropped(const QString& path);
    void addNew(RelayLinkEnd end);
    QWidget* middle();
    QWidget* bottom();
    void renderMiddle();
    void renderPreview();
    void renderInstruction();
    void renderBottom();

    OrvelModel& model;
    Desktop desktop;
    OrvelWorkspaceSnapshot shown;
    QVBoxLayout* column;
    QPushButton* sidebarButton;
    RouteView* route;
    QProgressBar* progress;
    QBoxLayout* status;
    QLabel *statusTitle, *elapsed, *statusLine;
    QPushButton *newBelowButton, *showPendingButton, *openInCodexButton;
    LinkedLine* linked;
    ErrorBanner* banner;
    QStackedWidget* stack;
    WelcomeView* welcome;
    MessageListView* messages;
    QPlainTextEdit *manual, *preview;
    QWidget* loading;
    PendingPanel* pending;
    QLabel* note;
    GrowingTextEdit* instruction;
    FittingLabel* size;
    QPushButton *previewButton, *copyButton, *moreButton, *sendButton;
    QTimer clock; // Ticks only while a turn is watched or a delivery goes into Claude.
    bool isPasting = false;
    bool showsPreview = false;
    bool isNarrow = false, isShort = false;
    std::string shownPreview;
};

} // namespace orvel
