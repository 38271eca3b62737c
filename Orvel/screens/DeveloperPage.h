#pragma once
// Tools for whoever looks into how Orvel reads the agents' windows.

#include "Orvel/screens/SettingsPage.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

namespace orvel {

class ChatGPTTools;
class OrvelApp;

class DeveloperPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The application outlives the page.
    explicit DeveloperPage(OrvelApp& app);
    void render() override;

  private:
    void inspect();
    void showReport(const std::string& text);

    OrvelApp& app;
    QPushButton* inspection;
    QLabel* obstacle;
    QPushButton* recording;
    ChatGPTTools* chatGPT;
    QPlainTextEdit* report;
};

} // namespace orvel
