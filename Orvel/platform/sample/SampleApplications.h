#pragma once
// The applications of a sample: this program itself, and beside it only those of the sample's desktop.

#include "Orvel/desktop/Applications.h"

namespace orvel {

class SampleApplications : public Applications {
  public:
    /// `own` knows this program and its file manager, `others` the sample's desktop. Both outlive this
    /// object.
    SampleApplications(Applications& own, Applications& others) : own(own), others(others) {}

    ProcessID ownProcess() override { return others.ownProcess(); }
    void activateSelf() override {
        others.activateSelf();
        own.activateSelf();
    }
    bool revealFile(const std::string& path) override { return own.revealFile(path); }
    std::optional<RunningApplication> frontmost() override { return others.frontmost(); }
    std::vector<RunningApplication> running(const std::string& bundleID) override {
        return others.running(bundleID);
    }
    std::optional<RunningApplication> application(ProcessID process) override {
        return others.application(process);
    }
    std::optional<ApplicationBundle> bundleOf(ProcessID process) override { return others.bundleOf(process); }
    bool activate(ProcessID process) override { return others.activate(process); }
    std::optional<std::string> location(const std::string& bundleID) override {
        return others.location(bundleID);
    }
    std::optional<ApplicationBundle> bundleAt(const std::string& path) override {
        return others.bundleAt(path);
    }
    Task<bool> openApplication(std::string location) override {
        return others.openApplication(std::move(location));
    }
    bool openURL(const std::string& url) override { return others.openURL(url); }

  private:
    Applications& own;
    Applications& others;
};

} // namespace orvel
