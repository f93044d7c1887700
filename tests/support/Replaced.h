#pragma once

#include "ports/Platform.h"

#include <type_traits>

/// Whichever of the others is a `Port`; the own one when none is.
template <class Port>
[[nodiscard]] Port& chosen(Port& own) {
    return own;
}
template <class Port, class Other, class... Others>
[[nodiscard]] Port& chosen(Port& own, Other& other, Others&... others) {
    if constexpr (std::is_base_of_v<Port, Other>)
        return other;
    else
        return chosen(own, others...);
}

/// The platform with the others in place of its own services of their kinds.
template <class... Others>
[[nodiscard]] Platform replaced(const Platform& own, Others&... others) {
    return {.clock = chosen(own.clock, others...),
            .dispatch = chosen(own.dispatch, others...),
            .fileManager = chosen(own.fileManager, others...),
            .directories = chosen(own.directories, others...),
            .bundles = chosen(own.bundles, others...),
            .metadataQueries = chosen(own.metadataQueries, others...),
            .workspace = chosen(own.workspace, others...),
            .scripting = chosen(own.scripting, others...),
            .windowServer = chosen(own.windowServer, others...),
            .text = chosen(own.text, others...),
            .xml = chosen(own.xml, others...),
            .automaticTermination = chosen(own.automaticTermination, others...),
            .operatingSystem = chosen(own.operatingSystem, others...),
            .unifiedLog = chosen(own.unifiedLog, others...),
            .consoleLog = chosen(own.consoleLog, others...),
            .userDefaults = chosen(own.userDefaults, others...),
            .urlSessions = own.urlSessions,
            .threads = own.threads};
}
