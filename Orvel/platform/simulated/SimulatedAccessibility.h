#pragma once
// The accessibility interface of a simulated desktop: reads take time, time out, and find elements gone.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/simulated/SimulatedApplications.h"
#include "Orvel/platform/simulated/SimulatedElement.h"
#include "Orvel/platform/simulated/SimulatedPasteboard.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/WorldLoop.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace orvel {

/// How long calls take. As measured on a real desktop: half of them within `median`, one in a hundred longer
/// than `rare`, one in a thousand up to `worst`.
struct SimulatedLatency {
    std::chrono::nanoseconds median{200'000}, rare{4'000'000}, worst{20'000'000};

    std::chrono::nanoseconds draw(SimulatedChance& chance) const;
};

class SimulatedAccessibility : public Accessibility {
  public:
    SimulatedAccessibility(WorldLoop& loop, SimulatedSteps& steps, SimulatedApplications& applications,
                           SimulatedPasteboard& pasteboard)
        : loop(loop), steps(steps), front(applications), pasteboard(pasteboard) {}

    // The world's side

    SimulatedElement::Shared makeElement(std::string_view role) {
        return std::make_shared<SimulatedElement>(++madeElements, role);
    }
    /// The element of an application that runs; null when it ends.
    void setApplication(ProcessID process, SimulatedElement::Shared element);

    bool trusted = true;
    SimulatedLatency latency;
    std::chrono::nanoseconds writeTime{1'000'000};
    /// How much later than they happen the programs show what the person does; 0 on a platform that always
    /// shows it. The programs themselves decide what they show.
    std::chrono::nanoseconds lag{0};
    /// The platform knows no writes: it owns the clipboard, and pastes into whatever has the keyboard
    /// `writeTime` after the call, unless the clipboard holds something else by then. It returns when it
    /// reads the text.
    bool composesWrites = false;
    std::chrono::milliseconds ownBound{6'000}; ///< Of calls on elements without a timeout of their own.
    std::chrono::milliseconds greatestBound{
        100'000}; ///< What the platform takes at most, however long it may.
    bool supportsReadAhead = false, supportsSearch = false, supportsBatches = false;
    SimulatedChance chance{1};

    /// Told as the value of an attribute is taken from an element, for a read or ahead of one.
    std::function<void(const SimulatedElement& element, std::string_view name, bool isAhead)> onRead;

    /// How many attributes have been read.
    std::uint64_t reads() const { return readCount; }

    // The port

    bool isTrusted() override;
    AXElement application(ProcessID process) override;
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override;
    AXReading attribute(const AXElement& element, std::string_view name) override;
    std::vector<AXReading> attributes(std::span<const AXRequest> requests) override;
    AXSettable isSettable(const AXElement& element, std::string_view name) override;
    AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) override;
    AXActionNames actionNames(const AXElement& element) override;
    AXStatus performAction(const AXElement& element, std::string_view name) override;
    AXReading elementAtPosition(AXPoint point) override;
    void awaitShown(std::chrono::nanoseconds sinceInput) override;
    std::optional<ProcessID> process(const AXElement& element) override;
    std::unique_ptr<AXReadAhead> readAhead(const AXElement& root, std::span<const std::string_view> names,
                                           std::size_t limit) override;
    Task<std::optional<AXElements>> search(AXElement root, std::vector<std::string> roles,
                                           std::size_t limit) override;

  private:
    class ReadAhead;
    struct FetchedValue {
        AXReading reading;
        MainLoop::Duration arrival;
    };
    /// How a call on an element went: the element if it is to be answered.
    struct Call {
        SimulatedElement* element = nullptr;
        AXStatus status = AXStatus::success;
        bool happens = true;
    };

    static SimulatedElement* elementOf(const AXElement& handle);
    Call begin(std::string_view operation, const AXElement& handle, std::string_view name, bool isWrite,
               std::chrono::nanoseconds duration, bool isKnown = false);
    std::optional<FetchedValue> fetchedValue(const AXElement& handle, std::string_view name) const;
    AXReading read(const AXElement& handle, std::string_view name, std::chrono::nanoseconds duration);
    AXReading valueOf(SimulatedElement& element, std::string_view name) const;
    static AXStatus write(SimulatedElement& element, std::string_view name, const AXValue& value);
    AXStatus compose(SimulatedElement& element, std::string_view name, const AXValue& value);
    MainLoop::Duration endOfFetches() const;

    WorldLoop& loop;
    SimulatedSteps& steps;
    SimulatedApplications& front;
    SimulatedPasteboard& pasteboard;
    std::uint64_t madeElements = 0, readCount = 0;
    std::map<ProcessID, SimulatedElement::Shared> applications;
    std::vector<ReadAhead*> fetched;
};

} // namespace orvel
