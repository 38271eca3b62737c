#pragma once
// Reads the entries of Codex's keybindings.json. Only the known form is accepted; anything else is a fault.

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
    std::optional<std::string> key; ///< As written; absent if the entry unbinds its command.
};

/// Why a file can't be judged, in the order of the checks.
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
    /// A larger file is not parsed.
    static constexpr std::size_t maximumBytes = 65'536;

    using Entries = std::vector<CodexKeybinding>;
    using Result = std::variant<Entries, CodexKeybindingFault>;

    /// The entries of the file, or the first fault. No data stands for a file that does not exist; like a
    /// blank one, it has no entries. Throws nothing but std::bad_alloc.
    static Result read(std::optional<std::string_view> data, bool pathConfirmed, bool readFailed);
};

} // namespace orvel
