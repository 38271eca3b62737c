#pragma once
// The sheet that asks ChatGPT about a repository: the folder, what goes in and what is left out, the
// question, how far its delivery has come, and what can be done.

#include "Orvel/model/ChatGPTConsultationModel.h"

#include <cstdint>

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QTreeView>

namespace orvel {

class ArchiveListModel;
class DeliverySteps;

class ChatGPTConsultationView : public QDialog {
    Q_OBJECT

  public:
    /// The model and the signal of its changes outlive the sheet.
    ChatGPTConsultationView(ChatGPTConsultationModel& model, ChangeSignal& changes,
                            QWidget* parent = nullptr);

    /// Brings the sheet to the front.
    void open() override;

  protected:
    void changeEvent(QEvent* event) override;

  private:
    struct List {
        ArchiveListModel* rows;
        QLabel* count;
        QTreeView* view;
    };

    QWidget* folderRow();
    QWidget* listFrame(List& list, const QString& title);
    QWidget* stepsRow();
    QWidget* buttonsRow();
    void renderSoon();
    void render();
    void renderFolder();
    void renderLists();
    void renderStatus();
    void renderCounts();

    ChatGPTConsultationModel& model;
    QLabel *status, *folder, *size, *time, *why;
    QPlainTextEdit *report, *question;
    QProgressBar* share;
    QPushButton *choose, *connection, *recheck, *send, *address;
    QLineEdit* search;
    List goesIn, leftOut;
    DeliverySteps* steps;
    QTimer clock; ///< While something is under way, whose time is shown.
    std::uint64_t shownArchive = 0;
    bool renderIsDue = false;
    ChangeSignal::Subscription subscription;
};

} // namespace orvel
