#pragma once
// The card of one conversation of the relay: agent, role and title under a stripe of the agent's colour.

#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <optional>

#include <QFrame>
#include <QLabel>

namespace orvel {

class SourceCard : public QFrame {
    Q_OBJECT

  public:
    explicit SourceCard(QWidget* parent = nullptr);

    /// Shows the endpoint; without one the card invites to choose a conversation.
    void render(const std::optional<OrvelWorkspaceSnapshot::Endpoint>& newEndpoint);

  signals:
    /// The person wants to choose another conversation.
    void activated();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void showTitle();

    std::optional<OrvelWorkspaceSnapshot::Endpoint> endpoint;
    QLabel *name, *role, *title;
};

} // namespace orvel
