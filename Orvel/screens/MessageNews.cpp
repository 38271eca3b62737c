#include "Orvel/screens/MessageNews.h"

#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "Orvel/platform/qt/QtText.h"

#include <utility>

#include <QTimer>

namespace orvel {

MessageNews::MessageNews(OrvelModel& model, Tell tell) : model(model), tell(std::move(tell)) {
    subscription = model.changes().subscribe([this] { lookSoon(); });
}

void MessageNews::lookSoon() {
    if (std::exchange(lookIsDue, true)) return;
    QTimer::singleShot(0, this, [this] { look(); });
}

// A message that was on its way and is there now, or went wrong, is news. How a link stood when it was first
// seen is none.
void MessageNews::look() {
    lookIsDue = false;
    const auto links = sidebarLinks(model.view());
    for (const auto& link : links.open) {
        const auto [place, isFirst] = known.try_emplace(link.pairID, link.standing);
        const auto before = std::exchange(place->second, link.standing);
        if (isFirst || !link.standing || before == link.standing) continue;
        const bool hasArrived = link.standing == TransferStanding::received;
        if (!hasArrived && !hasFailed(*link.standing)) continue;
        const auto pair = model.ledger.state().relayState->pairs.find(link.pairID);
        tell(hasArrived ? tr("The message has arrived") : tr("A message needs attention"),
             qtText(pairLabel(model.view(), *pair)));
    }
}

} // namespace orvel
