#pragma once

#include "base/Registration.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/Peer.h"
#include "bus/ProgramValues.h"

#include <functional>
#include <string>

namespace bus {

class Connection;

/// Has `changed` called, guarded, with the unique name of each sender that tells of another process identifier.
/// Anybody may. Throws `Failure` when the connection is closed.
[[nodiscard]] Handle watchProcessIdentifiers(
    Connection& connection, std::function<void(const std::string& sender, pid_t processIdentifier)> changed);

/// What a presentation program can be asked, as a peer with the path `kProgramPath`: the calls of
/// com.veldrin.PresentationProgram.xml, their replies read with limits.
namespace program {

template <typename Value = Nothing, typename... Arguments>
Call<Value> call(const char* member, const Arguments&... arguments) {
    return makeCall<Value>(kProgramInterface, member, arguments...);
}

inline auto facts() {
    return readBy(&factsFrom, makeCall(kPropertiesInterface, "GetAll", std::string(kProgramInterface)));
}
inline auto version() {
    return readBy(&propertyTextFrom,
                  makeCall(kPropertiesInterface, "Get", std::string(kProgramInterface), std::string("Version")));
}
inline auto presentingState() {
    return readBy(&presentingStateFrom, call("presentingState"));
}
inline auto windows() {
    return readBy(&windowsFrom, call("windows"));
}
inline auto activate() {
    return call("activate");
}
/// Is answered with the document's ID.
inline auto open(const Path& file) {
    return readBy(&identifierFrom, call("open", urlFromPath(file)));
}
inline auto close(const std::string& documentID, const std::string& saveOption) {
    return call("close", validUTF8(documentID), validUTF8(saveOption));
}
inline auto slideNumbers(const std::string& documentID) {
    return call<std::vector<std::int64_t>>("slideNumbers", validUTF8(documentID));
}
inline auto documentText(const std::string& documentID) {
    return readBy(&documentTextFrom, call("documentText", validUTF8(documentID)));
}
inline auto save(const std::string& documentID, const Path& target) {
    return call("save", validUTF8(documentID), urlFromPath(target));
}
inline auto stop(const std::string& documentID) {
    return call("stop", validUTF8(documentID));
}
inline auto exportTo(const std::string& documentID, const Path& target, const std::string& formatCode,
                     const ExportProperties& properties) {
    return call("export", validUTF8(documentID), urlFromPath(target), validUTF8(formatCode),
                dictionaryFrom(properties));
}

}  // namespace program
}  // namespace bus
