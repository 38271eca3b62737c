#pragma once
// The accessibility interface of Linux desktops: AT-SPI2 over D-Bus. Points are the screen's pixels.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/linux/AccessibilityBus.h"
#include "Orvel/platform/linux/AtSpiFocus.h"
#include "Orvel/platform/linux/AtSpiReadAhead.h"
#include "Orvel/platform/linux/AtSpiRounds.h"
#include "Orvel/platform/linux/AtSpiTextReader.h"
#include "Orvel/platform/linux/AtSpiVocabulary.h"
#include "Orvel/platform/linux/CompositionSource.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What a write takes besides the bus. Both keys go to the window that has the focus, and only if that is the
/// process's as they are pressed; each selects all before. Called by the thread that writes.
class AtSpiKeys {
  public:
    virtual ~AtSpiKeys() = default;

    /// Presses the key that erases. False if nothing was pressed.
    virtual bool erase(ProcessID process) = 0;
    /// Owns the clipboard with the text, and presses the key that pastes. False if nothing was pressed.
    virtual bool paste(const std::string& text, ProcessID process) = 0;
    /// Gives the clipboard back what it held, unless somebody has used it since. Called once behind `paste`.
    virtual void restoreClipboard() = 0;
};

/// What stands around the bus. Without one of them, what needs it is not supported.
struct AtSpiSurroundings {
    AtSpiKeys* keys = nullptr;                 ///< For writes.
    MainLoop* loop = nullptr;                  ///< For searches.
    CompositionSource* compositions = nullptr; ///< For marked text.
    /// Whether a process shows windows. Callable from any thread.
    std::function<bool(ProcessID)> hasWindows;
    /// A program that shows windows and has not joined the bus by then did not join when it started.
    std::chrono::milliseconds joinLimit{10'000};
};

class AtSpiAccessibility : public Accessibility {
  public:
    /// The bus and the surroundings outlive the object.
    explicit AtSpiAccessibility(AccessibilityBus& bus, AtSpiSurroundings surroundings = {});

    /// A browser's tree shows a typed key after 15 ms in the median, and 47 ms in a page of 4,000 elements.
    static constexpr std::chrono::milliseconds lag{50};

    bool isTrusted() override;
    AXElement application(ProcessID process) override;
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override;
    AXReading attribute(const AXElement& element, std::string_view name) override;
    std::vector<AXReading> attributes(std::span<const AXRequest> requests) override;
    AXSettable isSettable(const AXElement& element, std::string_view name) override;
    /// Text is written with the keys, once the editor has the focus of the active window.
    AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) override;
    AXActionNames actionNames(const AXElement& element) override;
    AXStatus performAction(const AXElement& element, std::string_view name) override;
    AXReading elementAtPosition(AXPoint point) override;
    void awaitShown(std::chrono::nanoseconds sinceInput) override;
    std::optional<ProcessID> process(const AXElement& element) override;
    std::unique_ptr<AXReadAhead> readAhead(const AXElement& root, std::span<const std::string_view> names,
                                           std::size_t limit) override;
    /// Of programs whose searches are known to leave nothing out.
    Task<std::optional<AXElements>> search(AXElement root, std::vector<std::string> roles,
                                           std::size_t limit) override;

  private:
    /// What an operation is about, and until when.
    struct Target {
        AXStatus status = AXStatus::success;
        BusReference object;
        BusDeadline deadline;
    };
    /// What is being read.
    struct Reading {
        AtSpiRounds* rounds;
        BusReference object;
        std::string_view name;
        bool isAhead = false; ///< One of so many that only what is needed is asked.
    };
    struct Known {
        AXStatus status = AXStatus::success;
        AtSpiFacts facts;
    };
    struct Objects {
        AXStatus status = AXStatus::success;
        std::vector<BusReference> objects;
    };
    struct Parent {
        AXStatus status = AXStatus::success;
        BusReference object;
        AtSpiFacts facts; ///< Role and states of the child.
    };
    struct Window {
        BusReference object;
        AtSpiFacts facts;
    };
    struct Windows {
        AXStatus status = AXStatus::success;
        std::vector<Window> windows;
        bool isFocused = false; ///< The element that was asked about has the focus.
    };
    struct Focused {
        AXStatus status = AXStatus::success;
        std::optional<AtSpiFocus::Place> place;
    };
    using Reader = Task<AXReading> (AtSpiAccessibility::*)(Reading in);

    static Reader readerOf(std::string_view name);
    BusDeadline deadlineOf(const AXElement& element);
    Target target(const AXElement& element);
    Task<Known> know(Reading in, unsigned needs);
    Known know(const Target& target, unsigned needs);
    Task<Objects> children(Reading in);
    Task<Parent> parent(Reading in);
    Task<Windows> windows(Reading application, std::optional<BusReference> focused);
    static std::vector<Window> candidates(std::vector<Window> windows);
    Task<Focused> searchFocus(Reading in, std::vector<Window> windows);
    std::optional<AtSpiFocus::Place> windowOf(const BusReference& element);
    std::optional<AtSpiFocus::Place> searchFocus(const BusReference& application);

    Task<AXReading> read(Reading in);
    Task<AXReading> readRole(Reading in);
    Task<AXReading> readLabel(Reading in);
    Task<AXReading> readClasses(Reading in);
    Task<AXReading> readState(Reading in);
    Task<AXReading> readValue(Reading in);
    Task<AXReading> readRange(Reading in);
    Task<AXReading> readURL(Reading in);
    Task<AXReading> readChildren(Reading in);
    Task<AXReading> readParent(Reading in);
    Task<AXReading> readWindow(Reading in);
    Task<AXReading> readExtents(Reading in);
    Task<AXReading> readFocusedWindow(Reading in);
    Task<AXReading> readFocusedElement(Reading in);
    Task<AXReading> readUnknown(Reading in);
    Task<AtSpiTextReading> readText(Reading in);
    bool isKnownEditor(const BusReference& object);
    static AXReading valueOf(AtSpiTextReading reading, std::string_view name);
    std::vector<AXReading> readTogether(std::span<const AtSpiReadAhead::Wanted> wanted);

    std::optional<std::vector<BusReference>> find(const BusReference& root,
                                                  const std::vector<std::string>& roles, std::size_t limit);
    Task<std::optional<std::size_t>> depth(Reading in, BusReference root);

    AXStatus wake(const AXElement& element);
    bool isAbsentForLong(ProcessID process);
    AXStatus write(const Target& target, const std::string& text);
    AXStatus takeFocus(const Target& target);
    AXStatus proveFocus(const Target& target, const BusReference& window);
    std::optional<std::string> textOf(const Target& target);
    bool showsTwice(const Target& target, const std::string& text);

    AccessibilityBus& bus;
    const AtSpiSurroundings surroundings;

    std::mutex mutex; // Guards what follows.
    using Timeouts = std::map<BusReference, std::chrono::milliseconds>;
    Timeouts timeouts, olderTimeouts;
    std::chrono::milliseconds otherTimeout{1'000}; ///< Of elements without one of their own.
    std::set<BusReference> editors;                ///< Those that were read as such.
    std::map<ProcessID, BusDeadline> absences;     ///< Since when a process with windows is not on the bus.

    // They have threads of their own, which end before all else.
    AtSpiFocus focus;
    AtSpiReadAhead fetches;
};

} // namespace orvel
