#pragma once

#include "base/Error.h"
#include "bus/Failure.h"

#include <sdbus-c++/Error.h>
#include <sdbus-c++/Types.h>
#include <map>
#include <string>

/// What this folder alone needs: values and errors in the types of the D-Bus library.
namespace bus {

using ErrorStruct = sdbus::Struct<std::string, std::int32_t, std::map<std::string, sdbus::Variant>>;

[[nodiscard]] ErrorStruct structFrom(const ErrorPtr& error);
/// Null for an empty domain. User information that is not text is left out.
[[nodiscard]] ErrorPtr errorFrom(const ErrorStruct& value);

[[nodiscard]] inline Failure failureFrom(const sdbus::Error& error) {
    return {error.getName(), error.getMessage()};
}
[[nodiscard]] inline sdbus::Error libraryErrorFrom(const Failure& failure) {
    return sdbus::Error(failure.name(), failure.what());
}

/// What the work returns; an error of the library that it throws becomes a `Failure`.
template <typename Work>
auto translated(const Work& work) {
    try {
        return work();
    } catch (const sdbus::Error& error) {
        throw failureFrom(error);
    }
}

}  // namespace bus
