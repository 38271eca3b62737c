#pragma once
// A desktop on which nothing is known of applications: none is in front, none is found, none can be opened.

#include "Orvel/desktop/Applications.h"

namespace orvel {

/// Also a base for platforms that know a part of it.
class UnavailableApplications : public Applications {
  public:
    ProcessID ownProcess() override { return 0; }
    void activateSelf() override {}
    bool revealFile(const std::string&) override { return false; }
    std::optional<RunningApplication> frontmost() override { return std::nullopt; }
    std::vector<RunningApplication> running(const std::string&) override { return {}; }
    std::optional<RunningApplication> application(ProcessID) override { return std::nullopt; }
    std::optional<ApplicationBundle> bundleOf(ProcessID) override { return std::nullopt; }
    bool activate(ProcessID) override { return false; }
    std::optional<std::string> location(const std::string&) override { return std::nullopt; }
    std::optional<ApplicationBundle> bundleAt(const std::string&) override { return std::nullopt; }
    Task<bool> openApplication(std::string) override { co_return false; }
    bool openURL(const std::string&) override { return false; }
};

} // namespace orvel
