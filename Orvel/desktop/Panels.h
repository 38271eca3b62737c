#pragma once
// Panels in which the person answers a question.

#include <optional>
#include <string>

namespace orvel {

/// What an open panel shows. It chooses one file, never a folder.
struct OpenPanel {
    std::string message;
    std::string folder; ///< Where it starts, if that exists.
    bool showsHiddenFiles = false;

    bool operator==(const OpenPanel&) const = default;
};

class Panels {
  public:
    virtual ~Panels() = default;

    /// Shows the panel until the person decides; gives the chosen file's absolute path, or nothing when
    /// cancelled.
    virtual std::optional<std::string> chooseFile(const OpenPanel& panel) = 0;
};

} // namespace orvel
