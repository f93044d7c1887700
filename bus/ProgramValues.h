#pragma once

#include "ports/Scripting.h"

#include <sdbus-c++/Message.h>
#include <sdbus-c++/Types.h>
#include <sys/types.h>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// The values of the scripting contract as they travel, in both directions. What programs answer is read with limits: a
/// program is as foreign as any other. Each reads the whole body of a reply and throws `Failure` or `sdbus::Error` with
/// a sentence when it makes no sense.
namespace bus {

/// What a presentation program tells of itself. What it does not tell, or what makes no sense, is nothing.
struct ProgramFacts {
    std::optional<pid_t> processIdentifier;
    std::optional<std::string> bundleIdentifier;
    std::optional<std::string> bundleURL;
};

/// A dictionary of a few values. What lies behind the 64th is not read: no program has so much to say.
using Dictionary = std::map<std::string, sdbus::Variant>;
[[nodiscard]] Dictionary dictionaryFrom(sdbus::Message& reply);

using WindowStruct =
    sdbus::Struct<std::string, sdbus::Struct<double, double, double, double>, std::int64_t, std::int64_t>;
using TableStruct = sdbus::Struct<std::string, std::vector<std::vector<std::string>>>;
using SlideStruct = sdbus::Struct<std::int64_t, bool, std::string, std::string, std::string, std::vector<std::string>,
                                  std::vector<TableStruct>>;

[[nodiscard]] ProgramFacts factsFrom(sdbus::Message& reply);
/// A document's file that is no file URL, or is too long, is left out, and so are times that make no sense.
[[nodiscard]] PresentingState presentingStateFrom(sdbus::Message& reply);
[[nodiscard]] Dictionary dictionaryFrom(const PresentingState& state);
/// Microseconds of the steady clock; nothing when they cannot be such.
[[nodiscard]] std::optional<TimeBounds> boundsFrom(std::int64_t earliest, std::int64_t latest);
/// The first thousand windows, their names cut at 16384 bytes.
[[nodiscard]] std::vector<ScriptingWindow> windowsFrom(sdbus::Message& reply);
[[nodiscard]] std::vector<WindowStruct> structsFrom(const std::vector<ScriptingWindow>& windows);
[[nodiscard]] ScriptingDocumentText documentTextFrom(sdbus::Message& reply);
[[nodiscard]] std::vector<SlideStruct> structsFrom(std::vector<ScriptingSlide> slides);
/// A text of at most 16384 bytes.
[[nodiscard]] std::string identifierFrom(sdbus::Message& reply);
/// The text in the variant that a property is answered with.
[[nodiscard]] std::string propertyTextFrom(sdbus::Message& reply);
/// Properties of types that no export knows are left out.
[[nodiscard]] ExportProperties exportPropertiesFrom(const Dictionary& values);
[[nodiscard]] Dictionary dictionaryFrom(const ExportProperties& properties);

}  // namespace bus
