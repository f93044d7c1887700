#pragma once

/// Errors of the shared library. Their domain is "Veldrin"; failures of HTTP have it too, with the status as code.
inline constexpr const char* VeldrinErrorDomain = "Veldrin";

/// Key of the response body in the user information of `VeldrinErrorUnusableSOAPResponse`: bytes, not text.
inline constexpr const char* VeldrinResponseBodyKey = "responsebodykey";

/// The codes of that domain.
enum VeldrinErrorCode {
    VeldrinErrorUnusableSOAPResponse = 87,        ///< a web service answered, but not with what was asked for
    VeldrinErrorSOAPTimeout = 88,                 ///< a blocking call of a web service ran out of time
    VeldrinErrorKeynoteDetectionNotStarted = 99,  ///< the search for installed programs could not be started
};
