#pragma once
// The top of the workspace: a card for each conversation of the link, arrows both ways between neighbours,
// and at the ends the buttons by which the link grows.

#include "Orvel/model/OrvelWorkspaceSnapshot.h"
#include "OrvelCore/relay/RelayLink.h"

#include <array>
#include <string>

#include <QLabel>
#include <QPushButton>
#include <QWidget>

namespace orvel {

class ConversationCard;

class RouteView : public QWidget {
    Q_OBJECT

  public:
    explicit RouteView(QWidget* parent = nullptr);

    void render(const OrvelWorkspaceSnapshot& snapshot);

    /// Puts the focus on the card at this place; does nothing if it is not shown.
    void focusCard(std::size_t place);

  signals:
    /// The person wants to choose another conversation for the card.
    void sourceActivated();
    void destinationActivated();
    /// The message is to go out from this card's conversation of the open chain.
    void memberActivated(const QString& endpointID);
    /// The person wants the message to go this way.
    void routeChosen(const QString& routeID);
    /// A new conversation of this agent is to take its card.
    void newConversationWanted(orvel::Agent agent);
    void folderWanted();
    /// The conversation of this transcript is to be linked with the source.
    void conversationDropped(const QString& path);
    /// The link is to grow at this end, by a new conversation or by a known one.
    void newMemberWanted(orvel::RelayLinkEnd end);
    void knownMemberWanted(orvel::RelayLinkEnd end);

  private:
    // The button for one direction. It stays enabled while it can't be followed, so that it keeps the focus.
    struct Arrow {
        QPushButton* button = nullptr;
        std::string routeID;
    };
    struct Arrows {
        QWidget* column = nullptr;
        std::array<Arrow, 2> directions; // To the right, and back.
    };
    struct Extension {
        QWidget* column = nullptr;
        QPushButton* button = nullptr;
        QLabel* caption = nullptr;
    };

    Arrows makeArrows();
    Extension makeExtension(RelayLinkEnd end);
    ConversationCard* makeCard(std::size_t place);
    void activate(std::size_t place);
    void renderCard(std::size_t place);
    void renderArrow(Arrow& arrow, std::size_t from, std::size_t to);
    void renderExtension(const Extension& extension, RelayLinkEnd end);

    OrvelWorkspaceSnapshot shown;
    std::array<ConversationCard*, RelayLink::maximumConversations> cards{};
    std::array<Arrows, RelayLink::maximumConversations - 1> arrows;
    std::array<Extension, allLinkEnds.size()> extensions;
};

} // namespace orvel
