#pragma once
// How far a message has come, as three steps that fill from left to right.

#include "Orvel/model/TransferStanding.h"

#include <QWidget>

namespace orvel {

class DeliverySteps : public QWidget {
    Q_OBJECT

  public:
    explicit DeliverySteps(QWidget* parent = nullptr);

    /// The step that comes next is marked where it failed.
    void render(TransferStanding standing);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    std::size_t reached = 0;
    bool failed = false;
};

} // namespace orvel
