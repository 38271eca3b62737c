#pragma once
// Reads attributes of another program's elements: each within a timeout, with pauses for the loop in between,
// and with one exception for all reads that fail.

#include "Orvel/accessibility/Pace.h"
#include "Orvel/desktop/Accessibility.h"
#include "OrvelCore/text/Failure.h"

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// The attributes that may name a control, in the order of the reads.
inline constexpr std::array<std::string_view, 3> labelAttributes{"AXTitle", "AXDescription", "AXHelp"};

/// An attribute could not be read.
class AccessibilityReadFailure : public Failure {
  public:
    AccessibilityReadFailure(std::string text, std::string_view attribute, AXStatus status)
        : Failure("axReadFailed", std::move(text)), attributeName(attribute), axStatus(status) {}

    const std::string& attribute() const noexcept { return attributeName; }
    AXStatus status() const noexcept { return axStatus; }

    /// Whether a window that is being redrawn may cause it, so that a later read may succeed.
    bool isTransient() const noexcept {
        return axStatus == AXStatus::cannotComplete || axStatus == AXStatus::invalidElement;
    }

  private:
    std::string attributeName;
    AXStatus axStatus;
};

/// Belongs to the main loop's thread. The loop and the port outlive it.
class AccessibilityReads {
  public:
    /// Called for each read that fails; may throw an AccessibilityReadFailure of its own.
    using FailureHandler = std::function<void(std::string_view attribute, AXStatus status)>;

    /// `elementTimeout` is that of every element passed to `bound`.
    AccessibilityReads(MainLoop& loop, Accessibility& accessibility, std::chrono::milliseconds elementTimeout,
                       FailureHandler onFailure = nullptr)
        : accessibility(accessibility),
          elementTimeout(elementTimeout),
          onFailure(std::move(onFailure)),
          pace(loop) {}

    Accessibility& port() const { return accessibility; }

    /// Bounds all reads of the element by the timeout.
    void bound(const AXElement& element) const { accessibility.setMessagingTimeout(element, elementTimeout); }

    /// The value of an attribute; nothing if there is none. Throws AccessibilityReadFailure, as do the
    /// functions below.
    AXValue value(const AXElement& element, std::string_view attribute) const;
    /// What `value` gives for a reading that was taken already.
    AXValue checked(AXReading reading, std::string_view attribute) const;
    /// The value if it is a string.
    std::optional<std::string> string(const AXElement& element, std::string_view attribute) const;
    /// The value if it is an element.
    std::optional<AXElement> element(const AXElement& element, std::string_view attribute) const;

    /// The values of several attributes, in the same order, asked for together where the platform can.
    std::vector<AXValue> values(std::span<const AXRequest> requests) const;

    using ReadAheads = std::vector<std::unique_ptr<AXReadAhead>>;
    /// Tells the platform that these attributes of each element are about to be read once.
    [[nodiscard]] ReadAheads announce(std::span<const AXElement> elements,
                                      std::span<const std::string_view> attributes) const;

    /// Pauses for the loop when it is time to: `co_await reads.step()` before each read.
    auto step() { return pace.step(); }

  private:
    Accessibility& accessibility;
    std::chrono::milliseconds elementTimeout;
    FailureHandler onFailure;
    Pace pace;
};

} // namespace orvel
