#pragma once
// The only writer of the relay records. A change works on a copy; the copy is saved off the main loop, and
// only then it becomes the records, so memory always equals the file.
//
// Drafts are gathered: what is typed stands in memory at once and in the file within half a second, and every
// other save takes it along. So typing never waits for the disk, nothing is delivered on top of an older
// draft, and a crash loses at most what was typed in that half second.

#include "Orvel/model/LedgerState.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/model/UnlinkedDrafts.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "Orvel/runtime/Turns.h"
#include "OrvelCore/relay/SavedTransfer.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace orvel {

class Notices;

class RelayLedger {
  public:
    /// From a key to the save that takes it along.
    static constexpr MainLoop::Duration draftInterval = std::chrono::milliseconds(300);

    /// `path` is the file of the records. Everything outlives the ledger.
    RelayLedger(const ChangeSignal& changes, Notices& notices, MainLoop& loop, FileStore& files,
                std::string path);

    const LedgerState& state() const { return held; }

    /// Reads the file. Does nothing once there are records. A file that can't be read is told, and never
    /// written over.
    Task<void> restoreRelay();

    /// Saves what `change` makes of a copy of the records, and gives what it gives. Changes happen one after
    /// the other, each on what the one before left. Throws what `change` throws, RelaySendError while the
    /// records could not be read, FileError, RelayStateError; then nothing has changed. What changes nothing
    /// is not saved.
    template <typename Change>
    Task<std::invoke_result_t<Change, RelayState&>> change(Change change) {
        const auto turn = co_await turns.next();
        const auto drafts = held.unsavedDrafts.get();
        auto working = withDrafts(drafts);
        if constexpr (std::is_void_v<std::invoke_result_t<Change, RelayState&>>) {
            change(working);
            co_await saveRelay(std::move(working));
            forget(drafts);
        } else {
            auto result = change(working);
            co_await saveRelay(std::move(working));
            forget(drafts);
            co_return result;
        }
    }

    /// The transfer as the file has it. There is one with this identifier.
    SavedTransfer saved(const std::string& transferID) const;

    /// Takes a draft as it was typed. It is saved soon; what fails then is told and stays unsaved.
    void setDraft(const std::string& pairID, Agent source, RelayDraft draft);
    /// The same for the message after a first one.
    void setNextDraft(const std::string& initialID, RelayDraft draft);

    /// Saves now what is unsaved, and tells what fails.
    void flushDrafts();

    /// Whether something typed is not on the disk yet, or could not be saved.
    bool hasUnsavedDraft() const { return !held.unsavedDrafts->empty() || unlinkedDrafts.hasUnsaved(); }

    /// New identifiers and the time, for new records.
    RelayStamp stamp() const;

    /// Whether nothing is being read or saved, nor will be soon.
    bool isIdle() const { return tasks.isIdle() && turns.isFree() && !nextFlush && unlinkedDrafts.isIdle(); }

    /// What was typed for conversations without a pair; `flushDrafts` saves it too.
    UnlinkedDrafts unlinkedDrafts;

  private:
    void setDraft(const std::string& key, UnsavedDraft unsaved);
    RelayState withDrafts(const std::map<std::string, UnsavedDraft>& drafts) const;
    Task<void> saveRelay(RelayState state);
    void forget(const std::map<std::string, UnsavedDraft>& drafts);
    Task<void> flush();

    LedgerState held;
    Notices& notices;
    MainLoop& loop;
    RelayStateFile file;
    Turns turns;
    std::uint64_t edits = 0;
    std::unique_ptr<Timer> nextFlush;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
