#pragma once

#include "base/ObserverList.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "ports/MetadataQuery.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulated {

/// Searches that find what a test says, after a time that it says.
class SimulatedMetadataQueries final : public MetadataQueries {
public:
    using Results = std::vector<std::optional<std::filesystem::path>>;

    explicit SimulatedMetadataQueries(SimulatedDispatch& dispatch) : dispatch_(dispatch) {}

    [[nodiscard]] std::shared_ptr<MetadataQuery> makeQuery(const std::string& queryText) override;
    [[nodiscard]] Handle observeDidFinish(Observer observer) override;

    std::map<std::string, Results> results;  ///< by query text, as they are when the search starts
    Duration searchTime = std::chrono::seconds(1);
    bool failsToStart = false;

private:
    class Query;

    SimulatedDispatch& dispatch_;
    ObserverList<MetadataQuery> observers_;
};

}  // namespace simulated
