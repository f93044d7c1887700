#include "platform/simulated/SimulatedMetadataQueries.h"

#include <utility>

namespace simulated {

class SimulatedMetadataQueries::Query final : public MetadataQuery, public std::enable_shared_from_this<Query> {
public:
    Query(SimulatedMetadataQueries& owner, std::string text) : owner_(owner), text_(std::move(text)) {}

    [[nodiscard]] bool start() override {
        if (owner_.failsToStart) return false;
        // Found now and told later: what a test changes in between belongs to the next search.
        owner_.dispatch_.mainQueue().after(owner_.searchTime,
                                           [weak = weak_from_this(), found = owner_.results[text_]]() mutable {
                                               if (const auto query = weak.lock()) query->finish(std::move(found));
                                           });
        return true;
    }
    [[nodiscard]] std::size_t resultCount() const override { return found_.size(); }
    [[nodiscard]] std::optional<std::filesystem::path> pathAt(std::size_t index) const override {
        return found_.at(index);
    }

private:
    void finish(Results found) {
        found_ = std::move(found);
        owner_.observers_.notify(*this);
    }

    SimulatedMetadataQueries& owner_;
    const std::string text_;
    Results found_;
};

std::shared_ptr<MetadataQuery> SimulatedMetadataQueries::makeQuery(const std::string& queryText) {
    return std::make_shared<Query>(*this, queryText);
}

Handle SimulatedMetadataQueries::observeDidFinish(Observer observer) {
    return observers_.add(std::move(observer));
}

}  // namespace simulated
