#pragma once
// The entries of Codex's keybindings.json, accepted only in the form that is known, and why a file is not.

#include "OrvelCore/commands/Keystroke.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvel {

struct CodexKeybinding {
    std::string command;
    std::optional<std::string> key; ///< As it is written; absent where the entry unbinds its command.
};

/// What keeps a file from being judged, in the order in which it is looked for.
enum class CodexKeybindingFault { unconfirmed, unreadable, oversized, invalidJSON, unknownSyntax };

class CodexKeybindingFile {
  public:
    /// A larger file is not looked at.
    static constexpr std::size_t maximumBytes = 65536;

    /// The command that copies the address of the conversation.
    static constexpr std::string_view copyCommand = "copyDeeplink";

    /// The entries of the file, or the fault that comes first. No data stands for a file that does not exist,
    /// which holds no entries, as does one of blanks. Throws nothing but std::bad_alloc.
    static std::variant<std::vector<CodexKeybinding>, CodexKeybindingFault>
    read(std::optional<std::string_view> data, bool pathConfirmed, bool readFailed);
};

} // namespace orvel
