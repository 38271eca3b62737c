#pragma once
// What was typed for conversations that belong to no link yet. The relay records have no place for it, so it
// has a small file of its own, beside theirs and with the same care: a change stands in memory at once and in
// the file soon after.

#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelayPair.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace orvel {

class FileStore;
class Notices;

class UnlinkedDrafts {
  public:
    /// From a key to its save.
    static constexpr MainLoop::Duration saveInterval = std::chrono::milliseconds(300);

    /// Reads the file, if there is one. One that can't be read is told and never written over; what is typed
    /// then is kept for this run alone. Everything outlives the drafts.
    UnlinkedDrafts(Notices& notices, MainLoop& loop, FileStore& files, std::string path);

    /// What was typed for this conversation in this very file last; the empty draft if nothing was.
    RelayDraft draft(const ConversationReference& conversation) const;

    /// Takes a draft as it was typed. It is saved soon; what fails then is told and stays unsaved.
    void set(const ConversationReference& conversation, RelayDraft draft);
    /// What was typed stands elsewhere now.
    void forget(const ConversationReference& conversation) { set(conversation, {}); }

    /// Saves what is unsaved. Throws FileError.
    Task<void> save();
    /// The same in the background; tells what fails.
    void flush();

    /// Whether something is to be saved, and could be.
    bool hasUnsaved() const { return canSave && saved != edits; }
    /// Whether nothing is being saved, nor will be soon.
    bool isIdle() const { return tasks.isIdle() && !nextSave; }

  private:
    void read();
    Task<void> saveOrTell();

    Notices& notices;
    MainLoop& loop;
    FileStore& files;
    std::string path;
    std::map<std::string, RelayDraft> drafts; // By ConversationReader::key; no empty ones.
    bool canSave = true;
    std::uint64_t edits = 0, saved = 0; // Saved are all up to that edit.
    std::unique_ptr<Timer> nextSave;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
