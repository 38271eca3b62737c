#pragma once
// The ways in which a ZIP gets into ChatGPT's empty composer. Each ends with the proof that exactly this ZIP
// is attached, and leaves on the page whatever it got there.

#include "Orvel/consultation/ChatGPTComposerReader.h"
#include "Orvel/consultation/ChatGPTControlAction.h"
#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTLastLook.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/consultation/ChatGPTRepositoryArchive.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/EventPosting.h"
#include "Orvel/runtime/Task.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// The readers and the controls of one sender, which all its rooms share. Outlives them.
struct ChatGPTRooms {
    Desktop ports;
    ChatGPTOperations& operations;
    ChatGPTElements& elements;
    ChatGPTPageReader& pages;
    ChatGPTComposerReader& composers;
    ChatGPTControls& controls;
    ChatGPTLastLook& lastLook;

    void enter(ChatGPTDeliveryTrace::Phase phase) const {
        if (auto* trace = operations.trace()) trace->enter(phase);
    }
};

/// Where an archive goes: a page with an empty composer, proved by the caller just before.
struct ChatGPTAttachingTarget {
    ChatGPTRepositoryArchive archive;
    ChatGPTPage page;
    AXElement editor, region;

    /// The ZIP's name, without its folders.
    std::string filename() const;
};

/// Throws as ChatGPTElements. The rooms outlive the object, and the object outlives its tasks.
class ChatGPTAttaching {
  public:
    explicit ChatGPTAttaching(const ChatGPTRooms& rooms) : rooms(rooms) {}
    ChatGPTAttaching(const ChatGPTAttaching&) = delete;
    ChatGPTAttaching& operator=(const ChatGPTAttaching&) = delete;
    virtual ~ChatGPTAttaching() = default;

    /// Has the page upload the ZIP, once, and waits until exactly it is attached.
    virtual Task<void> attach(ChatGPTAttachingTarget target) = 0;

  protected:
    /// Waits until the region shows exactly the ZIP.
    Task<void> awaitAttachment(ChatGPTAttachingTarget target);

    const ChatGPTRooms& rooms;

  private:
    Task<bool> isAttached(ChatGPTAttachingTarget target);
};

/// By the page's menu and the open panel of macOS.
class ChatGPTOpenPanelAttaching : public ChatGPTAttaching {
  public:
    using ChatGPTAttaching::ChatGPTAttaching;

    Task<void> attach(ChatGPTAttachingTarget target) override;

  private:
    Task<PageControlAction> uploadItem(ChatGPTPage page);
    Task<AXElement> openPanel(ChatGPTPage page);
    Task<void> goTo(ChatGPTAttachingTarget target, AXElement panel);
    Task<AXElement> focusedPathField(ChatGPTPage page, AXElement panel);
    Task<void> verifyGoToField(AXElement field, AXElement panel, ChatGPTPage page);
    Task<void> select(ChatGPTAttachingTarget target, AXElement panel);
    Task<AXElement> enabledOpenButton(AXElement panel, ChatGPTPage page);
    Task<void> verifySelectedFile(std::string path, AXElement panel);
    Task<void> ensureFocused(AXElement panel, ChatGPTPage page);
    void sendKey(SyntheticKey key) const;
};

/// By pasting the ZIP's address into the editor, for desktops whose open panel can't be read. Borrows the
/// clipboard, and gives it back unless somebody else wrote there meanwhile.
class ChatGPTPasteAttaching : public ChatGPTAttaching {
  public:
    using ChatGPTAttaching::ChatGPTAttaching;

    Task<void> attach(ChatGPTAttachingTarget target) override;

  private:
    Task<bool> hasFocus(ChatGPTAttachingTarget target);
    Task<void> verifyBeforePaste(ChatGPTAttachingTarget target, std::string empty);
};

} // namespace orvel
