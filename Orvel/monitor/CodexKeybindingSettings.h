#pragma once
// Where Codex's keybindings lie, as the person has confirmed, and what they say at the moment. They are read
// afresh each time that something depends on them, never kept; no text of theirs is ever shown.

#include "Orvel/monitor/CodexKeybindingFileReader.h"
#include "Orvel/runtime/Observable.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/keybindings/CodexKeybindingPolicy.h"

#include <optional>
#include <string>

namespace orvel {

class Panels;
class Settings;

/// What the settings work with; all of it outlives them.
struct CodexKeybindingNeeds {
    const MainLoop& loop;
    SideQueue& sideQueue;
    LocalFiles& localFiles;
    Settings& settings;
    Panels& panels;
};

/// Belongs to the main loop's thread.
class CodexKeybindingSettings {
  public:
    /// How long a read may hold the main loop's thread: while a key waits, and otherwise.
    static constexpr std::chrono::milliseconds keyTimeout{5}, ordinaryTimeout{50};

    /// The panel starts in `codexFolder`.
    CodexKeybindingSettings(const ChangeSignal& changes, const CodexKeybindingNeeds& needs,
                            std::string codexFolder);

    /// The confirmed file; empty if there is none.
    const std::string& path() const { return confirmed; }
    /// What the last thing done with the location or the file came to, for the person.
    const std::string& status() const { return statusField->text(); }
    const DiagnosticText& diagnostics() const { return statusField; }

    /// Takes the absolute path of a keybindings.json for the one that Codex uses. Another path changes
    /// nothing but the status.
    void confirm(const std::string& path);
    /// Has the person choose the file.
    void choose();

    /// Whether Shift+Return is left alone.
    CodexKeybindingAssessment assessmentForUse();
    /// The shortcut that copies a conversation's address.
    CodexCopyShortcutAssessment copyAssessmentForUse();
    /// Why a plain Return might not do what Codex does with it by default; nothing if it certainly does.
    std::optional<FixedWords> googleOriginalReturnFailureForUse();

    /// What the file says, in sentences for the person.
    struct Display {
        std::string returnKeys, copyShortcut, japaneseReturn;
        bool canCopy = false; ///< Whether the conversation's address can be copied.
    };
    /// As the file was when it was last looked at for display.
    const Display& display() const { return shown; }
    void refreshDisplay();

  private:
    /// Fails without a confirmed path.
    LocalFiles::Reading read(MainLoop::Duration timeout);
    std::optional<FixedWords> originalReturnFailure(const LocalFiles::Reading& reading) const;
    bool isConfirmed() const { return !confirmed.get().empty(); }

    CodexKeybindingNeeds needs;
    CodexKeybindingFileReader reader;
    std::string codexFolder;
    Observable<std::string> confirmed;
    Observable<DiagnosticText> statusField;
    Observable<Display> shown;
};

} // namespace orvel
