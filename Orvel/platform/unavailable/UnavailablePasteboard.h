#pragma once
// A clipboard that takes nothing and can't be read.

#include "Orvel/desktop/Pasteboard.h"

namespace orvel {

/// Also a base for platforms that can only write plain text.
class UnavailablePasteboard : public Pasteboard {
  public:
    void clearContents() override {}
    bool setString(std::string_view) override { return false; }
    bool writeItems(const std::vector<PasteboardItem>&) override { return false; }
    std::int64_t changeCount() override { return 0; }
    std::vector<std::string> types() override { return {}; }
    std::optional<std::size_t> itemCount() override { return std::nullopt; }
    std::vector<std::string> typesOf(std::size_t) override { return {}; }
    std::optional<std::string> data(std::size_t, const std::string&) override { return std::nullopt; }
};

} // namespace orvel
