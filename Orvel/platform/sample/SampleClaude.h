#pragma once
// The Claude application of a sample: a simulated one on the program's own clock, which nobody sees, over the
// sample's conversations. Like the real one it writes what it receives into their transcripts.

#include "Orvel/platform/simulated/RealTimeWorld.h"
#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedScreen.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/ConversationReference.h"

namespace orvel {

class SampleClaude {
  public:
    /// Runs, and shows the page of a new conversation. `loop` outlives this object; `folders` are those of a
    /// sample home, read here once. Throws as the catalogue does.
    SampleClaude(MainLoop& loop, const AgentFolders& folders);

    /// The desktop on which it stands, which holds no other application.
    SimulatedScreen& screen() { return simulated; }
    /// The program itself, for somebody who sits at the sample.
    SimulatedClaude& program() { return claude; }

    /// Puts the person at Claude's keyboard, with this conversation on its screen.
    void sitDown(const std::string& desktopID);
    /// What the person does there: types a text in place of the one in the editor, and presses Return.
    void type(const std::string& text);
    void pressReturn();

  private:
    void adopt(const ConversationReference& reference);

    RealTimeWorld world;
    SimulatedScreen simulated{world};
    SimulatedClaude claude;
};

} // namespace orvel
