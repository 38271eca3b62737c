#pragma once
// The applications of the desktop, as the workspace knows them.

#include "Orvel/desktop/Applications.h"
#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <memory>

namespace orvel {

/// Which applications run and which is in front is as of the last turn of the main run loop, in which the
/// system brings its news.
class MacApplications : public Applications {
  public:
    /// How long the system may take to open an application; an answer after that is dropped.
    static constexpr std::chrono::seconds openLimit{30};

    /// `own` knows this program's windows and the file manager. Both outlive this object.
    MacApplications(MainLoop& loop, Applications& own);
    ~MacApplications() override;

    ProcessID ownProcess() override;
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
    /// Refuses what the system would open in another form than given.
    bool openURL(const std::string& url) override;

  private:
    struct Answers;
    class Opening;

    MainLoop& loop;
    Applications& own;
    std::shared_ptr<Answers> answers;
};

} // namespace orvel
