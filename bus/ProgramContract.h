#pragma once

#include "base/Registration.h"
#include "bus/Convert.h"
#include "bus/Peer.h"
#include "ports/Scripting.h"

#include <sys/types.h>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bus {

class Connection;

/// What a presentation program tells of itself. What it does not tell, or what makes no sense, is nothing.
struct ProgramFacts {
    std::optional<pid_t> processIdentifier;
    std::optional<std::string> bundleIdentifier;
    std::optional<std::string> bundleURL;
};

/// Has `changed` called, guarded, with the unique name of each sender that tells of another process identifier.
/// Anybody may. Throws `Failure` when the connection is closed.
[[nodiscard]] Handle watchProcessIdentifiers(
    Connection& connection, std::function<void(const std::string& sender, pid_t processIdentifier)> changed);

}  // namespace bus

/// What a presentation program can be asked, as a peer with the path `kProgramPath`: the calls of
/// com.veldrin.PresentationProgram.xml, their replies read with limits.
namespace bus::program {

[[nodiscard]] Call<ProgramFacts> facts();
[[nodiscard]] Call<std::string> version();
[[nodiscard]] Call<PresentingState> presentingState();
[[nodiscard]] Call<std::vector<ScriptingWindow>> windows();
[[nodiscard]] Call<> activate();
/// Is answered with the document's ID.
[[nodiscard]] Call<std::string> open(const Path& file);
[[nodiscard]] Call<> close(const std::string& documentID, const std::string& saveOption);
[[nodiscard]] Call<std::vector<std::int64_t>> slideNumbers(const std::string& documentID);
[[nodiscard]] Call<ScriptingDocumentText> documentText(const std::string& documentID);
[[nodiscard]] Call<> save(const std::string& documentID, const Path& target);
[[nodiscard]] Call<> stop(const std::string& documentID);
[[nodiscard]] Call<> exportTo(const std::string& documentID, const Path& target, const std::string& formatCode,
                              const ExportProperties& properties);

}  // namespace bus::program
