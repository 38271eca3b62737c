#pragma once
// What the sample conversations say, whichever form they are written in.

#include "OrvelCore/conversations/Agent.h"

#include <string>
#include <vector>

namespace orvel {

struct SampleStep {
    enum class Kind { ask, comment, command, answer };

    Kind kind;
    std::string text;
    std::string output; ///< Of a command.
};

struct SampleConversation {
    Agent agent;
    std::string title; ///< As the agent's own application names it; may be empty.
    std::string workingDirectory;
    int minutesAgo; ///< When the last record was written.
    std::vector<SampleStep> steps;
};

/// All sample conversations, the latest first. One that does not end with an answer is still at work.
std::vector<SampleConversation> sampleConversations();

} // namespace orvel
