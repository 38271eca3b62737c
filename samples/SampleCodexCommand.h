#pragma once
// The command line of the stand-in for `codex`: as much of the real one's as Orvel uses.

#include "samples/SampleCodexThread.h"

#include <string>
#include <string_view>
#include <vector>

namespace orvel {

struct SampleCodexCommand {
    enum class Kind {
        proxy,  ///< app-server proxy
        queue,  ///< queue --thread ID --message TEXT, each as two arguments or as one with "="
        exec,   ///< exec --json --skip-git-repo-check -C FOLDER -, with the text on standard input
        invalid ///< Refused as the real one refuses it, with exit status 2.
    };

    Kind kind = Kind::invalid;
    std::string threadID, message;
    std::string folder; ///< In which a new conversation works.

    static constexpr int statusOfInvalid = 2;

    /// `arguments` without the program's name.
    static SampleCodexCommand parse(const std::vector<std::string>& arguments);

    bool operator==(const SampleCodexCommand&) const = default;
};

/// What `exec --json` prints as its conversation begins, and when its turn has ended.
std::string printedAtStart(std::string_view threadID);
std::string printedAtEnd(const SampleCodexTurn& turn);

} // namespace orvel
