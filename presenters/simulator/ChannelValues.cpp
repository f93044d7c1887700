#include "presenters/simulator/ChannelValues.h"

namespace channel {

State stateFrom(const PresentingState& state) {
    State values;
    if (state.playing) values["playing"] = sdbus::Variant(*state.playing);
    if (const auto& document = state.firstDocument) {
        values["documentID"] = sdbus::Variant(document->id);
        values["slideNumber"] = sdbus::Variant(document->currentSlideNumber);
        if (document->file) values["documentFile"] = sdbus::Variant(bus::urlFromPath(*document->file));
    }
    return values;
}

std::vector<WindowStruct> structsFrom(const std::vector<ScriptingWindow>& windows) {
    std::vector<WindowStruct> structs;
    structs.reserve(windows.size());
    for (const auto& [name, bounds, index, id] : windows) {
        structs.emplace_back(name, bus::RectStruct(bounds.x, bounds.y, bounds.width, bounds.height), index, id);
    }
    return structs;
}

ExportProperties propertiesFrom(const State& values) {
    ExportProperties properties;
    for (const auto& [key, value] : values) {
        if (value.containsValueOfType<bool>()) properties[key] = value.get<bool>();
        if (value.containsValueOfType<double>()) properties[key] = value.get<double>();
        if (value.containsValueOfType<std::string>()) properties[key] = value.get<std::string>();
    }
    return properties;
}

std::vector<SlideStruct> structsFrom(const std::vector<ScriptingSlide>& slides) {
    std::vector<SlideStruct> structs;
    structs.reserve(slides.size());
    for (const ScriptingSlide& slide : slides) {
        std::vector<TableStruct> tables;
        for (const auto& [name, rows] : slide.tables) tables.emplace_back(name, rows);
        structs.emplace_back(slide.slideNumber, slide.skipped, slide.defaultTitleItemText, slide.defaultBodyItemText,
                             slide.presenterNotes, slide.textItems, tables);
    }
    return structs;
}

}  // namespace channel
