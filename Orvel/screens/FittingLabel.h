#pragma once
// A line that says as much as there is room for.

#include <QLabel>
#include <QStringList>

namespace orvel {

class FittingLabel : public QLabel {
    Q_OBJECT

  public:
    explicit FittingLabel(QWidget* parent = nullptr);

    /// The same in fewer and fewer words: the first that fits is shown, the last shortened if it must be. The
    /// tool tip has all of the first.
    void setTexts(QStringList newTexts);

    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void fit();

    QStringList texts;
};

} // namespace orvel
