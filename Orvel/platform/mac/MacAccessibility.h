#pragma once
// The user interfaces of other programs by macOS's accessibility interface.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/mac/CFOwned.h"

#include <ApplicationServices/ApplicationServices.h>

#include <chrono>
#include <mutex>
#include <unordered_map>

namespace orvel {

/// The system's status numbers reach the caller as they are. No call is made on an element that has no
/// messaging timeout: one that was given none has `ownTimeout`, since the system's own is seconds. Writes
/// take strings and booleans; all else fails unsent. Which process an element belongs to is asked of the
/// handle alone, so it is known of what is gone, too.
class MacAccessibility : public Accessibility {
  public:
    static constexpr std::chrono::milliseconds ownTimeout{1'000};

    MacAccessibility();

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
    struct Hash {
        std::size_t operator()(const CFOwned<AXUIElementRef>& element) const;
    };
    struct Equal {
        bool operator()(const CFOwned<AXUIElementRef>& one, const CFOwned<AXUIElementRef>& other) const;
    };
    using Timeouts = std::unordered_map<CFOwned<AXUIElementRef>, std::chrono::milliseconds, Hash, Equal>;

    std::chrono::milliseconds timeoutOf(const CFOwned<AXUIElementRef>& element);
    AXStatus bound(AXUIElementRef element);

    CFOwned<AXUIElementRef> everything; ///< The whole screen.
    std::mutex mutex;                   ///< Of what follows.
    Timeouts timeouts, olderTimeouts;
    std::chrono::milliseconds otherTimeout = ownTimeout; ///< Of elements without one of their own.
};

} // namespace orvel
