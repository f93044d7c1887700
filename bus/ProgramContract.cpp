#include "bus/ProgramContract.h"

#include "bus/Callbacks.h"
#include "bus/Connection.h"
#include "bus/MakeCall.h"
#include "bus/Names.h"
#include "bus/ProgramValues.h"

#include <utility>

namespace bus {

Handle watchProcessIdentifiers(Connection& connection,
                               std::function<void(const std::string& sender, pid_t processIdentifier)> changed) {
    const std::string rule = std::string("type='signal',path='") + kProgramPath + "',interface='" +
                             kPropertiesInterface + "',member='PropertiesChanged',arg0='" + kProgramInterface + "'";
    return addMatch(connection.library(), rule, [changed = std::move(changed)](sdbus::Message& message) {
        std::string interface;
        message >> interface;
        if (const auto process = factsFrom(message).processIdentifier) changed(message.getSender(), *process);
    });
}

namespace program {
namespace {

template <typename Value = Nothing, typename... Arguments>
Call<Value> call(const char* member, const Arguments&... arguments) {
    return makeCall<Value>(kProgramInterface, member, arguments...);
}

}  // namespace

Call<ProgramFacts> facts() {
    return readBy(&factsFrom, makeCall(kPropertiesInterface, "GetAll", std::string(kProgramInterface)));
}

Call<std::string> version() {
    return readBy(&propertyTextFrom,
                  makeCall(kPropertiesInterface, "Get", std::string(kProgramInterface), std::string("Version")));
}

Call<PresentingState> presentingState() {
    return readBy(&presentingStateFrom, call("presentingState"));
}

Call<std::vector<ScriptingWindow>> windows() {
    return readBy(&windowsFrom, call("windows"));
}

Call<> activate() {
    return call("activate");
}

Call<std::string> open(const Path& file) {
    return readBy(&identifierFrom, call("open", urlFromPath(file)));
}

Call<> close(const std::string& documentID, const std::string& saveOption) {
    return call("close", validUTF8(documentID), validUTF8(saveOption));
}

Call<std::vector<std::int64_t>> slideNumbers(const std::string& documentID) {
    return call<std::vector<std::int64_t>>("slideNumbers", validUTF8(documentID));
}

Call<ScriptingDocumentText> documentText(const std::string& documentID) {
    return readBy(&documentTextFrom, call("documentText", validUTF8(documentID)));
}

Call<> save(const std::string& documentID, const Path& target) {
    return call("save", validUTF8(documentID), urlFromPath(target));
}

Call<> stop(const std::string& documentID) {
    return call("stop", validUTF8(documentID));
}

Call<> exportTo(const std::string& documentID, const Path& target, const std::string& formatCode,
                const ExportProperties& properties) {
    return call("export", validUTF8(documentID), urlFromPath(target), validUTF8(formatCode),
                dictionaryFrom(properties));
}

}  // namespace program
}  // namespace bus
