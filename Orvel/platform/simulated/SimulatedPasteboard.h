#pragma once
// The clipboard of a simulated desktop, on which other programs write too.

#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

class SimulatedPasteboard : public Pasteboard {
  public:
    explicit SimulatedPasteboard(SimulatedSteps& steps) : steps(steps) {}

    // The world's side

    /// Another program, or the person in it, copies something.
    void copiedElsewhere(std::vector<PasteboardItem> newItems);
    void copiedElsewhere(std::string_view newText);

    std::optional<std::string> text; ///< The plain text of the first item.
    bool refuses = false;
    bool holdsOneItem = false; ///< As on X, where more are refused.

    std::vector<PasteboardItem> contents() const;

    /// Called after each change, and only after those that this program did not make.
    std::function<void()> onChange, onForeignChange;

    // The port

    void clearContents() override;
    bool setString(std::string_view newText) override;
    bool writeItems(const std::vector<PasteboardItem>& newItems) override;
    std::int64_t changeCount() override;
    std::vector<std::string> types() override;
    std::optional<std::size_t> itemCount() override;
    std::vector<std::string> typesOf(std::size_t item) override;
    std::optional<std::string> data(std::size_t item, const std::string& type) override;

  private:
    void hold(std::vector<PasteboardItem> newItems);

    SimulatedSteps& steps;
    std::vector<PasteboardItem> items; ///< Empty where there is nothing but `text`.
    std::int64_t changes = 0;
};

} // namespace orvel
