#pragma once
// Google Japanese Input as a typed command meets it: whether this is the version, the source and the layout
// on which its candidate window proves anything, and whether that window is there.

#include "Orvel/accessibility/GoogleIMEWindowReader.h"
#include "Orvel/runtime/Generation.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <functional>
#include <optional>
#include <string>

namespace orvel {

class Applications;
class InputSources;

/// All of it outlives the object.
struct GoogleJapaneseInputNeeds {
    MainLoop& loop;
    SideQueue& sideQueue;
    WindowList& windows;
    Applications& applications;
    InputSources& inputSources;
    /// The version of the agent's application that runs.
    std::function<std::optional<std::string>(Agent)> targetVersion;
    /// Why Codex may do something else than usual with a plain Return, looked up afresh.
    std::function<std::optional<FixedWords>()> codexReturnFailure;
};

/// Belongs to the main loop's thread.
class GoogleJapaneseInput {
  public:
    using Sample = GoogleIMEWindowReader::Sample;

    GoogleJapaneseInput(const ChangeSignal& changes, const GoogleJapaneseInputNeeds& needs);

    /// Why the candidate window proves nothing about a Return in this agent's application; nothing if it
    /// does. Codex's keybindings are read afresh.
    std::optional<DiagnosticText> incompatibility(Agent agent);

    /// Looks for the window, for at most `most`. Nothing if it is not known in time.
    std::optional<Sample> look(MainLoop::Duration most);

    /// To be called once a second while monitoring: which version is installed, and a look at the window for
    /// diagnostics where the person is about to use it.
    void refresh();
    /// Looks at the window beside a Return on a command, for diagnostics only.
    void observe();
    /// Forgets looks that are under way.
    void stop();

    /// What the looks for diagnostics came to.
    const DiagnosticText& report() const { return commandReport; }
    DiagnosticText latest() const;
    /// Whether commands in Claude Code can be typed with it, in a sentence.
    DiagnosticText claudeDescription();

  private:
    Task<void> sample();
    Task<void> sampleBeside(Generation::Value command);

    GoogleJapaneseInputNeeds needs;
    GoogleIMEWindowReader fresh;      ///< Of the looks that decide.
    GoogleIMEWindowReader background; ///< Of the others, which never keep those from looking.
    std::optional<std::string> version;
    std::optional<Sample> lastSample;
    Generation commands; ///< Looks for an older one are dropped.
    Observable<DiagnosticText> commandReport;
    TaskScope tasks;
};

} // namespace orvel
