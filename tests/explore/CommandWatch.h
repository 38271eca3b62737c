#pragma once
// What a judge sees of a command that is typed in an agent's editor: what became of each key, what the
// person's Return sends there, what Orvel erases, and what stands on the clipboard.

#include "explore/ExplorationDesk.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvel::explore {

class SafetyJudge;

class CommandWatch {
  public:
    /// Both outlive the watch, and what else watches the desk does too.
    CommandWatch(ExplorationDesk& desk, SafetyJudge& judge);
    ~CommandWatch();
    CommandWatch(const CommandWatch&) = delete;
    CommandWatch& operator=(const CommandWatch&) = delete;

    /// Told of every step that is about to happen, after the faults had their turn.
    void watch(const SimulatedStep& step);

    /// To be asked at the end of a run.
    void finish();

    /// Whether the command was removed, and a message prepared for it or not.
    bool isWorkedOff(bool isSent) const;

  private:
    using Items = std::vector<PasteboardItem>;

    void see(const SimulatedPress& press);
    void seeInClaude(const SimulatedClaude::Deed& deed);
    void seeInCodex(const SimulatedCodexApp::Deed& deed);
    void seeRead(const SimulatedElement& element, std::string_view name);
    void seeSent(const std::string& text);
    void seeErased(const std::string& before, const std::string& after);
    void seeCopied(const SimulatedCodexApp::Deed& deed);
    bool hasSent() const;
    bool standsSomewhere(const std::string& instruction) const;

    ExplorationDesk& desk;
    SafetyJudge& judge;
    std::function<void(const SimulatedClaude::Deed&)> otherInClaude;
    std::function<void(const SimulatedElement&, std::string_view, bool)> otherRead;

    std::size_t transfersBefore, postedBefore;
    bool wasProved;

    std::size_t nextArrival = 0;               ///< The least number that a press may have that arrives now.
    std::optional<std::size_t> commandReadFor; ///< The number of the press for which a command was read.
    std::string commandRead;                   ///< That command,
    std::string captured;                      ///< and the one on which a Return was swallowed last.
    std::pair<MainLoop::Duration, std::string> seen{}; ///< What Orvel read in an editor last, and when.
    std::optional<std::int64_t> heldCode;              ///< Of a swallowed Return that was not let go yet.
    bool isCommandHeld = false;                        ///< The ⌘ that was held with it.
    std::size_t swallowed = 0;                         ///< Fresh Returns.
    bool isTouched = false;                            ///< Something was pressed since.
    std::vector<std::string> erased;                   ///< What stood there.
    bool wasErasedUntouched = false;

    Items newest, before; ///< What stands to be found on the clipboard, and what did before.
    MainLoop::Duration newestSince{0}, stoodFor{0}; ///< The latter of what was there before.
    bool mayKeepLink = false, mayBeOlder = false;
    std::vector<Items> copied; ///< All that stood there and was no copy for Orvel.
};

} // namespace orvel::explore
