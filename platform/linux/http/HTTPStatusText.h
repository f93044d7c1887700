#pragma once

/// The platform's English phrase for an HTTP status code: the code's own, or that of its class.
[[nodiscard]] const char* httpStatusText(int statusCode);
