#pragma once
// Tells that a message has arrived or needs a hand, while the person looks at something else.

#include "Orvel/model/SidebarContents.h"
#include "Orvel/runtime/Observable.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <QObject>

namespace orvel {

class OrvelModel;

class MessageNews : public QObject {
    Q_OBJECT

  public:
    /// Tells a title and a text.
    using Tell = std::function<void(const QString& title, const QString& text)>;

    /// The model outlives the news.
    MessageNews(OrvelModel& model, Tell tell);

  private:
    void lookSoon();
    void look();

    OrvelModel& model;
    Tell tell;
    std::map<std::string, std::optional<TransferStanding>> known; // By pair.
    bool lookIsDue = false;
    ChangeSignal::Subscription subscription;
};

} // namespace orvel
