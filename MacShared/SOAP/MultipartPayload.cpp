#include "MacShared/SOAP/MultipartPayload.h"

namespace shared {

std::optional<std::string_view> multipartPayload(std::string_view body, std::string_view boundary) {
    constexpr std::string_view kEmptyLine = "\r\n\r\n";
    constexpr std::size_t kDelimiterWithoutBoundary = 6;  // CR LF, "--" and "--"
    const auto headerEnd = body.find(kEmptyLine);
    if (headerEnd == std::string_view::npos) return std::nullopt;
    body.remove_prefix(headerEnd + kEmptyLine.size());
    // The end is found by its length, not by searching: the payload may hold what looks like a delimiter.
    const auto cut = boundary.size() + kDelimiterWithoutBoundary;
    if (body.size() < cut) return std::nullopt;
    body.remove_suffix(cut);
    return body;
}

}  // namespace shared
