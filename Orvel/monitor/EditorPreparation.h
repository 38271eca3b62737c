#pragma once
// Has the agents' applications expose their editors to Accessibility, well before a Return needs it: asks for
// it, and reads until the editor is proved readable.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/composers/AccessibilityPreparation.h"
#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// The ports outlive the preparation; `accessibility` also a read that was begun before it went.
struct EditorPreparationNeeds {
    MainLoop& loop;
    Accessibility& accessibility;
    Applications& applications;
};

/// Belongs to the main loop's thread; only the reads themselves happen on another.
class EditorPreparation {
  public:
    /// Stands for the version of an application that doesn't tell it.
    static constexpr std::string_view unknownVersion = "Version unknown";

    EditorPreparation(const ChangeSignal& changes, const EditorPreparationNeeds& needs);

    /// Looks which of the applications run, and begins what is due for each. To be called once a second while
    /// monitoring; never blocks.
    void prepare();

    /// Forgets what was proved, and what is under way.
    void stop();

    /// The process of this agent whose editor is proved readable.
    std::optional<ProcessID> readyProcess(Agent agent) const;

    /// Whether the agent's application has to be restarted before its editor can be read, as two requests one
    /// after the other have come to: it may be just starting at the first.
    bool needsRestart(Agent agent) const;

    /// The version of the agent's application that was seen last, or
    /// `unknownVersion`; nothing if it doesn't
    /// run. Stays when monitoring stops.
    std::optional<std::string> targetVersion(Agent agent) const;

    /// How it stands, for people and diagnostics; holds nothing that was read from an editor.
    const std::string& description() const { return descriptionField->text(); }
    const DiagnosticText& diagnostics() const { return descriptionField; }

  private:
    struct Editor {
        AccessibilityPreparation schedule;
        std::optional<DiagnosticText> description, result;
        std::optional<ProcessID> observed;
        std::optional<ProcessID> toRestart;
        bool isInFlight = false;
    };
    struct Outcome {
        bool isReadable = false, needsRestart = false;
        DiagnosticText details;
    };

    void prepare(Agent agent, const std::optional<RunningApplication>& foreground);
    void begin(Agent agent, ProcessID process);
    Task<void> perform(Agent agent, ProcessID process, bool isRequest);
    static Outcome read(Accessibility& accessibility, ProcessID process, bool isRequest);
    void finish(Agent agent, ProcessID process, bool isRequest, const Outcome& outcome);
    void describeEditors();

    EditorPreparationNeeds needs;
    std::map<Agent, Editor> editors;
    std::map<Agent, std::string> versions;
    std::uint64_t generation = 0; ///< Reads of an older one are dropped.
    Observable<DiagnosticText> descriptionField;
    TaskScope tasks;
};

} // namespace orvel
