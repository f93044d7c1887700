#pragma once

#include "platform/linux/files/DirectoryBundles.h"
#include "platform/linux/http/CurlSessions.h"
#include "tests/platform/linux/http/Recorder.h"
#include "tests/support/Deadline.h"
#include "tests/support/HTTPServer.h"

/// The real client.
struct CurlHarness {
    files::DirectoryBundles bundles;
    std::unique_ptr<URLSessions> sessions = std::make_unique<http::CurlSessions>(bundles);
};
