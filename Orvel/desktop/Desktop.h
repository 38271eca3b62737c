#pragma once
// Everything outside Orvel that its application logic may touch. Main files choose what stands behind each
// port.

namespace orvel {

class Applications;
class FileStore;
class MainLoop;
class Panels;
class Pasteboard;
class Processes;
class Settings;

/// References to the ports; whoever makes it keeps them alive.
struct Desktop {
    MainLoop& loop;
    Pasteboard& pasteboard;
    Panels& panels;
    Applications& applications;
    Settings& settings;
    FileStore& files;
    Processes& processes;
};

} // namespace orvel
