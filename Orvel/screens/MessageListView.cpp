#include "Orvel/screens/MessageListView.h"

#include "Orvel/model/RelativeTime.h"
#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/MessageListAccessibility.h"
#include "Orvel/screens/Theme.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>

namespace orvel {

namespace {

constexpr int foldedLines = 8;
constexpr double lineSpacing = 1.15;
constexpr std::size_t longestShown =
    100'000; // Bytes of one message; the preview and the copy hold all of it.
constexpr double speakerWidth = 64, gap = 12, padding = 10, rowSpacing = 10, widestText = 680,
                 actionWidth = 96;
constexpr double dividerSpace = 32;
constexpr std::size_t mostCached = 300;

// The beginning of a text, cut between characters.
QString beginning(const std::string& text, std::size_t most) {
    auto end = std::min(text.size(), most);
    while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return qtText(std::string_view(text).substr(0, end));
}

QString machineMadeWords(MachineMade kind) {
    return MessageListView::tr("%1 · not written by you").arg(qtText(wordsOf(kind)));
}

} // namespace

struct MessageListView::Row {
    QRectF bubble, speaker, start, fold;
    double divider = 0;
};

MessageListView::MessageListView(QWidget* parent) : QAbstractScrollArea(parent) {
    installMessageListAccessibility();
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName(tr("Messages"));
    viewport()->setMouseTracking(true);
    viewport()->setBackgroundRole(QPalette::Window);
}

MessageListView::~MessageListView() = default;

void MessageListView::show(Contents contents) {
    auto& newConversation = contents.conversation;
    const bool isOther = conversation != newConversation;
    const auto oldStart = std::exchange(rangeStart, contents.rangeStart);
    rangeTitle = contents.rangeTitle;
    assistantLabel = qtText(contents.assistantLabel);
    now = contents.now;
    setRelayed(std::move(contents.relayed));
    if (oldStart != rangeStart) cache.clear(); // Texts hold colours.
    if (isOther && isGrownFromShown(*newConversation)) {
        grow(std::move(newConversation));
        if (oldStart != rangeStart && oldStart < messageCount()) layout.forget(oldStart);
        if (oldStart != rangeStart && rangeStart < messageCount()) layout.forget(rangeStart);
    } else if (isOther) {
        selection.reset();
        setUnseen(0);
        conversation = std::move(newConversation);
        unfolded.clear();
        hovered = noRow;
        relayout();
        if (rangeStart > 0 && rangeStart < messageCount()) {
            current = rangeStart;
            scrollTo(layout.topOf(rangeStart) - rowSpacing);
        } else {
            current = messageCount() - 1;
            scrollTo(layout.totalHeight());
        }
    } else if (oldStart != rangeStart) {
        for (const auto row : {oldStart, rangeStart})
            if (row < messageCount()) layout.forget(row);
    }
    viewport()->update();
}

// A message of the shown conversation may turn out to be a relay.
void MessageListView::setRelayed(std::map<std::string, RelayedMessage> newRelayed) {
    if (relayed == newRelayed) return;
    relayed = std::move(newRelayed);
    cache.clear();
    for (std::size_t row = 0; row < layout.count(); ++row) layout.forget(row);
}

// Whether it is the shown conversation with messages behind the shown ones.
bool MessageListView::isGrownFromShown(const Conversation& newConversation) const {
    if (!conversation || conversation->messages.empty() || conversation->id != newConversation.id ||
        conversation->source != newConversation.source)
        return false;
    const auto &before = conversation->messages, &after = newConversation.messages;
    return after.size() >= before.size() &&
           std::equal(before.begin(), before.end(), after.begin(),
                      [](const Message& one, const Message& two) { return one.id == two.id; });
}

// Who reads the end goes on reading it; who reads elsewhere stays there and is told.
void MessageListView::grow(SharedConversation newConversation) {
    auto* bar = verticalScrollBar();
    const bool wasAtEnd = bar->value() == bar->maximum();
    const auto before = messageCount();
    conversation = std::move(newConversation);
    layout.append(std::span(conversation->messages).subspan(before));
    updateScrollBar();
    if (wasAtEnd) return scrollTo(layout.totalHeight());
    setUnseen(unseen + messageCount() - before);
}

void MessageListView::setUnseen(std::size_t count) {
    if (std::exchange(unseen, count) != count) emit unseenChanged(count);
}

void MessageListView::showEnd() {
    if (messageCount() == 0) return;
    setCurrentRow(messageCount() - 1);
    scrollTo(layout.totalHeight());
}

// Selecting

int MessageListView::positionIn(std::size_t row, const QPointF& point) {
    const auto& text = *laid(row).text;
    const auto inText = point - placed(row).bubble.topLeft() - QPointF(padding, padding);
    int position = 0;
    for (int i = 0; i < text.lineCount(); ++i) {
        const auto line = text.lineAt(i);
        if (line.y() < 0) break; // The first folded one.
        position = line.xToCursor(inText.x());
        if (inText.y() < line.y() + line.height() * lineSpacing) break;
    }
    return position;
}

void MessageListView::select(const QPointF& point) {
    selection->cursor = positionIn(selection->row, point);
    viewport()->update();
}

QString MessageListView::selectedText() {
    if (!selection) return {};
    const auto [first, last] = std::minmax(selection->anchor, selection->cursor);
    auto text = laid(selection->row).text->text().mid(first, last - first);
    return text.replace(QChar::LineSeparator, QLatin1Char('\n'));
}

// Without a selection the current message is meant.
void MessageListView::copySelection() {
    const auto text = selectedText();
    if (text.isEmpty())
        copyMessage(current);
    else
        QGuiApplication::clipboard()->setText(text);
}

void MessageListView::mouseReleaseEvent(QMouseEvent*) {
    isSelecting = false;
}

std::size_t MessageListView::messageCount() const {
    return conversation ? conversation->messages.size() : 0;
}

std::optional<MachineMade> MessageListView::machineMadeKind(std::size_t row) const {
    if (message(row).role != "user") return std::nullopt;
    return machineMade(conversation->source, message(row).text);
}

QString MessageListView::speaker(std::size_t row) const {
    if (message(row).role == "assistant") return assistantLabel;
    return machineMadeKind(row) ? tr("program") : QStringLiteral("me");
}

const RelayedMessage* MessageListView::relay(std::size_t row) const {
    const auto found = relayed.find(message(row).id);
    return found == relayed.end() ? nullptr : &found->second;
}

QString MessageListView::relayHeading(std::size_t row, const RelayedMessage& relay) const {
    const auto bytes = QLocale().toString(static_cast<qulonglong>(message(row).text.size()));
    const auto heading = tr("Relayed from %1 · %2 bytes").arg(qtText(relay.from), bytes);
    return relay.travelsWhole ? tr("%1, all of which goes on").arg(heading) : heading;
}

// What stands in place of a message that is folded from the beginning.
std::optional<QString> MessageListView::foldedWords(std::size_t row) const {
    if (const auto* known = relay(row)) {
        const auto heading = relayHeading(row, *known);
        return known->instruction.empty() ? heading
                                          : heading + QLatin1Char('\n') + qtText(known->instruction);
    }
    if (const auto kind = machineMadeKind(row)) return machineMadeWords(*kind);
    return std::nullopt;
}

QString MessageListView::foldTitle(std::size_t row, const Laid& layout) const {
    if (relay(row)) return layout.canFold ? tr("Hide messages") : tr("Show messages");
    return layout.canFold ? tr("Show less") : tr("Show more");
}

QString MessageListView::timeText(std::size_t row) const {
    const auto& writtenAt = message(row).writtenAt;
    return writtenAt ? qtText(timeOfMessage(*writtenAt, now, localUTCOffset)) : QString();
}

QFont MessageListView::timeFont() const {
    auto small = font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    return small;
}

QString MessageListView::spokenText(std::size_t row) const {
    constexpr std::size_t spoken = 2'000; // Bytes; a screen reader is no place for a whole file.
    const auto folded = unfolded.contains(row) ? std::nullopt : foldedWords(row);
    auto text =
        speaker(row) + QStringLiteral(": ") + (folded ? *folded : beginning(message(row).text, spoken));
    if (const auto time = timeText(row); !time.isEmpty()) text += QStringLiteral(" · ") + time;
    if (row == rangeStart) text += tr(" (the range starts here)");
    if (row < rangeStart) text += tr(" (before the range)");
    return text;
}

double MessageListView::textWidth() const {
    const auto free = viewport()->width() - speakerWidth - gap - 2 * padding - actionWidth;
    return std::clamp(free, 80.0, widestText);
}

void MessageListView::relayout() {
    cache.clear();
    if (!conversation) return;
    const QFontMetricsF metrics(font());
    layout.reset(conversation->messages, {.textWidth = textWidth(),
                                          .characterWidth = metrics.averageCharWidth(),
                                          .lineHeight = metrics.lineSpacing() * lineSpacing,
                                          .around = 2 * padding + rowSpacing,
                                          .foldedLines = foldedLines});
    updateScrollBar();
}

void MessageListView::updateScrollBar() {
    const auto height = static_cast<int>(std::min(layout.totalHeight() + rowSpacing, 2e9));
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setSingleStep(static_cast<int>(3 * QFontMetricsF(font()).lineSpacing()));
    verticalScrollBar()->setRange(0, std::max(0, height - viewport()->height()));
}

const MessageListView::Laid& MessageListView::laid(std::size_t row) {
    if (const auto known = cache.find(row); known != cache.end()) return known->second;
    if (cache.size() >= mostCached) cache.clear();

    const auto& text = message(row).text;
    const bool isUnfolded = unfolded.contains(row);
    const auto width = textWidth();
    // Every line holds fewer bytes than this, so the folded lines are complete.
    const auto bytesInLine = static_cast<std::size_t>(4 * width);
    const auto most = isUnfolded ? longestShown : foldedLines * bytesInLine;

    Laid result;
    const auto words = foldedWords(row);
    const auto whole = words && !isUnfolded ? *words : beginning(text, most);
    // What a program wrote is no prose with code in it.
    auto shown = machineMadeKind(row) ? ShownMessage{whole, {}, {}} : ShownMessage::of(whole);
    shown.text.replace(QLatin1Char('\n'), QChar::LineSeparator);
    result.text = std::make_unique<QTextLayout>(shown.text, font(), this);
    setFormats(row, shown, result);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    result.text->setTextOption(option);
    result.text->setCacheEnabled(true);
    result.text->beginLayout();
    double y = 0, widest = 0;
    int lines = 0;
    for (auto line = result.text->createLine(); line.isValid(); line = result.text->createLine()) {
        if (lines == foldedLines && !isUnfolded) {
            line.setLineWidth(width);
            line.setPosition({0, -1e6}); // The first folded line; it is not painted.
            result.isFolded = true;
            break;
        }
        line.setLineWidth(width);
        line.setPosition({0, y});
        const qsizetype start = line.textStart(), end = start + line.textLength();
        const auto isCode = std::any_of(shown.blocks.begin(), shown.blocks.end(), [&](const auto& block) {
            return start >= block.start && start < block.end;
        });
        if (isCode) result.blocks.emplace_back(0, y, width, line.height() * lineSpacing);
        for (const auto& span : shown.spans) {
            if (span.end <= start || span.start >= end) continue;
            const auto left = line.cursorToX(static_cast<int>(std::max(span.start, start)));
            const auto right = line.cursorToX(static_cast<int>(std::min(span.end, end)));
            result.spans.emplace_back(std::min(left, right), y, std::abs(right - left), line.height());
        }
        y += line.height() * lineSpacing;
        widest = std::max(widest, line.naturalTextWidth());
        ++lines;
    }
    result.text->endLayout();
    result.isFolded = isUnfolded ? text.size() > longestShown : result.isFolded || words.has_value();
    result.canFold = isUnfolded && (lines > foldedLines || words);
    result.size = {widest, y};
    return cache.emplace(row, std::move(result)).first->second;
}

void MessageListView::setFormats(std::size_t row, const ShownMessage& shown, Laid& result) const {
    const auto& theme = Theme::current();
    QTextCharFormat code, quiet;
    code.setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    quiet.setForeground(isInRange(row) ? theme.secondaryText : theme.fadedText);
    QList<QTextLayout::FormatRange> formats;
    for (const auto* ranges : {&shown.blocks, &shown.spans})
        for (const auto& range : *ranges)
            formats += {static_cast<int>(range.start), static_cast<int>(range.end - range.start), code};
    if (const auto* known = relay(row); known && !unfolded.contains(row))
        formats += {0, static_cast<int>(relayHeading(row, *known).size()), quiet};
    result.text->setFormats(formats);
}

double MessageListView::dividerHeight(std::size_t row) const {
    return row == rangeStart && row > 0 ? dividerSpace : 0;
}

double MessageListView::heightOf(std::size_t row, const Laid& text) const {
    const auto link = text.isFolded || text.canFold ? QFontMetricsF(font()).lineSpacing() + 4 : 0;
    return dividerHeight(row) + text.size.height() + link + 2 * padding + rowSpacing;
}

MessageListView::Row MessageListView::placed(std::size_t row) {
    const auto& text = laid(row);
    const QFontMetricsF metrics(font());
    const auto divider = dividerHeight(row);
    const auto top = layout.topOf(row) - verticalScrollBar()->value() + divider;
    const auto foldWidth = metrics.horizontalAdvance(foldTitle(row, text));
    const auto hasLink = text.isFolded || text.canFold;
    const auto width = (hasLink ? std::max(text.size.width(), foldWidth) : text.size.width()) + 2 * padding;
    const auto height = heightOf(row, text) - divider - rowSpacing;
    Row parts;
    parts.divider = divider > 0 ? top - divider / 2 - rowSpacing / 2 : 0;
    parts.speaker = {0, top + padding, speakerWidth, metrics.lineSpacing()};
    parts.bubble = {speakerWidth + gap, top, width, height};
    if (hasLink)
        parts.fold = {parts.bubble.left() + padding, parts.bubble.bottom() - padding - metrics.lineSpacing(),
                      foldWidth, metrics.lineSpacing()};
    parts.start = {viewport()->width() - actionWidth + 14, top + padding, actionWidth - 16,
                   metrics.lineSpacing()};
    return parts;
}

// Replaces the estimates of what is visible. What stands above the viewport's upper edge keeps its lower one,
// so that nothing jumps under the eyes.
void MessageListView::measureVisible() {
    if (messageCount() == 0) return;
    auto* bar = verticalScrollBar();
    bool changed = false;
    double shift = 0;
    for (auto row = layout.rowAt(bar->value()); row < messageCount(); ++row) {
        if (layout.topOf(row) > bar->value() + shift + viewport()->height()) break;
        if (layout.isMeasured(row)) continue;
        const bool beginsAbove = layout.topOf(row) < bar->value() + shift;
        const auto difference = layout.setHeight(row, heightOf(row, laid(row)));
        changed = changed || difference != 0;
        if (beginsAbove) shift += difference;
    }
    if (!changed) return;
    const bool wasAtEnd = bar->maximum() > 0 && bar->value() == bar->maximum();
    updateScrollBar();
    bar->setValue(wasAtEnd ? bar->maximum() : static_cast<int>(bar->value() + shift));
}

void MessageListView::scrollTo(double y) {
    verticalScrollBar()->setValue(static_cast<int>(std::min(y, 2e9)));
    // Measuring may move what was scrolled to; at the list's end, two rounds settle it.
    measureVisible();
    measureVisible();
}

void MessageListView::showRow(std::size_t row) {
    if (!layout.isMeasured(row)) layout.setHeight(row, heightOf(row, laid(row)));
    updateScrollBar();
    const auto top = layout.topOf(row), bottom = top + layout.heightOf(row);
    const double viewTop = verticalScrollBar()->value(), viewBottom = viewTop + viewport()->height();
    if (top < viewTop || bottom - top > viewport()->height())
        scrollTo(top);
    else if (bottom > viewBottom)
        scrollTo(bottom - viewport()->height());
}

QRect MessageListView::rowRect(std::size_t row) const {
    const auto top = layout.topOf(row) - verticalScrollBar()->value();
    return QRectF(0, top, viewport()->width(), layout.heightOf(row) - rowSpacing).toAlignedRect();
}

std::size_t MessageListView::rowUnder(const QPoint& position) const {
    if (messageCount() == 0) return noRow;
    const auto y = position.y() + verticalScrollBar()->value();
    return y < layout.totalHeight() ? layout.rowAt(y) : noRow;
}

void MessageListView::setCurrentRow(std::size_t row) {
    if (row >= messageCount()) return;
    current = row;
    showRow(row);
    viewport()->update();
    announceCurrentMessage(*this);
}

void MessageListView::requestStart(std::size_t row) {
    if (row < messageCount()) emit startRequested(qtText(message(row).id));
}

void MessageListView::toggleFold(std::size_t row) {
    const auto& text = laid(row);
    selection.reset();
    if (unfolded.contains(row))
        unfolded.erase(row);
    else if (text.isFolded)
        unfolded.insert(row);
    cache.erase(row);
    layout.setHeight(row, heightOf(row, laid(row)));
    updateScrollBar();
    viewport()->update();
}

void MessageListView::copyMessage(std::size_t row) const {
    QGuiApplication::clipboard()->setText(qtText(message(row).text));
}

void MessageListView::paintEvent(QPaintEvent*) {
    measureVisible();
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(font());
    if (messageCount() == 0) return;
    const auto bottom = verticalScrollBar()->value() + viewport()->height();
    for (auto row = layout.rowAt(verticalScrollBar()->value());
         row < messageCount() && layout.topOf(row) < bottom; ++row)
        paintRow(painter, row);
}

void MessageListView::paintRow(QPainter& painter, std::size_t row) {
    const auto& theme = Theme::current();
    const auto parts = placed(row);
    const auto& text = laid(row);
    const bool inRange = isInRange(row);
    const bool isCurrent = hasFocus() && row == current;

    if (parts.divider > 0) paintDivider(painter, parts.divider);
    painter.setPen(inRange ? theme.secondaryText : theme.fadedText);
    painter.drawText(parts.speaker, Qt::AlignRight | Qt::AlignTop,
                     QFontMetricsF(font()).elidedText(speaker(row), Qt::ElideRight, speakerWidth));

    QPainterPath bubble;
    bubble.addRoundedRect(parts.bubble.adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.setPen(isCurrent ? QPen(theme.accent, 2) : QPen(theme.border, 1));
    painter.setBrush(inRange ? theme.card : theme.window);
    painter.drawPath(bubble);
    if (inRange) {
        painter.save();
        painter.setClipRect(QRectF(parts.bubble.left(), parts.bubble.top(), 3, parts.bubble.height()));
        painter.fillPath(bubble, theme.accent);
        painter.restore();
    }

    paintText(painter, row, parts.bubble);

    painter.setPen(theme.accent);
    if (!parts.fold.isNull()) painter.drawText(parts.fold, Qt::AlignLeft, foldTitle(row, text));
    if (row != rangeStart && (row == hovered || isCurrent)) {
        painter.drawText(parts.start, Qt::AlignRight, tr("Start here"));
    } else {
        painter.setPen(inRange ? theme.secondaryText : theme.fadedText);
        painter.setFont(timeFont());
        painter.drawText(parts.start, Qt::AlignRight | Qt::AlignVCenter, timeText(row));
        painter.setFont(font());
    }
}

void MessageListView::paintDivider(QPainter& painter, double y) {
    auto bold = font();
    bold.setWeight(QFont::DemiBold);
    const auto width = QFontMetricsF(bold).horizontalAdvance(rangeTitle) + 2 * gap;
    const auto middle = viewport()->width() / 2.0;
    painter.setPen(QPen(Theme::current().accent, 1));
    painter.drawLine(QPointF(0, y), QPointF(middle - width / 2, y));
    painter.drawLine(QPointF(middle + width / 2, y), QPointF(viewport()->width(), y));
    painter.setFont(bold);
    painter.drawText(QRectF(middle - width / 2, y - 12, width, 24), Qt::AlignCenter, rangeTitle);
    painter.setFont(font());
}

void MessageListView::paintText(QPainter& painter, std::size_t row, const QRectF& bubble) {
    const auto& theme = Theme::current();
    const auto& text = laid(row);
    const bool inRange = isInRange(row), isOwn = !machineMadeKind(row);
    painter.save();
    painter.setClipRect(bubble);
    const auto origin = bubble.topLeft() + QPointF(padding, padding);
    const auto ground = inRange ? theme.window : theme.sidebar;
    for (const auto& block : text.blocks)
        painter.fillRect(QRectF(origin.x() - 4, origin.y() + block.y() - 1, bubble.width() - 2 * padding + 8,
                                block.height() + 1),
                         ground);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    for (const auto& span : text.spans)
        painter.drawRoundedRect(span.translated(origin).adjusted(-2, 0, 2, 0), 3, 3);
    painter.setPen(!inRange ? theme.fadedText : isOwn ? theme.text : theme.secondaryText);
    QList<QTextLayout::FormatRange> selected;
    if (selection && selection->row == row && selection->anchor != selection->cursor) {
        QTextCharFormat format;
        format.setBackground(theme.accent);
        format.setForeground(theme.accentText);
        const auto [first, last] = std::minmax(selection->anchor, selection->cursor);
        selected += {first, last - first, format};
    }
    text.text->draw(&painter, origin, selected);
    painter.restore();
}

void MessageListView::resizeEvent(QResizeEvent* event) {
    if (messageCount() > 0) {
        // The message at the top stays there, whatever the others do to the heights above it.
        const auto row = layout.rowAt(verticalScrollBar()->value());
        const bool wasAtEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
        const bool isOtherWidth = event->size().width() != event->oldSize().width();
        if (isOtherWidth) relayout();
        updateScrollBar();
        if (wasAtEnd)
            scrollTo(layout.totalHeight());
        else if (isOtherWidth)
            scrollTo(layout.topOf(row));
    }
    QAbstractScrollArea::resizeEvent(event);
}

void MessageListView::scrollContentsBy(int, int) {
    if (verticalScrollBar()->value() == verticalScrollBar()->maximum()) setUnseen(0);
    viewport()->update();
}

void MessageListView::mouseMoveEvent(QMouseEvent* event) {
    if (isSelecting) return select(event->position());
    const auto row = rowUnder(event->pos());
    if (row != hovered) {
        hovered = row;
        viewport()->update();
    }
    bool onLink = false, onText = false;
    if (row != noRow) {
        const auto parts = placed(row);
        onLink = parts.fold.contains(event->position()) ||
                 (row != rangeStart && parts.start.contains(event->position()));
        onText = parts.bubble.contains(event->position());
    }
    viewport()->setCursor(onLink ? Qt::PointingHandCursor : onText ? Qt::IBeamCursor : Qt::ArrowCursor);
}

void MessageListView::mousePressEvent(QMouseEvent* event) {
    const auto row = rowUnder(event->pos());
    if (row == noRow || event->button() != Qt::LeftButton) return;
    current = row;
    selection.reset();
    const auto parts = placed(row);
    if (parts.fold.contains(event->position()))
        toggleFold(row);
    else if (row != rangeStart && parts.start.contains(event->position()))
        requestStart(row);
    else if (parts.bubble.contains(event->position())) {
        const auto position = positionIn(row, event->position());
        selection = {row, position, position};
        isSelecting = true;
    }
    viewport()->update();
}

void MessageListView::leaveEvent(QEvent*) {
    hovered = noRow;
    viewport()->update();
}

void MessageListView::keyPressEvent(QKeyEvent* event) {
    if (messageCount() > 0 && event->matches(QKeySequence::Copy)) return copySelection();
    if (messageCount() == 0 || event->modifiers().testFlag(Qt::ControlModifier)) {
        QAbstractScrollArea::keyPressEvent(event);
        return;
    }
    const auto last = messageCount() - 1;
    const auto page = static_cast<double>(viewport()->height());
    switch (event->key()) {
    case Qt::Key_Up: setCurrentRow(current == 0 ? 0 : current - 1); break;
    case Qt::Key_Down: setCurrentRow(std::min(current + 1, last)); break;
    case Qt::Key_PageUp: setCurrentRow(layout.rowAt(layout.topOf(current) - page)); break;
    case Qt::Key_PageDown: setCurrentRow(layout.rowAt(layout.topOf(current) + page)); break;
    case Qt::Key_Home: setCurrentRow(0); break;
    case Qt::Key_End: setCurrentRow(last); break;
    case Qt::Key_Return:
    case Qt::Key_Enter: requestStart(current); break;
    case Qt::Key_Space: toggleFold(current); break;
    default: QAbstractScrollArea::keyPressEvent(event);
    }
}

void MessageListView::focusInEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void MessageListView::focusOutEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void MessageListView::contextMenuEvent(QContextMenuEvent* event) {
    const auto row = event->reason() == QContextMenuEvent::Keyboard ? current : rowUnder(event->pos());
    if (row >= messageCount()) return;
    QMenu menu(this);
    connect(menu.addAction(tr("Start here")), &QAction::triggered, this, [this, row] { requestStart(row); });
    if (selection && selection->row == row && !selectedText().isEmpty())
        connect(menu.addAction(tr("Copy")), &QAction::triggered, this, &MessageListView::copySelection);
    connect(menu.addAction(tr("Copy message")), &QAction::triggered, this, [this, row] { copyMessage(row); });
    const auto& text = laid(row);
    if (text.isFolded || text.canFold)
        connect(menu.addAction(foldTitle(row, text)), &QAction::triggered, this,
                [this, row] { toggleFold(row); });
    menu.exec(event->reason() == QContextMenuEvent::Keyboard ? viewport()->mapToGlobal(rowRect(row).topLeft())
                                                             : event->globalPos());
}

void MessageListView::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange) relayout();
    if (event->type() == QEvent::PaletteChange) cache.clear();
}

} // namespace orvel
