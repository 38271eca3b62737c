#pragma once
// How far a message has come, as three steps that fill from left to right.

#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <QWidget>

namespace orvel {

class DeliverySteps : public QWidget {
    Q_OBJECT

  public:
    explicit DeliverySteps(QWidget* parent = nullptr);

    /// `failed` marks the step that comes next as the one that failed.
    void render(OrvelWorkspaceSnapshot::Delivery newReached, bool newFailed);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    OrvelWorkspaceSnapshot::Delivery reached = OrvelWorkspaceSnapshot::Delivery::saved;
    bool failed = false;
};

} // namespace orvel
