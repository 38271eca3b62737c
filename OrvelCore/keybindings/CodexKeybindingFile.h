#pragma once
// The entries of Codex's keybindings.json, accepted only in the form that is known, and why a file is not.

#include "OrvelCore/keybindings/Keystroke.h"

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

/// The disposition of the same name.
template <typename Disposition>
Disposition dispositionOf(CodexKeybindingFault fault) {
    switch (fault) {
    case CodexKeybindingFault::unconfirmed: return Disposition::unconfirmed;
    case CodexKeybindingFault::unreadable: return Disposition::unreadable;
    case CodexKeybindingFault::oversized: return Disposition::oversized;
    case CodexKeybindingFault::invalidJSON: return Disposition::invalidJSON;
    case CodexKeybindingFault::unknownSyntax: break;
    }
    return Disposition::unknownSyntax;
}

class CodexKeybindingFile {
  public:
    /// A larger file is not looked at.
    static constexpr std::size_t maximumBytes = 65536;

    using Entries = std::vector<CodexKeybinding>;
    using Reading = std::variant<Entries, CodexKeybindingFault>;

    /// The entries of the file, or the fault that comes first. No data stands for a file that does not exist,
    /// which holds no entries, as does one of blanks. Throws nothing but std::bad_alloc.
    static Reading read(std::optional<std::string_view> data, bool pathConfirmed, bool readFailed);
};

} // namespace orvel
