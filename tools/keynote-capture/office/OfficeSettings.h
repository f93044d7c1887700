#pragma once

#include <optional>
#include <string>
#include <string_view>

class XMLServices;

namespace keynote_capture {

/// The settings that an office keeps for one user, `registrymodifications.xcu`, as far as they say where it listens.
/// Every byte that is not about this stays as it is.

/// Settings that say nothing yet: those of a user who has never started the office.
[[nodiscard]] std::string emptyOfficeSettings();

/// Where the office is told to listen on the pipe: the value of its setting.
[[nodiscard]] std::string connectionOnPipe(std::string_view pipe);

/// Whether these are settings, as an office writes them: a whole XML document of at most 64 MiB, whose items can be
/// told.
[[nodiscard]] bool areOfficeSettings(std::string_view settings, const XMLServices& services);

/// Where the settings tell the office to listen; nothing when they do not say.
[[nodiscard]] std::optional<std::string> connectionIn(std::string_view settings);

/// The settings with the connection added. They must be settings and not have one.
[[nodiscard]] std::string withConnection(std::string_view settings, std::string_view connection);

/// The settings without this connection: what they were before it was added, whether the office has written them anew
/// since then or not. Nothing when they do not have it.
[[nodiscard]] std::optional<std::string> withoutConnection(std::string_view settings, std::string_view connection);

}  // namespace keynote_capture
