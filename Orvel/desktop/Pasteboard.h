#pragma once
// The system's clipboard.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

namespace PasteboardType {
inline constexpr std::string_view string = "public.utf8-plain-text";
inline constexpr std::string_view url = "public.url";
} // namespace PasteboardType

/// One item on the clipboard in all its representations: bytes by type.
using PasteboardItem = std::map<std::string, std::string>;

/// Belongs to the main loop's thread.
class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    // Writing. What is written stays available while this program runs.

    /// Empties the clipboard.
    virtual void clearContents() = 0;

    /// Puts plain text on the clipboard; false if the system refuses.
    [[nodiscard]] virtual bool setString(std::string_view text) = 0;

    /// Puts the items on the clipboard, after `clearContents`; false if the system refuses, as more than one
    /// where a clipboard has one.
    [[nodiscard]] virtual bool writeItems(const std::vector<PasteboardItem>& items) = 0;

    // Reading. The owner of the clipboard may produce data only on request.

    /// Increases with every change of the clipboard, whoever makes it.
    virtual std::int64_t changeCount() = 0;

    /// The types of the whole clipboard. There may be types without items.
    virtual std::vector<std::string> types() = 0;

    /// The number of items; nothing if it can't be read.
    virtual std::optional<std::size_t> itemCount() = 0;

    /// The types of one item.
    virtual std::vector<std::string> typesOf(std::size_t item) = 0;

    /// The bytes of one item in one type; nothing if they can't be obtained.
    virtual std::optional<std::string> data(std::size_t item, const std::string& type) = 0;
};

} // namespace orvel
