#pragma once

#include "ports/Scripting.h"

#include <sdbus-c++/Message.h>
#include <sdbus-c++/Types.h>
#include <map>
#include <string>
#include <vector>

/// What presentation programs answer, read with limits: a program is as foreign as any other. Each reads the whole
/// body of a reply and throws `sdbus::Error` with a sentence when it makes no sense.
namespace bus {

/// A dictionary of a few values. What lies behind the 64th is not read: no program has so much to say.
using Dictionary = std::map<std::string, sdbus::Variant>;
[[nodiscard]] Dictionary dictionaryFrom(sdbus::Message& reply);

/// A document's file that is no file URL, or is too long, is left out.
[[nodiscard]] PresentingState presentingStateFrom(sdbus::Message& reply);
/// The first thousand windows, their names cut at 16384 bytes.
[[nodiscard]] std::vector<ScriptingWindow> windowsFrom(sdbus::Message& reply);
[[nodiscard]] ScriptingDocumentText documentTextFrom(sdbus::Message& reply);
/// A text of at most 16384 bytes.
[[nodiscard]] std::string identifierFrom(sdbus::Message& reply);
/// The text in the variant that a property is answered with.
[[nodiscard]] std::string propertyTextFrom(sdbus::Message& reply);

[[nodiscard]] Dictionary dictionaryFrom(const ExportProperties& properties);

}  // namespace bus
