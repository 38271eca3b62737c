#pragma once
// The clipboard of an X desktop. It has one item, whose types are the targets under which its owner offers
// it.

#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/platform/linux/XSelectionOwner.h"

#include <chrono>
#include <list>
#include <memory>
#include <string>

namespace orvel {

class XConnection;

/// Plain text has the type of the port, whichever target its owner offers for it; other types have their
/// target's name, and targets that are no data are left out. Several items are refused. Every call that asks
/// another program waits for it at most `answerLimit`, and `transferLimit` for data in pieces; nothing
/// larger than `maximumBytes` is read.
class XPasteboard : public Pasteboard {
  public:
    static constexpr std::chrono::milliseconds answerLimit{300}, transferLimit{1500};
    static constexpr std::size_t maximumBytes = 16'777'216, maximumTypes = 256;

    /// Events come over the connection, which outlives this object and is dispatched on the same thread; the
    /// display is the one that it was opened with.
    XPasteboard(XConnection& connection, const std::string& display);
    ~XPasteboard() override;

    void clearContents() override;
    bool setString(std::string_view text) override;
    bool writeItems(const std::vector<PasteboardItem>& items) override;
    std::int64_t changeCount() override;
    std::vector<std::string> types() override;
    std::optional<std::size_t> itemCount() override;
    std::vector<std::string> typesOf(std::size_t item) override;
    std::optional<std::string> data(std::size_t item, const std::string& type) override;

  private:
    struct Events;
    class Request;

    bool own(std::vector<PasteboardItem> items);
    bool isOurs();
    /// The names of the targets that are data; nothing if the owner doesn't answer.
    std::optional<std::vector<std::string>> targets();
    std::optional<XTargetData> read(std::string_view target, std::size_t most);
    XTargets targetsFor(const std::vector<PasteboardItem>& items) const;

    XConnection& connection;
    std::shared_ptr<Events> events; ///< What the connection's listener writes.
    XSelectionOwner owner;
    std::vector<PasteboardItem> ours;         ///< While this program is the owner.
    std::map<std::string, XTargetData> forms; ///< How targets were last read, without their bytes.
};

} // namespace orvel
