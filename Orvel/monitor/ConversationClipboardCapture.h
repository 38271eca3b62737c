#pragma once
// Guards the clipboard while Codex copies the address of its conversation there: keeps what it held before,
// claims the copies that were asked for and nothing else, and gives back what it held.

#include "Orvel/desktop/PasteboardContents.h"
#include "OrvelCore/diagnostics/FixedWords.h"
#include "OrvelCore/text/Failure.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// One capture: made, then for each copy `expectCopy` and `freshText` until there is one, then
/// `restoreIfOwned` on every way out. Destroying it gives back what it claims. Belongs to the main loop's
/// thread; the port outlives it.
class ConversationClipboardCapture {
  public:
    class Failure : public orvel::Failure {
      public:
        enum class Case {
            snapshotFailed, ///< What the clipboard holds can't be kept; nothing has been touched.
            wrongShape,     ///< What was copied is not one short text.
            changed         ///< Somebody else has written on the clipboard.
        };

        explicit Failure(Case kind);

        Case kind() const noexcept { return which; }

      private:
        Case which;
    };

    static constexpr std::size_t maximumTextBytes = 4096;

    /// Keeps what the clipboard holds. If `earlier`, the capture before this one, still has a copy standing
    /// there, takes over its claim and what it keeps, and `earlier` gives nothing back any more; copies that
    /// it waits for are taken over in any case. An earlier capture may be passed only as long as its copies
    /// may still arrive. Throws Failure, and then `earlier` is as it was.
    explicit ConversationClipboardCapture(Pasteboard& pasteboard,
                                          ConversationClipboardCapture* earlier = nullptr);
    ConversationClipboardCapture(const ConversationClipboardCapture&) = delete;
    ConversationClipboardCapture& operator=(const ConversationClipboardCapture&) = delete;
    ~ConversationClipboardCapture();

    /// To be called directly before Codex is asked for a copy. What was claimed before stays claimed. Throws
    /// Failure if the clipboard has changed since the last look; then Codex must not be asked.
    void expectCopy();

    /// The text that has been copied since, if any. It is claimed if it is the bare link to a conversation;
    /// an address of Codex that is anything else is given and left standing. Throws Failure if it is of the
    /// wrong shape, or another program's; that is left standing too.
    std::optional<std::string> freshText();

    /// Gives the clipboard back what it held, if a claimed copy stands there; one that has arrived unseen is
    /// claimed first. What was seen there in between is what it held. False if it holds something else, or if
    /// the system refuses; another call tries again.
    bool restoreIfOwned();

    /// Whether every copy that was asked for has come and is gone from the clipboard. Otherwise a copy may
    /// still arrive or stand there, or was overwritten.
    bool isSettled() const { return !ownedChangeCount && unclaimedCopies == 0; }

  private:
    void saveOriginal();
    bool takeOver(ConversationClipboardCapture& earlier);
    bool ownsContents();
    bool giveBack();
    std::optional<std::string> onlyText();
    void claim(std::int64_t changeCount);
    void claimLateCopy();

    Pasteboard& pasteboard;
    std::vector<PasteboardItem> original;
    std::optional<PasteboardContents> newer; ///< What somebody has copied while a copy was still to come.
    std::int64_t expectedChangeCount = 0;    ///< At the last look.
    std::optional<std::int64_t> ownedChangeCount; ///< Of the copy that is claimed.
    int unclaimedCopies = 0;                      ///< That were asked for.
};

/// The sentence for the person.
FixedWords description(ConversationClipboardCapture::Failure::Case kind);

} // namespace orvel
