#pragma once
// The general pasteboard: all items in all their types, as bytes.

#include "Orvel/desktop/Pasteboard.h"

namespace orvel {

/// The system takes a write only from the program that has emptied the pasteboard last, so nothing that
/// another one has put there meanwhile is lost. A type whose name can't be told has an empty name and no
/// data.
class MacPasteboard : public Pasteboard {
  public:
    void clearContents() override;
    bool setString(std::string_view text) override;
    bool writeItems(const std::vector<PasteboardItem>& items) override;
    std::int64_t changeCount() override;
    std::vector<std::string> types() override;
    std::optional<std::size_t> itemCount() override;
    std::vector<std::string> typesOf(std::size_t item) override;
    std::optional<std::string> data(std::size_t item, const std::string& type) override;
};

} // namespace orvel
