#pragma once
// Small files of a simulated machine.

#include "Orvel/desktop/LocalFiles.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"

#include <map>
#include <string>
#include <utility>

namespace orvel {

struct SimulatedLocalFiles : LocalFiles {
    explicit SimulatedLocalFiles(SimulatedSteps& steps) : steps(steps) {}

    /// The read uses this object, which outlives it since nothing here has threads.
    Read reader() override {
        return [this](const std::string& path, std::size_t most, const std::function<bool()>& isLate) {
            if (steps.take("readLocalFile").report || isLate() || isDistant) return Reading{};
            const auto found = contents.find(path);
            if (found == contents.end()) return Reading{.failed = false};
            return Reading{.failed = false, .bytes = found->second.substr(0, most + 1)};
        };
    }

    SimulatedSteps& steps;
    std::map<std::string, std::string> contents; ///< By path.
    bool isDistant = false;                      ///< They lie on a network.
};

} // namespace orvel
