#pragma once
// Everything outside Orvel that its application logic may use. The main files choose an implementation for
// each port.

namespace orvel {

class Applications;
class FileStore;
class MainLoop;
class Panels;
class Pasteboard;
class Processes;
class Settings;

/// References to the ports, which outlive it.
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
