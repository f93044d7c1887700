#include "tools/keynote-capture/FileDigest.h"

#include <fmt/format.h>
#include <openssl/evp.h>
#include <array>
#include <fstream>
#include <memory>

namespace keynote_capture {

std::optional<std::string> sha256Of(const std::filesystem::path& file) {
    std::ifstream content(file, std::ios::binary);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!content || !context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) return std::nullopt;
    // Piece by piece: a deck with films may have gigabytes.
    std::array<char, 65536> piece{};
    while (content.read(piece.data(), piece.size()) || content.gcount() > 0) {
        if (EVP_DigestUpdate(context.get(), piece.data(), static_cast<std::size_t>(content.gcount())) != 1) return {};
    }
    std::array<unsigned char, 32> digest{};
    if (content.bad() || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) return std::nullopt;
    return fmt::format("{:02x}", fmt::join(digest, ""));
}

}  // namespace keynote_capture
