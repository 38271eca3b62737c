#pragma once
// How far a delivery has come, as steps that fill from left to right.

#include <cstddef>

#include <QStringList>
#include <QWidget>

namespace orvel {

class DeliverySteps : public QWidget {
    Q_OBJECT

  public:
    explicit DeliverySteps(QStringList names, QWidget* parent = nullptr);

    /// How many steps are done; the one that comes next is marked where it failed.
    void render(std::size_t done, bool failed);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QSize sizeWith(int line) const;

    const QStringList names;
    std::size_t done = 0;
    bool failed = false;
};

} // namespace orvel
