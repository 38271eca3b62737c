#pragma once
// A failure, shown quietly with its full text, a way to copy it and one to put it away.

#include <optional>
#include <string>

#include <QFrame>
#include <QLabel>

namespace orvel {

class ErrorBanner : public QFrame {
    Q_OBJECT

  public:
    explicit ErrorBanner(QWidget* parent = nullptr);

    void render(const std::optional<std::string>& error);

  signals:
    void dismissed();

  private:
    QLabel* text;
};

} // namespace orvel
