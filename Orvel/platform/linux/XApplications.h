#pragma once
// The applications of an X desktop, as its window manager knows them.

#include "Orvel/desktop/Applications.h"
#include "Orvel/platform/linux/DesktopEntries.h"
#include "Orvel/platform/linux/ProductVersions.h"
#include "Orvel/runtime/MainLoop.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orvel {

class XConnection;
struct XWindowClass;

/// How an application that is told by its bundle identifier elsewhere is told here.
struct XApplicationName {
    std::string bundleID;
    std::string windowClass; ///< Either part of WM_CLASS, in any case.
    std::string scheme;      ///< Of the URLs for which it alone is registered; empty if there is none.
};

/// The agents, and the browser in which ChatGPT is asked.
std::vector<XApplicationName> knownXApplications();

/// An application runs if it has a window that the window manager manages. Without a server or a window
/// manager none is found. A version is known some time after it was first asked for, or never.
class XApplications : public Applications {
  public:
    /// The connection, the loop and the processes outlive this object.
    XApplications(XConnection& connection, MainLoop& loop, Processes& processes,
                  std::vector<XApplicationName> names = knownXApplications());

    ProcessID ownProcess() override;
    void activateSelf() override;
    bool revealFile(const std::string& path) override;
    std::optional<RunningApplication> frontmost() override;
    /// In the order of their oldest windows.
    std::vector<RunningApplication> running(const std::string& bundleID) override;
    std::optional<RunningApplication> application(ProcessID process) override;
    std::optional<ApplicationBundle> bundleOf(ProcessID process) override;
    bool activate(ProcessID process) override;
    /// The desktop file that is registered for the application's URLs.
    std::optional<std::string> location(const std::string& bundleID) override;
    /// Of a desktop file, what it declares.
    std::optional<ApplicationBundle> bundleAt(const std::string& path) override;
    Task<bool> openApplication(std::string location) override;
    bool openURL(const std::string& url) override;

  private:
    std::optional<RunningApplication> ownerOf(std::uint32_t window);
    RunningApplication named(ProcessID process, const XWindowClass& windowClass) const;
    std::vector<RunningApplication> all();

    XConnection& connection;
    MainLoop& loop;
    DesktopEntries entries;
    ProductVersions versions;
    std::vector<XApplicationName> names;
};

} // namespace orvel
