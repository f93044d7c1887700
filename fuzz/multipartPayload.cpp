#include "MacShared/SOAP/MultipartPayload.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <cstdint>
#include <string>

/// The first line is the boundary, the rest the body. A payload lies in the body, between the first empty line and room
/// for the delimiter; and what was packed comes out again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto boundary = input.substr(0, input.find('\n'));
    const auto body = input.substr(std::min(boundary.size() + 1, size));

    const auto emptyLine = body.find("\r\n\r\n");
    const auto payload = shared::multipartPayload(body, boundary);
    const bool hasRoom = emptyLine != std::string_view::npos && body.size() - emptyLine >= 4 + boundary.size() + 6;
    require(payload.has_value() == hasRoom);
    require(!payload || body.substr(emptyLine + 4, body.size() - emptyLine - 10 - boundary.size()) == *payload);

    std::string packed = "\r\n--b\r\nContent-Type: text/xml\r\n\r\n";
    packed.append(body).append("\r\n--").append(boundary).append("--");
    require(shared::multipartPayload(packed, boundary) == body);
    return 0;
}
