#pragma once
// Tells that a typed command was stopped, while the person looks at another application: a small window at
// the top right of the screen that never takes the keyboard and goes by itself.

#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <QFrame>
#include <QLabel>

namespace orvel {

class FailureNotice : public QFrame {
    Q_OBJECT

  public:
    /// For how long it stands.
    static constexpr std::chrono::seconds duration{12};

    /// The loop outlives the notice.
    explicit FailureNotice(MainLoop& loop);

    /// Shows the message in place of one that still stands. `context` may be empty; `openDetails` is what
    /// "View in Orvel" does.
    void tell(const std::string& message, const std::string& context, std::function<void()> openDetails);

    /// Takes it away, if it stands.
    void dismiss();

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void place();

    MainLoop& loop;
    QLabel *message, *context;
    std::function<void()> openDetails;
    std::unique_ptr<Timer> dismissal;
};

} // namespace orvel
