#pragma once
// A simulated desktop's elements for a program with threads: whoever asks on another thread waits until the
// main loop's has looked, since nothing of the simulation may be touched elsewhere.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/unavailable/UnavailableUserInterfaces.h"
#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace orvel {

class MainThreadAccessibility : public Accessibility {
  public:
    /// Made on the loop's thread. Both outlive this object, and it the threads that ask.
    MainThreadAccessibility(MainLoop& loop, Accessibility& simulated) : loop(loop), simulated(simulated) {}

    bool isTrusted() override {
        return there([this] { return simulated.isTrusted(); }, false);
    }
    AXElement application(ProcessID process) override {
        return there([this, process] { return simulated.application(process); },
                     UnavailableAccessibility().application(process));
    }
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override {
        there(
            [this, element, timeout] {
                simulated.setMessagingTimeout(element, timeout);
                return true;
            },
            false);
    }
    AXReading attribute(const AXElement& element, std::string_view name) override {
        return there([this, element, name = std::string(name)] { return simulated.attribute(element, name); },
                     AXReading{AXStatus::cannotComplete, {}});
    }
    AXSettable isSettable(const AXElement& element, std::string_view name) override {
        return there(
            [this, element, name = std::string(name)] { return simulated.isSettable(element, name); },
            AXSettable{AXStatus::cannotComplete, false});
    }
    AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) override {
        return there([this, element, name = std::string(name),
                      value] { return simulated.setAttribute(element, name, value); },
                     AXStatus::cannotComplete);
    }
    AXActionNames actionNames(const AXElement& element) override {
        return there([this, element] { return simulated.actionNames(element); }, AXActionNames{});
    }
    AXStatus performAction(const AXElement& element, std::string_view name) override {
        return there(
            [this, element, name = std::string(name)] { return simulated.performAction(element, name); },
            AXStatus::cannotComplete);
    }
    AXReading elementAtPosition(AXPoint point) override {
        return there([this, point] { return simulated.elementAtPosition(point); },
                     AXReading{AXStatus::cannotComplete, {}});
    }
    std::optional<ProcessID> process(const AXElement& element) override {
        return there([this, element] { return simulated.process(element); }, std::optional<ProcessID>());
    }

  private:
    static constexpr std::chrono::milliseconds longestWait{200};

    // A loop that turns no more leaves the work undone.
    template <typename Work, typename Result>
    Result there(Work work, const Result& otherwise) {
        if (std::this_thread::get_id() == owner) return work();
        const auto done = std::make_shared<std::promise<Result>>();
        auto result = done->get_future();
        loop.post([done, work = std::move(work)]() mutable { done->set_value(work()); });
        return result.wait_for(longestWait) == std::future_status::ready ? result.get() : otherwise;
    }

    MainLoop& loop;
    Accessibility& simulated;
    const std::thread::id owner = std::this_thread::get_id();
};

} // namespace orvel
