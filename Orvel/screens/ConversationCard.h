#pragma once
// The card of one conversation of the relay: agent, role and title under a stripe of the agent's colour. A
// button, by which the conversation is chosen, or another one in its place. The card of a conversation that
// does not exist yet is dashed and has, if it is Codex's, the folder in which that will work.

#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <optional>

#include <QLabel>
#include <QPushButton>

namespace orvel {

class ConversationCard : public QPushButton {
    Q_OBJECT

  public:
    explicit ConversationCard(QWidget* parent = nullptr);

    /// What the card shows and offers.
    struct Contents {
        std::optional<OrvelWorkspaceSnapshot::Endpoint> endpoint;
        QString title;                 ///< Of the conversation, or an invitation where there is none.
        QString purpose;               ///< What a click does, for the tool tip.
        bool canChoose = false;        ///< A known conversation can take the place of the new one.
        bool takesDrops = false;       ///< So can one that is dropped on the card.
        bool canReplace = false;       ///< Another known conversation can take its place.
        std::optional<QString> folder; ///< Of a new conversation with Codex; empty if none is chosen.
    };
    void render(Contents newContents);

    /// The form under which a conversation of the sidebar is dragged; its data is the path of the transcript.
    static QString dragFormat() { return QStringLiteral("application/x-orvel-conversation"); }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  signals:
    /// Another conversation is to take this one's place.
    void chooseWanted();
    void newConversationWanted();
    void folderWanted();
    void conversationDropped(const QString& path);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    bool isEmpty() const { return !contents.endpoint || contents.endpoint->isNew; }
    bool hasMenu() const { return contents.canReplace || contents.endpoint->canStartNew; }
    void showMenu(const QPoint& position);
    void fit();

    Contents contents;
    QLabel *name, *role, *title;
    QPushButton *choose, *more;
    QWidget* folderRow;
    QLabel* folder;
    QPushButton* chooseFolder;
    bool isDropTarget = false;
};

} // namespace orvel
