#include "MacShared/MTOMHelpers.h"
#include "fuzz/Require.h"

#include <cstdint>

/// The boundary is what stands in the content type, without quotes at its ends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string type(reinterpret_cast<const char*>(data), size);
    const auto boundary = MTOMHelpers::MTOMBoundaryFromContentType(type);
    require(boundary.has_value() == (type.substr(0, type.find('\0')).find("boundary=") != std::string::npos));
    if (!boundary) return 0;
    require(boundary->find(';') == std::string::npos && type.find(*boundary) != std::string::npos);
    require(!boundary->starts_with('"') && !boundary->ends_with('"'));
    return 0;
}
