#include "Orvel/screens/RouteView.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/ConversationCard.h"

#include <algorithm>

#include <QHBoxLayout>
#include <QStyle>
#include <QVBoxLayout>

namespace orvel {

namespace {

// Where the message would go, if no conversation is chosen for it yet.
QString destinationInvitation(const OrvelWorkspaceSnapshot& snapshot) {
    if (snapshot.canLink) return RouteView::tr("Choose a conversation");
    return RouteView::tr("Copy the text and paste it there");
}

} // namespace

RouteView::RouteView(QWidget* parent)
    : QWidget(parent),
      source(new ConversationCard),
      destination(new ConversationCard),
      arrowColumn(new QWidget),
      arrows{{{new QPushButton(QStringLiteral("→")), {}}, {new QPushButton(QStringLiteral("←")), {}}}} {
    connect(source, &ConversationCard::clicked, this, &RouteView::sourceActivated);
    connect(destination, &ConversationCard::clicked, this, &RouteView::destinationActivated);

    auto* column = new QVBoxLayout(arrowColumn);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addStretch();
    for (auto& arrow : arrows) {
        arrow.button->setObjectName(QStringLiteral("arrow"));
        connect(arrow.button, &QPushButton::clicked, this,
                [this, &arrow] { emit routeChosen(qtText(arrow.routeID)); });
        column->addWidget(arrow.button);
    }
    column->addStretch();

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    row->addWidget(source, 1);
    row->addWidget(arrowColumn);
    row->addWidget(destination, 1);
}

void RouteView::render(const OrvelWorkspaceSnapshot& snapshot) {
    const bool hasCards = snapshot.endpoints.size() == 2;
    source->render(hasCards ? std::optional(snapshot.endpoints[0]) : std::nullopt,
                   tr("Choose a conversation in the sidebar"));
    destination->setVisible(hasCards);
    arrowColumn->setVisible(hasCards);
    if (!hasCards) return;
    destination->render(snapshot.endpoints[1], destinationInvitation(snapshot));
    renderArrow(arrows[0], snapshot, snapshot.endpoints[0].id);
    renderArrow(arrows[1], snapshot, snapshot.endpoints[1].id);
}

// Without a pair there is one way, and nothing to choose.
void RouteView::renderArrow(Arrow& arrow, const OrvelWorkspaceSnapshot& snapshot, const std::string& fromID) {
    const auto route = std::find_if(snapshot.routes.begin(), snapshot.routes.end(),
                                    [&](const auto& known) { return known.fromID == fromID; });
    const bool isKnown = route != snapshot.routes.end();
    const bool isSelected = isKnown ? route->selected : fromID == snapshot.endpoints[0].id;
    arrow.routeID = isKnown ? route->id : "";
    arrow.button->setVisible(isKnown || isSelected);
    arrow.button->setEnabled(isKnown);
    arrow.button->setProperty("selected", isSelected);
    arrow.button->style()->unpolish(arrow.button);
    arrow.button->style()->polish(arrow.button);
    const auto title = isKnown ? qtText(route->title) : tr("No destination yet");
    arrow.button->setAccessibleName(isSelected && isKnown ? tr("%1, selected").arg(title) : title);
    arrow.button->setToolTip(isSelected ? title : tr("Turn round: %1").arg(title));
}

void RouteView::focusSource() {
    source->setFocus(Qt::ShortcutFocusReason);
}

void RouteView::focusDestination() {
    destination->setFocus(Qt::ShortcutFocusReason);
}

} // namespace orvel
