#pragma once

class Bundles;
class Clock;
class ConsoleLog;
class Dispatch;
class FileManager;
class MetadataQueries;
class ProcessInfo;
class Scripting;
class TextServices;
class Threads;
class URLSessions;
class UnifiedLog;
class UserDefaults;
class WindowServer;
class Workspace;
class XMLServices;

/// The services that a process has one of each: what the platform's shared instances are elsewhere.
struct Platform {
    Clock& clock;
    Dispatch& dispatch;
    FileManager& fileManager;
    Bundles& bundles;
    MetadataQueries& metadataQueries;
    Workspace& workspace;
    Scripting& scripting;
    WindowServer& windowServer;
    TextServices& text;
    XMLServices& xml;
    ProcessInfo& processInfo;
    UnifiedLog& unifiedLog;
    ConsoleLog& consoleLog;
    UserDefaults& userDefaults;
    URLSessions* urlSessions = nullptr;  ///< null in a process that was wired without an HTTP client
    Threads* threads = nullptr;          ///< null where nothing asks for a thread of its own
};

namespace detail {
inline const Platform* installedPlatform = nullptr;
}

/// Makes a platform the one behind `platform()`. Called once by the wiring, before other threads start; tests call
/// it for each simulated platform. The platform must outlive its use.
inline void installPlatform(const Platform* installed) {
    detail::installedPlatform = installed;
}

/// The installed platform; there must be one.
[[nodiscard]] inline const Platform& platform() {
    return *detail::installedPlatform;
}
