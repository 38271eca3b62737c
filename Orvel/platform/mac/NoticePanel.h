#pragma once
// How the notice of a failed command looks. For Objective-C++ sources alone.

#import <AppKit/AppKit.h>

/// Never takes the keyboard.
@interface NonactivatingPanel : NSPanel
@end

/// Takes a click though its window is not the one with the keyboard.
@interface OrvelNoticeButton : NSButton
@end

namespace orvel {

/// A panel off the screen, as large as the texts and buttons want it, but no larger than `room`. Without a
/// context the text may be empty. The buttons send `viewDetails:` and `close:` to the target, which they do
/// not own.
NonactivatingPanel* _Nonnull noticePanel(NSString* _Nonnull message, NSString* _Nonnull context,
                                         id _Nonnull target, NSSize room);

} // namespace orvel
