#pragma once
// Modal panels in which the person makes a choice.

#include <optional>
#include <string>

namespace orvel {

/// The configuration of an open panel, which chooses one file, or one folder.
struct OpenPanel {
    std::string message;
    std::string folder; ///< Where it starts, if it exists.
    bool showsHiddenFiles = false;
    std::string title; ///< Of the window, if it is not the message.
    enum class Kind { conversation, json, folder } kind = Kind::conversation; ///< What is to be chosen.

    bool operator==(const OpenPanel&) const = default;
};

class Panels {
  public:
    virtual ~Panels() = default;

    /// Shows the panel until the person decides. The absolute path of what was chosen; nothing if cancelled.
    virtual std::optional<std::string> choose(const OpenPanel& panel) = 0;
};

} // namespace orvel
