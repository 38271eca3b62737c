#pragma once
// What the workspace shows while no conversation is open: what to do, and where Orvel has looked.

#include "Orvel/model/Catalogue.h"

#include <QLabel>
#include <QPushButton>
#include <QWidget>

namespace orvel {

class WelcomeView : public QWidget {
    Q_OBJECT

  public:
    explicit WelcomeView(QWidget* parent = nullptr);

    void render(const Catalogue& catalogue);

    /// No longer offers the samples.
    void withdrawSamples();

  signals:
    void openFileWanted();
    void pasteWanted();
    void samplesWanted();

  private:
    QLabel *title, *text;
    QPushButton* samples;
};

} // namespace orvel
