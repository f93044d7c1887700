#pragma once

#include "platform/linux/CurlSessions.h"
#include "platform/linux/DirectoryBundles.h"
#include "tests/http/Recorder.h"
#include "tests/support/Deadline.h"
#include "tests/support/HTTPServer.h"

/// The real client.
struct CurlHarness {
    DirectoryBundles bundles;
    std::unique_ptr<URLSessions> sessions = std::make_unique<CurlSessions>(bundles);
};
