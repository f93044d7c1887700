#pragma once

#include "MacShared/SOAP/SoapValue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// A SOAP call's one binary parameter travels beside the envelope, as the second part of a multipart body (MTOM): in
/// the envelope an include element refers to it by its identifier. Callable from any thread, except that no other
/// thread may use libcurl for the first time while a body is built.
///
/// Source: W3C, SOAP Message Transmission Optimization Mechanism and XML-binary Optimized Packaging, section 4.
class MTOMHelpers {
public:
    /// `MTOMParametersWithIDForBuffer:andOriginalParameters:buffer:bufferIndex:`: the parameters with an include
    /// element in place of the last that is bytes, which is given back with its index. Nothing when none is; the
    /// outputs then stay as they are. Earlier bytes stay in the list.
    [[nodiscard]] static std::optional<shared::SoapArray> MTOMParametersWithIDForBuffer(
        std::string_view bufferID, const shared::SoapArray& andOriginalParameters,
        std::optional<shared::SoapBytes>& buffer, std::int32_t* bufferIndex);

    /// `MTOMBodyFromEnvelope:buffer:startID:bufferId:boundary:`: the bytes of the HTTP body, and the boundary of its
    /// parts. The body is allocated once; nothing else takes memory in proportion to the buffer. Throws
    /// `std::bad_alloc` without memory.
    [[nodiscard]] static std::string MTOMBodyFromEnvelope(const std::string& envelope, std::string_view buffer,
                                                          const std::string& startID, const std::string& bufferId,
                                                          std::optional<std::string>& boundary);

    /// `MTOMContentTypeWithBoundary:startID:`: the request's content type.
    [[nodiscard]] static std::string MTOMContentTypeWithBoundary(std::string_view boundary, std::string_view startID);

    /// `MTOMBoundaryFromContentType:`: the boundary that a response's content type names, without quotes at its ends.
    [[nodiscard]] static std::optional<std::string> MTOMBoundaryFromContentType(
        const std::optional<std::string>& contentType);

    /// `extractBoundary`: what follows the first "boundary=" up to a semicolon or the end, quotes and blanks included;
    /// null when there is none. Bytes count, not characters of an encoding. The result ends in NUL.
    [[nodiscard]] static std::unique_ptr<char[]> extractBoundary(const char* text);

    /// `messageSizeCallback`: adds a chunk's length to the `std::size_t` at `total`. Answers that length.
    static std::size_t messageSizeCallback(void* total, const char* chunk, std::size_t length) noexcept;
    /// `createMessageCallback`: copies a chunk to the front of the `std::span<char>` at `room`, which then begins
    /// behind it. Answers the chunk's length, or 0 when it does not fit.
    static std::size_t createMessageCallback(void* room, const char* chunk, std::size_t length) noexcept;
};
