#pragma once
// The command line of the stand-in for `codex`: as much of the real one's as Orvel uses.

#include <string>
#include <vector>

namespace orvel {

struct SampleCodexCommand {
    enum class Kind {
        proxy,  ///< app-server proxy
        queue,  ///< queue --thread ID --message TEXT, each as two arguments or as one with "="
        invalid ///< Refused as the real one refuses it, with exit status 2.
    };

    Kind kind = Kind::invalid;
    std::string threadID, message;

    static constexpr int statusOfInvalid = 2;

    /// `arguments` without the program's name.
    static SampleCodexCommand parse(const std::vector<std::string>& arguments);

    bool operator==(const SampleCodexCommand&) const = default;
};

} // namespace orvel
