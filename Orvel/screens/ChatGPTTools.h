#pragma once
// Tools for whoever looks into how Orvel reads ChatGPT's page.

#include <functional>
#include <string>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QWidget>

namespace orvel {

class ChatGPTConsultationModel;

class ChatGPTTools : public QWidget {
    Q_OBJECT

  public:
    using Report = std::function<void(const std::string& text)>;

    /// The model outlives it. `report` gets what a tool came to, as long as this lives.
    ChatGPTTools(ChatGPTConsultationModel& model, Report report, QWidget* parent = nullptr);

    void render();

  private:
    /// Hands a tool's text to the report, if this still lives then.
    Report reportLater();

    ChatGPTConsultationModel& model;
    Report report;
    QPushButton *stability, *receipt, *preparation;
    QLineEdit *filename, *conversation;
    QLabel* obstacle;
};

} // namespace orvel
