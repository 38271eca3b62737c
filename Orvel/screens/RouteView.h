#pragma once
// The top of the workspace: the cards of the conversations, the source first, and the arrows between them.

#include "Orvel/model/OrvelWorkspaceSnapshot.h"

#include <array>

#include <QPushButton>
#include <QWidget>

namespace orvel {

class ConversationCard;

class RouteView : public QWidget {
    Q_OBJECT

  public:
    explicit RouteView(QWidget* parent = nullptr);

    void render(const OrvelWorkspaceSnapshot& snapshot);

    /// Puts the focus on the source's card; does nothing if it is not shown.
    void focusSource();
    void focusDestination();

  signals:
    /// The person wants to choose another conversation for the card.
    void sourceActivated();
    void destinationActivated();
    /// The person wants the message to go this way.
    void routeChosen(const QString& routeID);

  private:
    // The button for one direction. It stays enabled while it can't be followed, so that it keeps the focus.
    struct Arrow {
        QPushButton* button;
        std::string routeID;
    };
    static void renderArrow(Arrow& arrow, const OrvelWorkspaceSnapshot& snapshot, const std::string& fromID);

    ConversationCard *source, *destination;
    QWidget* arrowColumn;
    std::array<Arrow, 2> arrows; // Away from the source, and back.
};

} // namespace orvel
