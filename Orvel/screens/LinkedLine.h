#pragma once
// The quiet line behind a new link: what was linked, and for ten seconds the way back, as long as the link
// has no message.

#include "Orvel/model/OrvelModel.h"

#include <cstddef>
#include <optional>
#include <string>

#include <QFrame>
#include <QLabel>
#include <QTimer>

namespace orvel {

class LinkedLine : public QFrame {
    Q_OBJECT

  public:
    /// The model outlives the line.
    explicit LinkedLine(OrvelModel& model, QWidget* parent = nullptr);

    /// Links the open source with the conversation, or takes that for the one that the open first message has
    /// founded.
    void link(const ConversationReference& reference);
    /// Shows or hides the line as things stand.
    void render();

  private:
    // A link that is being made or has just been made.
    struct Made {
        std::size_t pairsBefore = 0;
        ConversationReference source;
        std::string instruction;
        QString title;
        std::optional<std::string> pairID; // Once it is there.
    };

    void recognizeMade();
    bool canUndo() const;
    void undo();
    void finishUndo();

    OrvelModel& model;
    QLabel* text;
    QTimer end;
    std::optional<Made> made;
    std::optional<Made> undone; // What is shown again once the link is closed.
};

} // namespace orvel
