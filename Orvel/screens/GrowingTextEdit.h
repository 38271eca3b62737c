#pragma once
// A plain text field that grows with its text, from two lines to a share of the window.

#include <string>

#include <QPlainTextEdit>

namespace orvel {

class GrowingTextEdit : public QPlainTextEdit {
    Q_OBJECT

  public:
    explicit GrowingTextEdit(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    int heightOfLines(int lines) const;
};

} // namespace orvel
