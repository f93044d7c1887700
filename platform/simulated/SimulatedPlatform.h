#pragma once

#include "platform/simulated/ServiceFileManager.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedFileManager.h"
#include "platform/simulated/SimulatedMetadataQueries.h"
#include "platform/simulated/SimulatedScripting.h"
#include "platform/simulated/SimulatedServices.h"
#include "platform/simulated/SimulatedThreads.h"
#include "platform/simulated/SimulatedURLSessions.h"
#include "platform/simulated/SimulatedWorkspace.h"
#include "ports/Platform.h"

namespace simulated {

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
    ServiceFileManager serviceFiles{files};
    SimulatedDirectories directories;
    SimulatedBundles bundles;
    SimulatedMetadataQueries metadataQueries{dispatch};
    SimulatedWorkspace workspace{dispatch.mainQueue()};
    SimulatedScripting scripting{dispatch};
    SimulatedWindowServer windowServer;
    SimulatedText text;
    SimulatedXML xml;
    SimulatedAutomaticTermination automaticTermination;
    SimulatedOperatingSystem operatingSystem;
    SimulatedUnifiedLog unifiedLog;
    SimulatedConsoleLog consoleLog;
    SimulatedUserDefaults userDefaults;
    SimulatedURLSessions urlSessions{dispatch};
    SimulatedThreads threads{dispatch};

private:
    const Platform services_{.clock = dispatch,
                             .dispatch = dispatch,
                             .fileManager = serviceFiles,
                             .directories = directories,
                             .bundles = bundles,
                             .metadataQueries = metadataQueries,
                             .workspace = workspace,
                             .scripting = scripting,
                             .windowServer = windowServer,
                             .text = text,
                             .xml = xml,
                             .automaticTermination = automaticTermination,
                             .operatingSystem = operatingSystem,
                             .unifiedLog = unifiedLog,
                             .consoleLog = consoleLog,
                             .userDefaults = userDefaults,
                             .urlSessions = &urlSessions,
                             .threads = &threads};
};

}  // namespace simulated
