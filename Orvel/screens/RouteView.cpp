#include "Orvel/screens/RouteView.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/ConversationCard.h"

#include <algorithm>

#include <QHBoxLayout>
#include <QMenu>
#include <QStyle>
#include <QVBoxLayout>

namespace orvel {

namespace {

// What tells conversations of one title apart: the identifier, or where the file lies.
QStringList detailOf(const OrvelWorkspaceSnapshot::Endpoint& endpoint, const OrvelWorkspaceSnapshot& shown) {
    if (const auto colon = endpoint.id.find(':'); colon != std::string::npos)
        return {qtText(std::string_view(endpoint.id).substr(colon + 1))};
    if (endpoint.role == "From" && shown.sourceFile) return {qtText(*shown.sourceFile)};
    return {};
}

QString titleOf(const OrvelWorkspaceSnapshot::Endpoint& endpoint, const OrvelWorkspaceSnapshot& snapshot) {
    if (!endpoint.isNew) return qtText(endpoint.title);
    return snapshot.isStart ? RouteView::tr("New conversation")
                            : RouteView::tr("Copy the text and paste it there");
}

bool isSource(const OrvelWorkspaceSnapshot::Endpoint& endpoint) {
    return endpoint.role == "From";
}

} // namespace

RouteView::RouteView(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    // In reading order, which is that of the focus.
    extensions[0] = makeExtension(RelayLinkEnd::leading);
    row->addWidget(extensions[0].column);
    for (std::size_t place = 0; place < cards.size(); ++place) {
        if (place > 0) {
            arrows[place - 1] = makeArrows();
            row->addWidget(arrows[place - 1].column);
        }
        cards[place] = makeCard(place);
        row->addWidget(cards[place], 1);
    }
    extensions[1] = makeExtension(RelayLinkEnd::trailing);
    row->addWidget(extensions[1].column);
    for (auto& pair : arrows)
        for (auto& arrow : pair.directions)
            connect(arrow.button, &QPushButton::clicked, this,
                    [this, &arrow] { emit routeChosen(qtText(arrow.routeID)); });
}

ConversationCard* RouteView::makeCard(std::size_t place) {
    auto* card = new ConversationCard;
    connect(card, &ConversationCard::clicked, this, [this, place] { activate(place); });
    connect(card, &ConversationCard::chooseWanted, this, [this, place] {
        if (isSource(shown.endpoints[place]))
            emit sourceActivated();
        else
            emit destinationActivated();
    });
    connect(card, &ConversationCard::newConversationWanted, this,
            [this, place] { emit newConversationWanted(shown.endpoints[place].agent); });
    connect(card, &ConversationCard::folderWanted, this, &RouteView::folderWanted);
    connect(card, &ConversationCard::conversationDropped, this, &RouteView::conversationDropped);
    return card;
}

RouteView::Arrows RouteView::makeArrows() {
    Arrows made{.column = new QWidget, .directions = {}};
    auto* column = new QVBoxLayout(made.column);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addStretch();
    for (std::size_t i = 0; i < made.directions.size(); ++i) {
        auto* button = new QPushButton(i == 0 ? QStringLiteral("→") : QStringLiteral("←"));
        button->setObjectName(QStringLiteral("arrow"));
        made.directions[i].button = button;
        column->addWidget(button);
    }
    column->addStretch();
    return made;
}

RouteView::Extension RouteView::makeExtension(RelayLinkEnd end) {
    Extension made{
        .column = new QWidget, .button = new QPushButton(QStringLiteral("+")), .caption = new QLabel};
    made.button->setObjectName(QStringLiteral("extend"));
    made.button->setAccessibleName(end == RelayLinkEnd::leading ? tr("Add a conversation at the beginning")
                                                                : tr("Add a conversation at the end"));
    auto* menu = new QMenu(made.button);
    connect(menu->addAction(tr("New conversation")), &QAction::triggered, this,
            [this, end] { emit newMemberWanted(end); });
    connect(menu->addAction(tr("Choose a conversation…")), &QAction::triggered, this,
            [this, end] { emit knownMemberWanted(end); });
    made.button->setMenu(menu);
    made.caption->setForegroundRole(QPalette::PlaceholderText);
    made.caption->setAlignment(Qt::AlignHCenter);
    auto small = made.caption->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    made.caption->setFont(small);
    auto* column = new QVBoxLayout(made.column);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addStretch();
    column->addWidget(made.button, 0, Qt::AlignHCenter);
    column->addWidget(made.caption);
    column->addStretch();
    return made;
}

void RouteView::activate(std::size_t place) {
    if (place >= shown.endpoints.size()) return emit sourceActivated();
    const auto& endpoint = shown.endpoints[place];
    if (shown.isChain)
        emit memberActivated(qtText(endpoint.id));
    else if (isSource(endpoint))
        emit sourceActivated();
    else
        emit destinationActivated();
}

void RouteView::render(const OrvelWorkspaceSnapshot& snapshot) {
    shown = snapshot;
    for (std::size_t place = 0; place < cards.size(); ++place) renderCard(place);
    for (std::size_t i = 0; i < arrows.size(); ++i) {
        arrows[i].column->setVisible(i + 1 < shown.endpoints.size());
        if (i + 1 >= shown.endpoints.size()) continue;
        renderArrow(arrows[i].directions[0], i, i + 1);
        renderArrow(arrows[i].directions[1], i + 1, i);
    }
    for (std::size_t i = 0; i < extensions.size(); ++i) renderExtension(extensions[i], allLinkEnds[i]);
}

void RouteView::renderCard(std::size_t place) {
    auto* card = cards[place];
    card->setVisible(place < std::max<std::size_t>(1, shown.endpoints.size()));
    if (place >= shown.endpoints.size()) {
        card->render({.endpoint = {},
                      .title = tr("Choose a conversation in the sidebar"),
                      .purpose = {},
                      .folder = {}});
        return;
    }
    const auto& endpoint = shown.endpoints[place];
    const bool isOpenStart = endpoint.isNew && shown.isStart;
    ConversationCard::Contents contents{.endpoint = endpoint,
                                        .title = titleOf(endpoint, shown),
                                        .purpose = {},
                                        .canChoose = isOpenStart && shown.canLink,
                                        .takesDrops = isOpenStart && shown.canLink,
                                        .canReplace = !shown.isChain && !endpoint.isNew,
                                        .folder = {}};
    const auto named = (QStringList(contents.title) << detailOf(endpoint, shown)).join(QLatin1Char('\n'));
    contents.purpose = !shown.isChain       ? tr("%1\nClick to choose another one").arg(named)
                       : isSource(endpoint) ? named
                                            : tr("%1\nClick to send from here").arg(named);
    if (isOpenStart && endpoint.agent == Agent::codex)
        contents.folder = qtText(shown.workingFolder.value_or(""));
    card->render(std::move(contents));
}

// Without a pair there is one way, and nothing to choose.
void RouteView::renderArrow(Arrow& arrow, std::size_t from, std::size_t to) {
    const auto& fromCard = shown.endpoints[from];
    const auto route = std::find_if(shown.routes.begin(), shown.routes.end(), [&](const auto& known) {
        return known.fromID == fromCard.id && known.toID == shown.endpoints[to].id;
    });
    const bool isKnown = route != shown.routes.end();
    const bool isSelected = isKnown ? route->selected : isSource(fromCard);
    arrow.routeID = isKnown ? route->id : "";
    arrow.button->setVisible(isKnown || isSelected);
    arrow.button->setEnabled(isKnown);
    if (arrow.button->property("selected") != isSelected) {
        arrow.button->setProperty("selected", isSelected);
        arrow.button->style()->unpolish(arrow.button);
        arrow.button->style()->polish(arrow.button);
    }
    const auto title = isKnown         ? qtText(route->title)
                       : shown.isStart ? tr("Into a new conversation")
                                       : tr("No destination yet");
    arrow.button->setAccessibleName(isSelected && isKnown ? tr("%1, selected").arg(title) : title);
    arrow.button->setToolTip(isSelected ? title : tr("Send this way: %1").arg(title));
}

// A full link has no end to grow at, and says so once.
void RouteView::renderExtension(const Extension& extension, RelayLinkEnd end) {
    const bool isFull = shown.endpoints.size() >= RelayLink::maximumConversations;
    const bool isLink = shown.canExtend || shown.cannotExtend;
    extension.column->setVisible(isLink && !(isFull && end == RelayLinkEnd::leading));
    extension.button->setEnabled(shown.canExtend);
    extension.caption->setText(tr("Full"));
    extension.caption->setVisible(isFull);
    const auto reason = qtText(shown.cannotExtend.value_or(""));
    extension.column->setToolTip(reason);
    extension.button->setToolTip(shown.canExtend ? extension.button->accessibleName() : reason);
    extension.button->setAccessibleDescription(reason);
}

void RouteView::focusCard(std::size_t place) {
    if (place < cards.size() && cards[place]->isVisible()) cards[place]->setFocus(Qt::ShortcutFocusReason);
}

} // namespace orvel
