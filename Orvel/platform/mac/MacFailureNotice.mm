#include "Orvel/platform/mac/MacFailureNotice.h"

#include "Orvel/platform/mac/FoundationText.h"
#include "Orvel/platform/mac/NoticePanel.h"

#include <utility>

namespace {

// What the buttons of a notice do.
class NoticeButtons {
  public:
    virtual ~NoticeButtons() = default;
    virtual void viewDetails() = 0;
    virtual void close() = 0;
};

} // namespace

// Hands clicks on, until those who take them are gone.
@interface OrvelNoticeActions : NSObject {
  @public
    NoticeButtons* buttons;
}
- (void)viewDetails:(id)sender;
- (void)close:(id)sender;
@end

@implementation OrvelNoticeActions
- (void)viewDetails:(id)sender {
    if (buttons) buttons->viewDetails();
}
- (void)close:(id)sender {
    if (buttons) buttons->close();
}
@end

namespace orvel {

namespace {

constexpr double margin = 20;              // To the edges of the screen, in points.
constexpr NSUInteger mostCharacters = 600; // In UTF-16 units; the main window has all of a longer text.

NSString* shortened(NSString* text) {
    if (text.length <= mostCharacters) return text;
    const NSRange first = [text rangeOfComposedCharacterSequenceAtIndex:mostCharacters];
    return [[text substringToIndex:first.location] stringByAppendingString:@"…"];
}

NSScreen* _Nullable screenOfNotice() {
    NSScreen* const main = [NSScreen mainScreen];
    return main ? main : [NSScreen screens].firstObject;
}

} // namespace

// One notice, from when it is shown. Its panel stays when it is taken away, since a button of it may be at
// work.
class MacFailureNotice::Standing : public NoticeButtons, public std::enable_shared_from_this<Standing> {
  public:
    explicit Standing(std::function<void()> openDetails) : openDetails(std::move(openDetails)) {
        actions = [[OrvelNoticeActions alloc] init];
        actions->buttons = this;
    }
    Standing(const Standing&) = delete;
    Standing& operator=(const Standing&) = delete;
    ~Standing() override {
        takeAway();
        actions->buttons = nullptr;
    }

    void show(const std::string& message, const std::string& context, NSRect visible) {
        const NSSize room = NSMakeSize(visible.size.width - 2 * margin, visible.size.height - 2 * margin);
        panel = noticePanel(shortened(textOf(message)), textOf(context), actions, room);
        NSRect frame = panel.frame;
        frame.origin = NSMakePoint(NSMaxX(visible) - margin - frame.size.width,
                                   NSMaxY(visible) - margin - frame.size.height);
        [panel setFrame:frame display:YES];
        [panel orderFrontRegardless];
        const std::weak_ptr<Standing> weak = weak_from_this();
        timer = [NSTimer timerWithTimeInterval:static_cast<double>(duration.count())
                                       repeats:NO
                                         block:^(NSTimer*) {
                                           if (const auto self = weak.lock()) self->takeAway();
                                         }];
        [[NSRunLoop mainRunLoop] addTimer:timer forMode:NSRunLoopCommonModes];
    }

    void takeAway() {
        [timer invalidate];
        timer = nil;
        [panel orderOut:nil];
    }

    void viewDetails() override {
        const auto open = std::exchange(openDetails, {});
        takeAway();
        if (open) open();
    }

    void close() override { takeAway(); }

  private:
    static NSString* textOf(const std::string& text) {
        NSString* const result = foundationText(text);
        return result ? result : @"";
    }

    std::function<void()> openDetails;
    OrvelNoticeActions* actions = nil;
    NonactivatingPanel* panel = nil;
    NSTimer* timer = nil;
};

MacFailureNotice::MacFailureNotice() = default;
MacFailureNotice::~MacFailureNotice() = default;

void MacFailureNotice::tell(const std::string& message, const std::string& context,
                            std::function<void()> openDetails) {
    NSScreen* const screen = screenOfNotice();
    if (!screen) return;
    dismiss();
    previous = std::move(standing); // Which may be what asks for this one.
    standing = std::make_shared<Standing>(std::move(openDetails));
    standing->show(message, context, screen.visibleFrame);
}

void MacFailureNotice::dismiss() {
    if (standing) standing->takeAway();
}

} // namespace orvel
