#include "platform/linux/search/ComputerSearch.h"

#include "ports/Dispatch.h"

#include <linux/ioprio.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <stop_token>
#include <system_error>
#include <thread>
#include <utility>

namespace search {

namespace {

namespace fs = std::filesystem;

/// Leaves the disk to whoever else wants it; the calling thread's reads come when nobody does.
void yieldDisk() {
    constexpr int kCallingThread = 0;
    ::syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, kCallingThread, IOPRIO_PRIO_VALUE(IOPRIO_CLASS_IDLE, 0));
}

std::optional<WalkPlan> planWalk(const std::vector<fs::path>& roots) {
    // Without directories of its caller's choice the whole computer is meant.
    if (roots.empty()) return planWalkOfComputer();
    auto plan = planWalkBelow(roots);
    return plan.roots.empty() ? std::nullopt : std::optional(std::move(plan));
}

}  // namespace

std::optional<std::string> bundleIdentifierInQuery(std::string_view queryText) {
    constexpr std::string_view kBegin = "kMDItemCFBundleIdentifier == \"";
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
    if (!queryText.starts_with(kBegin)) return std::nullopt;
    queryText.remove_prefix(kBegin.size());
    const auto end = std::min(queryText.find_first_not_of(kLetters), queryText.size());
    // Wildcards, quotes and further conditions ask for what a walk cannot answer.
    if (end == 0 || queryText.substr(end) != "\"") return std::nullopt;
    return std::string(queryText.substr(0, end));
}

/// A thread that walks. It knows its query weakly: an end that nobody waits for is not told.
struct ComputerSearch::Walk {
    std::atomic<bool> hasEnded = false;
    std::jthread thread;
};

class ComputerSearch::Query final : public MetadataQuery, public std::enable_shared_from_this<Query> {
public:
    Query(ComputerSearch& search, std::optional<std::string> bundleIdentifier)
        : search_(search), bundleIdentifier_(std::move(bundleIdentifier)) {}
    ~Query() override { stop_.request_stop(); }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    [[nodiscard]] bool start() override {
        return bundleIdentifier_ && search_.startWalk(weak_from_this(), *bundleIdentifier_, stop_);
    }
    [[nodiscard]] std::size_t resultCount() const override { return results_.size(); }
    [[nodiscard]] std::optional<fs::path> pathAt(std::size_t index) const override { return results_.at(index); }

    void finish(const std::set<fs::path>& results) { results_.assign(results.begin(), results.end()); }

private:
    ComputerSearch& search_;
    const std::optional<std::string> bundleIdentifier_;
    std::stop_source stop_;
    std::vector<fs::path> results_;
};

ComputerSearch::ComputerSearch(DispatchQueue& mainQueue, std::vector<fs::path> roots)
    : mainQueue_(mainQueue), roots_(std::move(roots)), observers_(std::make_shared<ObserverList<MetadataQuery>>()) {}

ComputerSearch::~ComputerSearch() = default;

std::shared_ptr<MetadataQuery> ComputerSearch::makeQuery(const std::string& queryText) {
    return std::make_shared<Query>(*this, bundleIdentifierInQuery(queryText));
}

Handle ComputerSearch::observeDidFinish(Observer observer) {
    return observers_->add(std::move(observer));
}

bool ComputerSearch::startWalk(std::weak_ptr<Query> query, const std::string& bundleIdentifier,
                               std::stop_source& stop) {
    auto plan = planWalk(roots_);
    if (!plan) return false;
    // Threads that have ended are joined here, since none can join itself.
    walks_.remove_if([](const Walk& walk) { return walk.hasEnded.load(); });
    auto& walk = walks_.emplace_back();
    try {
        walk.thread = std::jthread([this, &walk, query = std::move(query),
                                    bundleWalk = std::make_shared<BundleWalk>(
                                        std::move(*plan), bundleIdentifier, progress_)](const std::stop_token& token) {
            yieldDisk();
            auto found = bundleWalk->run(token);
            if (!token.stop_requested()) {
                mainQueue_.async([query, observers = observers_, found = std::move(found)] {
                    const auto sender = query.lock();
                    if (!sender) return;
                    sender->finish(found);
                    observers->notify(*sender);
                });
            }
            walk.hasEnded = true;
        });
    } catch (const std::system_error&) {
        // No thread to be had: the query says that it cannot start.
        walks_.pop_back();
        return false;
    }
    stop = walk.thread.get_stop_source();
    return true;
}

}  // namespace search
