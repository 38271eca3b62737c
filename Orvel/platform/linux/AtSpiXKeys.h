#pragma once
// The keys of a write into another application's editor on an X desktop, with what they take off the
// clipboard.

#include "Orvel/desktop/PasteboardContents.h"
#include "Orvel/platform/linux/AtSpiAccessibility.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

class XConnection;

/// Belongs to the thread of the connection and the pasteboard, which outlive it.
class AtSpiXKeys : public AtSpiKeys {
  public:
    /// What is on the clipboard may take so much; more is left alone, and nothing pasted.
    static constexpr std::size_t maximumBytes = 16'777'216, maximumTypes = 64;

    AtSpiXKeys(XConnection& connection, Pasteboard& pasteboard)
        : connection(connection), pasteboard(pasteboard) {}

    bool erase(ProcessID process) override;
    /// Nothing is pressed where the clipboard could not be given back as it is.
    bool paste(const std::string& text, ProcessID process) override;
    void restoreClipboard() override;

  private:
    XConnection& connection;
    Pasteboard& pasteboard;
    std::vector<PasteboardItem> before;
    std::optional<std::int64_t>
        owned; ///< The change of the clipboard that was this object's, while it is to be undone.
};

/// A text as a web page's editor takes it without changing a blank or a line: one paragraph for each line,
/// marked as the editor's own.
std::string pastedHTML(const std::string& text);

/// Whether a process has a window that the window manager manages. Callable from any thread; each call has a
/// connection of its own. An empty name is the environment's display.
std::function<bool(ProcessID)> xWindowOwners(std::string display = {});

} // namespace orvel
