#pragma once
// The messages of a conversation as a list of any length: only what is visible is laid out and painted.
// Messages before the range of the relay are faded; any message can become the start of the range. Those that
// an agent's program wrote under the user's name are folded to a word on what they are, and relays from
// another conversation to their instructions. Text can be selected within a message. While the conversation
// grows, what is read stays where it is.

#include "Orvel/model/OrvelWorkspaceSnapshot.h"
#include "Orvel/screens/MessageLayout.h"
#include "Orvel/screens/ShownMessage.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/MachineMadeText.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>

#include <QAbstractScrollArea>
#include <QTextLayout>

namespace orvel {

class MessageListView : public QAbstractScrollArea {
    Q_OBJECT

  public:
    explicit MessageListView(QWidget* parent = nullptr);
    ~MessageListView() override;

    struct Contents {
        SharedConversation conversation;               ///< Not null.
        std::size_t rangeStart = 0;                    ///< The first message of the range.
        QString rangeTitle;                            ///< Stands on the line above it.
        std::string assistantLabel;                    ///< Names the assistant.
        std::map<std::string, RelayedMessage> relayed; ///< By the identities of messages.
        Date now = 0;                                  ///< Decides which times are today's.
    };
    void show(Contents contents);

    std::size_t messageCount() const;
    /// What a screen reader says of the message.
    QString spokenText(std::size_t row) const;
    /// Where the message is in the viewport; it may lie outside.
    QRect rowRect(std::size_t row) const;
    bool isInRange(std::size_t row) const { return row >= rangeStart; }
    std::size_t currentRow() const { return current; }
    void setCurrentRow(std::size_t row);
    /// Asks for the range to begin at the message.
    void requestStart(std::size_t row);
    /// Goes to the last message.
    void showEnd();
    /// What is selected with the mouse; empty if nothing is.
    QString selectedText();

  signals:
    /// The person wants the range to begin at this message.
    void startRequested(const QString& messageID);
    /// So many messages have come behind what is read.
    void unseenChanged(std::size_t count);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

  private:
    // A message laid out for painting.
    struct Laid {
        std::unique_ptr<QTextLayout> text;
        QSizeF size;                // Of the text.
        std::vector<QRectF> blocks; // The grounds of the lines of code; as wide as the message.
        std::vector<QRectF> spans;  // Those of code within lines.
        bool isFolded = false;      // More text follows than is shown.
        bool canFold = false;       // It is shown whole and could be folded.
    };
    struct Row; // Where the parts of a visible message are.

    // Of the text that is shown of one message; the cursor moves, and may stand before the anchor.
    struct Selection {
        std::size_t row;
        int anchor, cursor;
    };

    const Message& message(std::size_t row) const { return conversation->messages[row]; }
    bool isGrownFromShown(const Conversation& newConversation) const;
    void grow(SharedConversation newConversation);
    void setUnseen(std::size_t count);
    int positionIn(std::size_t row, const QPointF& point);
    void select(const QPointF& point);
    void copySelection();
    double textWidth() const;
    void relayout();
    void updateScrollBar();
    const Laid& laid(std::size_t row);
    double heightOf(std::size_t row, const Laid& layout) const;
    double dividerHeight(std::size_t row) const;
    Row placed(std::size_t row);
    void measureVisible();
    void scrollTo(double y);
    void showRow(std::size_t row);
    void toggleFold(std::size_t row);
    void copyMessage(std::size_t row) const;
    const RelayedMessage* relay(std::size_t row) const;
    void setRelayed(std::map<std::string, RelayedMessage> newRelayed);
    QString relayHeading(std::size_t row, const RelayedMessage& relay) const;
    std::optional<QString> foldedWords(std::size_t row) const;
    QString foldTitle(std::size_t row, const Laid& layout) const;
    QString timeText(std::size_t row) const;
    QFont timeFont() const;
    std::size_t rowUnder(const QPoint& position) const;
    std::optional<MachineMade> machineMadeKind(std::size_t row) const;
    QString speaker(std::size_t row) const;
    void setFormats(std::size_t row, const ShownMessage& shown, Laid& result) const;
    void paintRow(QPainter& painter, std::size_t row);
    void paintDivider(QPainter& painter, double y);
    void paintText(QPainter& painter, std::size_t row, const QRectF& bubble);

    SharedConversation conversation;
    std::size_t rangeStart = 0;
    QString rangeTitle;
    QString assistantLabel;
    std::map<std::string, RelayedMessage> relayed;
    Date now = 0;
    MessageLayout layout;
    std::unordered_map<std::size_t, Laid> cache;
    std::set<std::size_t> unfolded;
    std::size_t current = 0;
    std::size_t hovered = noRow;
    std::optional<Selection> selection;
    bool isSelecting = false;
    std::size_t unseen = 0; // Messages that came behind what is read.
    static constexpr auto noRow = static_cast<std::size_t>(-1);
};

} // namespace orvel
