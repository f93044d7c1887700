#pragma once

class AutomaticTermination;
class Bundles;
class Clock;
class ConsoleLog;
class Directories;
class Dispatch;
class FileManager;
class MetadataQueries;
class OperatingSystem;
class Scripting;
class TextServices;
class Threads;
class URLSessions;
class UnifiedLog;
class UserDefaults;
class WindowServer;
class Workspace;
class XMLServices;

/// The services that a process has one of each: what the platform's shared instances are elsewhere. They belong to the
/// wiring, which makes them before this and destroys them after it. Each port says which threads may call it. Made with
/// the members' names, since many of them are alike: `{.clock = ..., .dispatch = ..., ...}`.
struct Platform {
    Clock& clock;
    Dispatch& dispatch;
    FileManager& fileManager;
    Directories& directories;
    Bundles& bundles;
    MetadataQueries& metadataQueries;
    Workspace& workspace;
    Scripting& scripting;
    WindowServer& windowServer;
    TextServices& text;
    XMLServices& xml;
    AutomaticTermination& automaticTermination;
    OperatingSystem& operatingSystem;
    UnifiedLog& unifiedLog;
    ConsoleLog& consoleLog;
    UserDefaults& userDefaults;
    /// Null in a process that was wired without an HTTP client; who calls web services needs one.
    URLSessions* urlSessions = nullptr;
    /// Null in a process where nothing asks for a thread of its own; blocking callers of web services do.
    Threads* threads = nullptr;
};

namespace detail {
/// What `installPlatform` has set; others go through `platform()`.
inline const Platform* installedPlatform = nullptr;
}  // namespace detail

/// Makes a platform the one behind `platform()`; null takes it away. The wiring calls it once, before other threads
/// start; tests call it for each simulated platform. The caller keeps the platform until nobody uses it any more.
inline void installPlatform(const Platform* installed) {
    detail::installedPlatform = installed;
}

/// The installed platform. There must be one. Any thread.
[[nodiscard]] inline const Platform& platform() {
    return *detail::installedPlatform;
}
