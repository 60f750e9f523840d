#pragma once

namespace verrabel {

class Alerts;
class Clock;
class Compositor;
class DirectoryWatchers;
class FileDrags;
class FileIcons;
class FilePromises;
class FileTransfers;
class FloatingWindows;
class FullscreenWatch;
class Folders;
class Pointer;
class ProcessActivity;
class QueueFactory;
class Screens;
class Settings;
class StatusBar;
class TimerFactory;
class Workspace;

/// The operating-system services the shelf uses; real ones in the application, fakes in tests.
struct Platform {
    Folders& folders;
    Screens& screens;
    Pointer& pointer;
    Compositor& compositor;
    FloatingWindows& floating;
    FullscreenWatch& fullscreen;
    Clock& clock;
    Workspace& workspace;
    Alerts& alerts;
    QueueFactory& queues;
    TimerFactory& timers;
    DirectoryWatchers& watchers;
    FileIcons& icons;
    FileDrags& drags;
    FilePromises& promises;
    FileTransfers& transfers;
    ProcessActivity& activity;
    Settings& settings;
    StatusBar& statusBar;
};

} // namespace verrabel
