#pragma once

/// Names of the D-Bus contracts in this folder, and of the bus itself.
namespace bus {

inline constexpr const char* kServiceName = "com.veldrin.KeynoteCaptureService";
inline constexpr const char* kServiceInterface = "com.veldrin.KeynoteCaptureServiceProtocol";
inline constexpr const char* kServicePath = "/com/veldrin/KeynoteCaptureService";
inline constexpr const char* kDelegatePath = "/com/veldrin/KeynoteCaptureServiceDelegate";
inline constexpr const char* kProgramPath = "/com/veldrin/PresentationProgram";
inline constexpr const char* kProgramInterface = "com.veldrin.PresentationProgram";
/// Name of the error with which a presentation program refuses a call.
inline constexpr const char* kProgramFailed = "com.veldrin.PresentationProgram.Error.Failed";
/// A presentation program's name is its bundle identifier, this, and a number.
inline constexpr const char* kInstanceInfix = ".instance";
/// The bridge to Impress that waits for its user's offices, and the pipe on which they listen.
inline constexpr const char* kBridgeName = "com.veldrin.KeynoteImpress";
inline constexpr const char* kBridgePipe = "keynote-capture";
/// What a D-Bus error name begins with when it carries an error value: then domain, ".Code" and the code follow.
inline constexpr const char* kErrorPrefix = "com.veldrin.Error.";

/// The bus daemon's own name and interface, and its object.
inline constexpr const char* kBusDaemon = "org.freedesktop.DBus";
inline constexpr const char* kBusDaemonPath = "/org/freedesktop/DBus";
inline constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

}  // namespace bus
