#include "fuzz/Require.h"
#include "recorder-shared/NSString+VELStringAdditions.h"

#include <cstdint>

/// Names and values hold no separators, and put together again they give the same dictionary.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto parameters = queryParameters({reinterpret_cast<const char*>(data), size});
    std::string query;
    for (const auto& [name, value] : parameters) {
        require((name + value).find_first_of("&=") == std::string::npos);
        query.append(name).append("=").append(value).append("&");
    }
    require(query.size() <= size + 1);
    require(queryParameters(query) == parameters);
    return 0;
}
