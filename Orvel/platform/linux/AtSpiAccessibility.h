#pragma once
// The accessibility interface of Linux desktops: AT-SPI2 over D-Bus. Points are the screen's pixels.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/linux/AccessibilityBus.h"
#include "Orvel/platform/linux/AtSpiVocabulary.h"
#include "Orvel/platform/linux/CompositionSource.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What a write takes besides the bus: keys go to the window that has the focus, and the clipboard is one.
/// Called by the thread that writes.
class AtSpiKeys {
  public:
    virtual ~AtSpiKeys() = default;

    /// Presses the key that erases what is selected. False if nothing was pressed.
    virtual bool erase() = 0;
    /// Owns the clipboard and presses the key that pastes. False if nothing was pressed.
    virtual bool paste(const std::string& text) = 0;
    /// Gives the clipboard back what it held. Called once behind `paste`.
    virtual void restoreClipboard() = 0;
};

class AtSpiAccessibility : public Accessibility {
  public:
    /// All outlive the object. Without keys nothing can be written; without a source of compositions no
    /// editor tells of marked text.
    explicit AtSpiAccessibility(AccessibilityBus& bus, AtSpiKeys* keys = nullptr,
                                CompositionSource* compositions = nullptr)
        : bus(bus), keys(keys), compositions(compositions) {}

    bool isTrusted() override;
    AXElement application(ProcessID process) override;
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override;
    AXReading attribute(const AXElement& element, std::string_view name) override;
    AXSettable isSettable(const AXElement& element, std::string_view name) override;
    AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) override;
    AXActionNames actionNames(const AXElement& element) override;
    AXStatus performAction(const AXElement& element, std::string_view name) override;
    AXReading elementAtPosition(AXPoint point) override;
    std::optional<ProcessID> process(const AXElement& element) override;

  private:
    /// What an operation is about, and until when.
    struct Target {
        AXStatus status = AXStatus::success;
        BusReference object;
        BusDeadline deadline;
    };
    struct Known {
        AXStatus status = AXStatus::success;
        AtSpiFacts facts;
    };
    struct Objects {
        AXStatus status = AXStatus::success;
        std::vector<BusReference> objects;
    };
    struct Window {
        BusReference object;
        AtSpiFacts facts;
    };
    struct Windows {
        AXStatus status = AXStatus::success;
        std::vector<Window> windows;
        bool isFocusKnown = false; ///< The element that had the focus has it still.
    };
    struct Focus {
        BusReference window, element;
    };
    using Reader = AXReading (AtSpiAccessibility::*)(const Target& target, std::string_view name);

    static Reader readerOf(std::string_view name);
    BusDeadline deadlineOf(const AXElement& element);
    Target target(const AXElement& element);
    Known know(const Target& target, unsigned needs);
    Objects children(const Target& target);
    Windows windows(const Target& application, const std::optional<Focus>& focus);
    std::optional<BusReference> parent(const Target& target, AXStatus& status);

    AXReading readRole(const Target& target, std::string_view name);
    AXReading readLabel(const Target& target, std::string_view name);
    AXReading readClasses(const Target& target, std::string_view name);
    AXReading readState(const Target& target, std::string_view name);
    AXReading readValue(const Target& target, std::string_view name);
    AXReading readRange(const Target& target, std::string_view name);
    AXReading readURL(const Target& target, std::string_view name);
    AXReading readChildren(const Target& target, std::string_view name);
    AXReading readParent(const Target& target, std::string_view name);
    AXReading readWindow(const Target& target, std::string_view name);
    AXReading readExtents(const Target& target, std::string_view name);
    AXReading readFocusedWindow(const Target& target, std::string_view name);
    AXReading readFocusedElement(const Target& target, std::string_view name);
    AXReading readUnknown(const Target& target, std::string_view name);

    AXStatus wake(const AXElement& element);
    AXStatus write(const Target& target, const std::string& text);

    AccessibilityBus& bus;
    AtSpiKeys* keys;
    CompositionSource* compositions;

    std::mutex mutex; // Guards what follows.
    using Timeouts = std::map<BusReference, std::chrono::milliseconds>;
    Timeouts timeouts, olderTimeouts;
    std::chrono::milliseconds otherTimeout{1'000}; ///< Of elements without one of their own.
    std::map<std::string, Focus> focuses;          ///< The last known of each program.
};

} // namespace orvel
