#pragma once
// A plain text field that grows with its text, from a few lines to a share of the window.

#include <string>

#include <QPlainTextEdit>

namespace orvel {

class GrowingTextEdit : public QPlainTextEdit {
    Q_OBJECT

  public:
    explicit GrowingTextEdit(QWidget* parent = nullptr);

    /// How many lines it is high while it holds fewer.
    void setFewestLines(int lines);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    int heightOfLines(int lines) const;

    int fewestLines = 2;
};

} // namespace orvel
