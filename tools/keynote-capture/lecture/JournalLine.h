#pragma once

#include "base/TimeBounds.h"
#include "tools/keynote-capture/EventJSON.h"

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

/// Reading the lines of a journal, which a crash may have torn and anybody may have edited: what is not as it should be
/// reads as nothing. Any thread.
namespace keynote_capture {

/// Of the lines those that are JSON objects, in their order.
[[nodiscard]] std::vector<Json> objectsFrom(const std::vector<std::string>& lines);

/// The member when it has that type.
template <typename T>
std::optional<T> member(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) return std::nullopt;
    if constexpr (std::is_same_v<T, std::string>) {
        if (!found->is_string()) return std::nullopt;
    } else if (!found->is_number_integer()) {
        return std::nullopt;
    }
    return found->template get<T>();
}

/// The member when it is a moment as `jsonOf(Date)` writes it, from 1970 on.
[[nodiscard]] std::optional<Date> dateMember(const Json& object, const char* key);
/// The member `steady` of an entry; within 142 years of the clock's beginning, so that one can calculate with it.
[[nodiscard]] std::optional<TimeBounds> steadyBounds(const Json& entry);

}  // namespace keynote_capture
