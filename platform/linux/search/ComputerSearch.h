#pragma once

#include "base/ObserverList.h"
#include "platform/linux/search/BundleWalk.h"
#include "ports/MetadataQuery.h"

#include <list>
#include <stop_token>
#include <vector>

class DispatchQueue;

namespace search {

/// Searches for installed application bundles by walking the computer's local file systems, each search on a thread of
/// its own, which has the lowest priority at the disk: a priority belongs to a thread. It knows queries of the form
/// `kMDItemCFBundleIdentifier == "com.example.Program"`.
///
/// Dropping a query tells its walk to stop and does not wait for it: a disk may keep a thread for long. The search
/// itself waits for them when it is destroyed.
class ComputerSearch final : public MetadataQueries {
public:
    /// Without roots the whole computer is searched. The main queue must outlive the search.
    explicit ComputerSearch(DispatchQueue& mainQueue, std::vector<std::filesystem::path> roots = {});
    ~ComputerSearch() override;
    ComputerSearch(const ComputerSearch&) = delete;
    ComputerSearch& operator=(const ComputerSearch&) = delete;

    [[nodiscard]] std::shared_ptr<MetadataQuery> makeQuery(const std::string& queryText) override;
    [[nodiscard]] Handle observeDidFinish(Observer observer) override;

    /// How far all searches have come together. Any thread.
    [[nodiscard]] const WalkProgress& progress() const { return progress_; }

private:
    class Query;
    struct Walk;

    /// Walks on a new thread and then finishes the query, unless told to stop. False when there is nothing to walk or
    /// no thread to be had.
    [[nodiscard]] bool startWalk(std::weak_ptr<Query> query, const std::string& bundleIdentifier,
                                 std::stop_source& stop);

    DispatchQueue& mainQueue_;
    const std::vector<std::filesystem::path> roots_;
    const std::shared_ptr<ObserverList<MetadataQuery>> observers_;
    WalkProgress progress_;
    std::list<Walk> walks_;
};

/// The bundle identifier that a query asks for; nothing when the text is no such query.
[[nodiscard]] std::optional<std::string> bundleIdentifierInQuery(std::string_view queryText);

}  // namespace search
