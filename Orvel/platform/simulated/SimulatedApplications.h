#pragma once
// The applications of a simulated desktop: which are installed, which run, and which has the keyboard.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/WorldLoop.h"

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// A key on its way to an application, with what it types there; nothing where it types nothing.
struct SimulatedKey {
    TapEvent event;
    std::string text;
};

/// An application that can be installed on a simulated desktop. What happens to it comes from outside.
class SimulatedApplication {
  public:
    SimulatedApplication(std::string bundleID, std::string version, std::string location)
        : bundleID(std::move(bundleID)), version(std::move(version)), location(std::move(location)) {}
    virtual ~SimulatedApplication() = default;

    virtual void started(ProcessID) {}
    virtual void ended() {}
    /// Asked to open a URL; false if it doesn't take such ones.
    virtual bool takesURL(const std::string&) { return false; }
    virtual void openURL(const std::string&) {}
    /// A key, a modifier or a click reaches it: the person's while it has the keyboard, or one that a program
    /// sent to it.
    virtual void pressed(const SimulatedKey& key) {
        if (key.event.type == TapEventType::keyDown && !key.text.empty()) typed(key.text);
    }
    /// An input method shows a text that is not confirmed, in place of the one before; confirmed, it is
    /// typed.
    virtual void composes(const std::string&) {}
    /// The person types a character while the application has the keyboard.
    virtual void typed(const std::string&) {}
    /// A program clicks at a point while it is in front.
    virtual void clicked(AXPoint) {}
    /// Something is pasted while it has the keyboard.
    virtual void pasted(const std::string&) {}

    const std::string bundleID;
    std::string version; ///< Empty if it can't be known.
    const std::string location;
};

class SimulatedApplications : public Applications {
  public:
    static constexpr ProcessID self = 4'000;

    SimulatedApplications(WorldLoop& loop, SimulatedSteps& steps) : loop(loop), steps(steps) {}

    // The world's side

    /// The application lives as long as this object.
    void install(SimulatedApplication& application) { installed.push_back(&application); }
    ProcessID start(SimulatedApplication& application);
    void quit(SimulatedApplication& application);
    /// Gives the keyboard to a process; 0 to none.
    void bringToFront(ProcessID process) { front = process; }
    /// The process of an application that runs, else 0.
    ProcessID processOf(const SimulatedApplication& application) const;
    /// Pastes into whatever has the keyboard.
    void paste(const std::string& text);
    /// The application that has the keyboard, or null.
    SimulatedApplication* inFront() const { return running(front); }
    ProcessID processInFront() const { return front; }
    /// The application that runs as this process, or null.
    SimulatedApplication* running(ProcessID process) const;

    std::chrono::nanoseconds startTime{800'000'000}, activationTime{120'000'000}, urlTime{40'000'000};
    bool refusesActivation = false;
    bool opens = true;                                ///< What opening an application ends with.
    std::map<std::string, ApplicationBundle> bundles; ///< Besides those of installed applications, by place.

    std::vector<std::string> strayPastes; ///< Into what is no application of the simulation.
    int activations = 0;                  ///< Of this program, by itself.
    std::vector<std::string> revealed;
    std::vector<std::string> openedURLs;

    // The port

    ProcessID ownProcess() override { return self; }
    void activateSelf() override;
    bool revealFile(const std::string& path) override;
    std::optional<RunningApplication> frontmost() override;
    std::vector<RunningApplication> running(const std::string& bundleID) override;
    std::optional<RunningApplication> application(ProcessID process) override;
    std::optional<ApplicationBundle> bundleOf(ProcessID process) override;
    bool activate(ProcessID process) override;
    std::optional<std::string> location(const std::string& bundleID) override;
    std::optional<ApplicationBundle> bundleAt(const std::string& path) override;
    Task<bool> openApplication(std::string location) override;
    bool openURL(const std::string& url) override;

  private:
    std::optional<RunningApplication> facts(ProcessID process) const;
    void bringToFrontLater(SimulatedApplication& application);

    WorldLoop& loop;
    SimulatedSteps& steps;
    std::vector<SimulatedApplication*> installed;
    std::map<ProcessID, SimulatedApplication*> processes;
    ProcessID front = self, nextProcess = 5'001;
};

} // namespace orvel
