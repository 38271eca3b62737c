#pragma once
// In a sample, Claude's window as somebody sees it who works there: the conversations, what Claude was sent,
// and an editor in which a command can be typed. What stands there is the simulated Claude's.

#include "Orvel/model/OrvelModel.h"

#include <string>

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTimer>
#include <QWidget>

namespace orvel {

class SampleClaude;

class SampleAgentWindow : public QWidget {
    Q_OBJECT

  public:
    /// Both outlive the window.
    SampleAgentWindow(OrvelModel& model, SampleClaude& claude);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void fillConversations();
    void sitDown();
    void render();

    OrvelModel& model;
    SampleClaude& claude;
    QComboBox* conversations;
    QLabel* received;
    QPlainTextEdit* editor;
    QTimer looking; ///< The simulated program tells nobody of its changes.
    bool isRendering = false;
    ChangeSignal::Subscription subscription;
};

} // namespace orvel
