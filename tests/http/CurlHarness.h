#pragma once

#include "platform/linux/AsioDispatch.h"
#include "platform/linux/CurlSessions.h"
#include "platform/linux/DirectoryBundles.h"
#include "platform/simulated/SimulatedServices.h"
#include "tests/http/Recorder.h"
#include "tests/support/Deadline.h"
#include "tests/support/HTTPServer.h"

/// The real client, with queues to call delegates on.
struct CurlHarness {
    CurlHarness() = default;
    ~CurlHarness() {
        sessions.reset();
        dispatch.finish();
    }
    CurlHarness(const CurlHarness&) = delete;
    CurlHarness& operator=(const CurlHarness&) = delete;

    SimulatedConsoleLog console;
    AsioDispatch dispatch{console};
    DirectoryBundles bundles;
    std::unique_ptr<URLSessions> sessions = std::make_unique<CurlSessions>(bundles);
};
