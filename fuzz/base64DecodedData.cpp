#include "fuzz/Require.h"
#include "recorder-shared/NSString+VELStringAdditions.h"

#include <algorithm>
#include <cstdint>

namespace {

bool isDigit(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

}  // namespace

/// Characters outside the alphabet change nothing, every digit counts, padding stands behind them, and whole groups can
/// be put one after another.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto bytes = base64DecodedData(text);
    auto meant = text;
    std::erase_if(meant, [](char c) { return !isDigit(static_cast<unsigned char>(c)) && c != '='; });
    require(base64DecodedData(meant) == bytes);
    if (!bytes) return 0;

    const auto digits = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isDigit));
    require(bytes->size() == digits * 3 / 4);
    require(meant.find('=') >= digits);
    if (meant.size() == digits) require(base64DecodedData(text + text) == *bytes + *bytes);
    return 0;
}
