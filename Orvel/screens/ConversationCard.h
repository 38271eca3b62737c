#pragma once
// The card of one conversation of the relay: agent, role and title under a stripe of the agent's colour. A
// button, by which another conversation is chosen.

#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <optional>

#include <QLabel>
#include <QPushButton>

namespace orvel {

class ConversationCard : public QPushButton {
    Q_OBJECT

  public:
    explicit ConversationCard(QWidget* parent = nullptr);

    /// Shows the endpoint; where no conversation is chosen, `newInvitation` stands in place of the title.
    void render(const std::optional<OrvelWorkspaceSnapshot::Endpoint>& newEndpoint,
                const QString& newInvitation);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    bool isEmpty() const { return !endpoint || endpoint->isNew; }
    void showTitle();

    std::optional<OrvelWorkspaceSnapshot::Endpoint> endpoint;
    QString invitation;
    QLabel *name, *role, *title;
};

} // namespace orvel
