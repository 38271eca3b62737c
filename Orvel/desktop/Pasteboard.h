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

/// One thing on the clipboard in all its forms: bytes by type.
using PasteboardItem = std::map<std::string, std::string>;

/// Belongs to the main loop's thread.
class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    // Writing. What is written stays as long as this program runs, also where the system has the writer keep
    // it.

    /// Takes everything off the clipboard.
    virtual void clearContents() = 0;

    /// Puts plain text on the clipboard; false if the system refuses.
    [[nodiscard]] virtual bool setString(std::string_view text) = 0;

    /// Puts the items on the clipboard, behind `clearContents`; false if the system refuses.
    [[nodiscard]] virtual bool writeItems(const std::vector<PasteboardItem>& items) = 0;

    // Reading. Bytes may be made by their owner only when they are asked for.

    /// Grows with every change of the clipboard by anybody.
    virtual std::int64_t changeCount() = 0;

    /// The types of the whole clipboard. There can be some without items.
    virtual std::vector<std::string> types() = 0;

    /// How many items there are; nothing if that can't be read.
    virtual std::optional<std::size_t> itemCount() = 0;

    /// The types of one of them.
    virtual std::vector<std::string> typesOf(std::size_t item) = 0;

    /// Its bytes of one type, or nothing if they can't be had.
    virtual std::optional<std::string> data(std::size_t item, const std::string& type) = 0;
};

} // namespace orvel
