#pragma once
// Everything outside Orvel that its application logic may touch. Whoever assembles a platform chooses what
// stands behind each port; an object takes only the ports that it uses.

namespace orvel {

class Accessibility;
class Applications;
class EventPosting;
class FileStore;
class InputSources;
class KeyboardTap;
class LocalFiles;
class MainLoop;
class Panels;
class Pasteboard;
class Processes;
class Settings;
class SideQueue;
class Updater;
class WindowList;
class ZipArchives;
struct DesktopSession;

/// References to the ports, which outlive it.
struct Desktop {
    MainLoop& loop;
    SideQueue& sideQueue;
    FileStore& files;
    Processes& processes;
    Settings& settings;
    Pasteboard& pasteboard;
    Panels& panels;
    Applications& applications;
    Accessibility& accessibility;
    KeyboardTap& keyboardTap;
    EventPosting& eventPosting;
    InputSources& inputSources;
    WindowList& windows;
    LocalFiles& localFiles;
    ZipArchives& zipArchives;
    const DesktopSession& session;
    Updater* updater = nullptr; ///< Null where the platform has no framework for updates.
};

} // namespace orvel
