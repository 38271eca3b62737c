#include "Orvel/platform/simulated/SimulatedApplications.h"

#include <algorithm>

namespace orvel {

namespace {

ApplicationBundle bundleFacts(const SimulatedApplication& application) {
    return {application.bundleID,
            application.version.empty() ? std::nullopt : std::optional(application.version)};
}

} // namespace

ProcessID SimulatedApplications::start(SimulatedApplication& application) {
    if (const auto known = processOf(application)) return known;
    const auto process = nextProcess++;
    processes[process] = &application;
    application.started(process);
    return process;
}

void SimulatedApplications::quit(SimulatedApplication& application) {
    const auto process = processOf(application);
    if (!process) return;
    processes.erase(process);
    if (front == process) front = 0;
    application.ended();
}

ProcessID SimulatedApplications::processOf(const SimulatedApplication& application) const {
    for (const auto& [process, running] : processes)
        if (running == &application) return process;
    return 0;
}

SimulatedApplication* SimulatedApplications::running(ProcessID process) const {
    const auto found = processes.find(process);
    return found == processes.end() ? nullptr : found->second;
}

void SimulatedApplications::paste(const std::string& text) {
    if (auto* application = inFront())
        application->pasted(text);
    else
        strayPastes.push_back(text);
}

std::optional<RunningApplication> SimulatedApplications::facts(ProcessID process) const {
    if (process == self) return RunningApplication{std::nullopt, self};
    const auto found = processes.find(process);
    if (found == processes.end()) return std::nullopt;
    return RunningApplication{found->second->bundleID, process};
}

void SimulatedApplications::bringToFrontLater(SimulatedApplication& application) {
    loop.outside(activationTime, [this, &application] {
        if (const auto process = processOf(application)) front = process;
    });
}

void SimulatedApplications::activateSelf() {
    steps.take("activateSelf", true);
    ++activations;
    if (!refusesActivation) front = self;
}

bool SimulatedApplications::revealFile(const std::string& path) {
    if (steps.take("revealFile", true).report) return false;
    revealed.push_back(path);
    return true;
}

std::optional<RunningApplication> SimulatedApplications::frontmost() {
    if (steps.take("frontmost").report) return std::nullopt;
    return facts(front);
}

std::vector<RunningApplication> SimulatedApplications::running(const std::string& bundleID) {
    std::vector<RunningApplication> found;
    if (steps.take("running").report) return found;
    for (const auto& [process, application] : processes)
        if (application->bundleID == bundleID) found.push_back({bundleID, process});
    return found;
}

std::optional<RunningApplication> SimulatedApplications::application(ProcessID process) {
    if (steps.take("applicationFacts").report) return std::nullopt;
    return facts(process);
}

std::optional<ApplicationBundle> SimulatedApplications::bundleOf(ProcessID process) {
    if (steps.take("bundleOf").report) return std::nullopt;
    const auto found = processes.find(process);
    return found == processes.end() ? std::nullopt : std::optional(bundleFacts(*found->second));
}

bool SimulatedApplications::activate(ProcessID process) {
    const auto step = steps.take("activate", true);
    const auto found = processes.find(process);
    if (found == processes.end() || refusesActivation) return false;
    if (!step.report || step.happens) bringToFrontLater(*found->second);
    return !step.report;
}

std::optional<std::string> SimulatedApplications::location(const std::string& bundleID) {
    if (steps.take("location").report) return std::nullopt;
    for (const auto* application : installed)
        if (application->bundleID == bundleID) return application->location;
    return std::nullopt;
}

std::optional<ApplicationBundle> SimulatedApplications::bundleAt(const std::string& path) {
    if (steps.take("bundleAt").report) return std::nullopt;
    for (const auto* application : installed)
        if (application->location == path) return bundleFacts(*application);
    const auto found = bundles.find(path);
    return found == bundles.end() ? std::nullopt : std::optional(found->second);
}

Task<bool> SimulatedApplications::openApplication(std::string location) {
    const auto step = steps.take("openApplication", true);
    const auto found = std::find_if(installed.begin(), installed.end(),
                                    [&](const auto* one) { return one->location == location; });
    if (found == installed.end() || (step.report && !step.happens) || !opens) co_return false;
    auto& application = **found;
    if (!processOf(application)) {
        loop.outside(startTime, [this, &application] { start(application); });
        co_await loop.sleep(startTime);
    }
    if (!refusesActivation) bringToFrontLater(application);
    co_return !step.report;
}

bool SimulatedApplications::openURL(const std::string& url) {
    const auto step = steps.take("openURL", true);
    if (step.report && !step.happens) return false;
    const auto taker =
        std::find_if(installed.begin(), installed.end(), [&](auto* one) { return one->takesURL(url); });
    if (taker == installed.end()) return false;
    openedURLs.push_back(url);
    auto& application = **taker;
    const auto delay = processOf(application) ? urlTime : startTime + urlTime;
    loop.outside(delay, [this, &application, url] {
        start(application);
        application.openURL(url);
    });
    bringToFrontLater(application);
    return !step.report;
}

} // namespace orvel
