#pragma once
// What the workspace shows while no conversation is open: what to do, and where Orvel has looked.

#include "Orvel/model/OrvelModel.h"

#include <QLabel>
#include <QWidget>

namespace orvel {

class WelcomeView : public QWidget {
    Q_OBJECT

  public:
    explicit WelcomeView(QWidget* parent = nullptr);

    void render(const OrvelModel& model);

  signals:
    void openFileWanted();
    void pasteWanted();
    void samplesWanted();

  private:
    QLabel *title, *text;
};

} // namespace orvel
