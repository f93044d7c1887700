#pragma once

#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedFileManager.h"
#include "platform/simulated/SimulatedMetadataQueries.h"
#include "platform/simulated/SimulatedScripting.h"
#include "platform/simulated/SimulatedServices.h"
#include "platform/simulated/SimulatedThreads.h"
#include "platform/simulated/SimulatedURLSessions.h"
#include "platform/simulated/SimulatedWorkspace.h"
#include "ports/Platform.h"

/// A whole platform in memory and virtual time, installed for as long as it lives.
class SimulatedPlatform {
public:
    SimulatedPlatform() {
        installPlatform(&services_);
        workspace.opener = [this](const auto& path, const auto&) {
            auto* const model = scripting.model(std::nullopt);
            ErrorPtr error;
            if (model != nullptr) static_cast<void>(model->open(path, error));
            return model != nullptr;
        };
    }
    ~SimulatedPlatform() { installPlatform(nullptr); }
    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    SimulatedDispatch dispatch;
    SimulatedFileManager files;
    SimulatedBundles bundles;
    SimulatedMetadataQueries metadataQueries{dispatch};
    SimulatedWorkspace workspace{dispatch.mainQueue()};
    SimulatedScripting scripting{dispatch};
    SimulatedWindowServer windowServer;
    SimulatedText text;
    SimulatedXML xml;
    SimulatedProcessInfo processInfo;
    SimulatedUnifiedLog unifiedLog;
    SimulatedConsoleLog consoleLog;
    SimulatedUserDefaults userDefaults;
    SimulatedURLSessions urlSessions{dispatch};
    SimulatedThreads threads{dispatch};

private:
    const Platform services_{dispatch,   dispatch,     files,        bundles, metadataQueries, workspace,
                             scripting,  windowServer, text,         xml,     processInfo,     unifiedLog,
                             consoleLog, userDefaults, &urlSessions, &threads};
};
