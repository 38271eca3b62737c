#include "Orvel/platform/mac/NoticePanel.h"

#include "Orvel/platform/mac/FoundationText.h"

#include <algorithm>
#include <cmath>

@implementation NonactivatingPanel
- (BOOL)canBecomeKeyWindow {
    return NO;
}
- (BOOL)canBecomeMainWindow {
    return NO;
}
@end

@implementation OrvelNoticeButton
- (BOOL)acceptsFirstMouse:(NSEvent*)event {
    return YES;
}
@end

// What gives the panel its shape.
@interface OrvelNoticeBackground : NSView
@end

@implementation OrvelNoticeBackground
- (void)drawRect:(NSRect)dirtyRect {
    [[NSColor windowBackgroundColor] setFill];
    [[NSBezierPath bezierPathWithRoundedRect:self.bounds xRadius:10 yRadius:10] fill];
}
@end

namespace orvel {

namespace {

// In points.
constexpr double noticeWidth = 400, padding = 16, spacing = 10, unlimited = 10000;
constexpr NSInteger floatingLevel = 3;

// As high as the text is in its width.
NSTextField* label(NSString* text, NSColor* color, double size) {
    const double width = noticeWidth - 2 * padding;
    NSTextField* const field = [[NSTextField alloc] initWithFrame:NSMakeRect(0, 0, width, 0)];
    field.editable = NO;
    field.selectable = NO;
    field.bezeled = NO;
    field.drawsBackground = NO;
    field.font = [NSFont systemFontOfSize:size];
    field.textColor = color;
    field.stringValue = text;
    NSCell* const cell = field.cell;
    cell.wraps = YES;
    const NSSize wanted = [cell cellSizeForBounds:NSMakeRect(0, 0, width, unlimited)];
    [field setFrameSize:NSMakeSize(width, std::ceil(wanted.height))];
    return field;
}

NSButton* button(std::string_view title, id target, SEL action) {
    NSButton* const made = [[OrvelNoticeButton alloc] initWithFrame:NSMakeRect(0, 0, 0, 0)];
    if (NSString* const text = foundationText(title)) made.title = text;
    made.bezelStyle = NSBezelStyleRounded;
    made.target = target;
    made.action = action;
    [made sizeToFit];
    return made;
}

// Puts it so that its upper left corner is there.
void place(NSView* view, double left, double top, NSView* in) {
    [view setFrameOrigin:NSMakePoint(left, top - view.frame.size.height)];
    [in addSubview:view];
}

} // namespace

NonactivatingPanel* noticePanel(NSString* message, NSString* context, id target, NSSize room) {
    NSTextField* const words = label(message, [NSColor labelColor], [NSFont systemFontSize]);
    NSTextField* circumstances = nil;
    if (context.length > 0)
        circumstances = label(context, [NSColor secondaryLabelColor], [NSFont smallSystemFontSize]);
    NSButton* const view = button("View in Orvel", target, @selector(viewDetails:));
    NSButton* const close = button("Close", target, @selector(close:));

    const double buttons = std::max(view.frame.size.height, close.frame.size.height);
    double height = padding + words.frame.size.height + spacing + buttons + padding;
    if (circumstances) height += spacing + circumstances.frame.size.height;
    const NSRect frame = NSMakeRect(0, 0, noticeWidth, std::min<double>(height, room.height));

    NSView* const content = [[OrvelNoticeBackground alloc] initWithFrame:frame];
    double top = frame.size.height - padding;
    place(words, padding, top, content);
    top -= words.frame.size.height + spacing;
    if (circumstances) place(circumstances, padding, top, content);
    const double closeLeft = noticeWidth - padding - close.frame.size.width;
    place(close, closeLeft, padding + close.frame.size.height, content);
    place(view, closeLeft - spacing - view.frame.size.width, padding + view.frame.size.height, content);

    NonactivatingPanel* const panel =
        [[NonactivatingPanel alloc] initWithContentRect:NSMakeRect(0, 0, 0, 0)
                                              styleMask:NSWindowStyleMaskNonactivatingPanel
                                                backing:NSBackingStoreBuffered
                                                  defer:NO];
    panel.level = floatingLevel;
    panel.hidesOnDeactivate = NO;
    panel.collectionBehavior =
        NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorFullScreenAuxiliary;
    panel.opaque = NO;
    panel.backgroundColor = [NSColor clearColor];
    panel.hasShadow = YES;
    [panel setFrame:frame display:NO];
    panel.contentView = content;
    return panel;
}

} // namespace orvel
