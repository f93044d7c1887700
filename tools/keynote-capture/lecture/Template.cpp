#include "tools/keynote-capture/lecture/Template.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <array>

namespace keynote_capture {

std::string filledIn(std::string_view text, const std::map<std::string_view, std::string>& values) {
    std::string result;
    for (;;) {
        const auto begin = text.find("{{");
        const auto end = begin == std::string_view::npos ? begin : text.find("}}", begin);
        if (end == std::string_view::npos) return result.append(text);
        const auto value = values.find(text.substr(begin + 2, end - begin - 2));
        result.append(text.substr(0, begin));
        result.append(value == values.end() ? text.substr(begin, end + 2 - begin) : value->second);
        text.remove_prefix(end + 2);
    }
}

std::string hashSourceOf(std::string_view text) {
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    std::array<unsigned char, 4 * (SHA256_DIGEST_LENGTH + 2) / 3 + 1> encoded{};
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
    const int length = EVP_EncodeBlock(encoded.data(), digest.data(), static_cast<int>(digest.size()));
    return "sha256-" + std::string(encoded.begin(), encoded.begin() + length);
}

}  // namespace keynote_capture
