#pragma once
// What Orvel needs of a machine, how it was found, and what to do where something is missing. Nothing in it
// comes from a conversation, a title or a clipboard.

#include "Orvel/desktop/DesktopSession.h"
#include "OrvelCore/conversations/Agent.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// One thing that was looked at.
struct Finding {
    enum class State { works, limited, missing, notTried };

    std::string subject;
    State state = State::notTried;
    std::string detail, advice; ///< Sentences; without advice there is nothing to do.
};

/// "works", "limited", "missing", "not tried"
std::string_view nameOf(Finding::State state);

struct AgentFacts {
    enum class Tree {
        notAsked,
        exposed,
        absent, ///< It is not on the accessibility bus.
        silent  ///< It didn't answer in time.
    };

    Agent agent = Agent::codex;
    bool isInstalled = false, isRunning = false;
    std::optional<std::string> version;
    Tree tree = Tree::notAsked;
    std::optional<std::string> tool; ///< The path of its command.
};

struct DoctorFacts {
    enum class Keyboard { notTried, held, refused };
    enum class Folder { usable, notMadeYet, notWritable, silent };

    SessionKind session = SessionKind::guarded;
    std::vector<AgentFacts> agents;
    DesktopSwitch::Reading accessibility;
    bool isTapThere = false;
    Keyboard keyboard = Keyboard::notTried;
    std::optional<bool> isASCII;               ///< Of the selected input source; nothing if it can't be read.
    bool tellsComposition = false;             ///< The same.
    std::optional<std::size_t> clipboardItems; ///< Nothing if the clipboard doesn't answer.
    Folder folder = Folder::usable;
    std::optional<std::string> keybindings; ///< What is wrong with them for copying an address.
    std::optional<std::string> records;     ///< What is wrong with the relay records.
};

/// What the facts come to, in the order in which things depend on each other.
std::vector<Finding> findingsOf(const DoctorFacts& facts);

} // namespace orvel
