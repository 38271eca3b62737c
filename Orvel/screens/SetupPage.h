#pragma once
// The setup of the typed command: three steps, each with its state, one after the other.

#include "Orvel/screens/SettingsPage.h"
#include "Orvel/screens/SettingsParts.h"

#include <array>
#include <cstddef>
#include <functional>

namespace orvel {

class OrvelApp;

class SetupPage : public SettingsPage {
    Q_OBJECT

  public:
    /// The application outlives the page.
    explicit SetupPage(OrvelApp& app);
    void render() override;

  signals:
    /// The person leaves the setup as it is.
    void restSkipped();

  private:
    struct Step {
        QFrame* frame;
        StateMark* mark;
        QLabel* state;
        QPushButton *skip, *action;
        bool isSkipped = false;
    };

    Step makeStep(std::size_t place, const QString& title, const QString& explanation);
    void render(Step& step, bool isDone, bool isCurrent, const QString& state);

    OrvelApp& app;
    std::array<Step, 3> steps;
    QPushButton* rest;
};

} // namespace orvel
