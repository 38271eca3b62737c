#pragma once
// The saved message of the open pair that has not been seen in its destination: how far it has come, what it
// says, and what can be done about it. Once it has been seen the panel says so and goes.

#include "Orvel/model/OrvelWorkspaceSnapshot.h"

#include <optional>
#include <string>

#include <QFrame>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>

namespace orvel {

class DeliverySteps;

class PendingPanel : public QFrame {
    Q_OBJECT

  public:
    explicit PendingPanel(QWidget* parent = nullptr);

    /// Shows or hides the panel.
    void render(const OrvelWorkspaceSnapshot& snapshot);

    /// Leaves out, while the text is folded, what only reports need.
    void setShort(bool newIsShort);

    /// Folds or unfolds the saved text; does nothing while no message is pending.
    void toggleText();

  signals:
    void copyWanted();
    void submitDraftWanted();

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void renderPending(const OrvelWorkspaceSnapshot& snapshot);
    void renderArrived();
    void showFolded();
    void elide();

    DeliverySteps* steps;
    QLabel *progress, *failure, *attempt, *advice, *firstLine;
    QPlainTextEdit* text;
    QPushButton *fold, *copy, *submit;
    QTimer farewell;
    std::optional<std::string> transferID; // Of the message that is or was shown as pending.
    std::string message;
    QString receiver, progressText;
    bool isUnfolded = false;
    bool isShort = false;
};

} // namespace orvel
