#pragma once

#include "bus/Convert.h"
#include "ports/Scripting.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// The values of the scripting channel, as they travel on the bus.
namespace channel {

using State = std::map<std::string, sdbus::Variant>;
using WindowStruct = sdbus::Struct<std::string, bus::RectStruct, std::int64_t, std::int64_t>;
using TableStruct = sdbus::Struct<std::string, std::vector<std::vector<std::string>>>;
using SlideStruct = sdbus::Struct<std::int64_t, bool, std::string, std::string, std::string, std::vector<std::string>,
                                  std::vector<TableStruct>>;

[[nodiscard]] State stateFrom(const PresentingState& state);
[[nodiscard]] std::vector<WindowStruct> structsFrom(const std::vector<ScriptingWindow>& windows);
[[nodiscard]] std::vector<SlideStruct> structsFrom(const std::vector<ScriptingSlide>& slides);
/// Properties of types that no export knows are left out.
[[nodiscard]] ExportProperties propertiesFrom(const State& values);

}  // namespace channel
