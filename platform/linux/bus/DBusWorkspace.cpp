#include "platform/linux/bus/DBusWorkspace.h"

#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/ProgramContract.h"

#include <algorithm>
#include <future>
#include <utility>

namespace {

/// Has the program open the file, without waiting for it. On a connection of its own, which is gone at once: so the
/// program does not hold the file open for anybody. That takes less time than a poll does, so the bus thread can do it.
bool tellToOpen(const std::string& owner, const std::filesystem::path& path) {
    try {
        bus::Connection connection;
        bus::Peer(connection, owner, bus::kProgramPath).tell(bus::program::open(path));
        return true;
    } catch (const bus::Failure&) {
        return false;
    }
}

}  // namespace

DBusWorkspace::DBusWorkspace(std::shared_ptr<bus::SessionBus> bus, DispatchQueue& mainQueue,
                             std::vector<std::string> bundleIdentifiers, std::chrono::milliseconds patience)
    : mainQueue_(mainQueue),
      bundleIdentifiers_(std::move(bundleIdentifiers)),
      bus_(std::move(bus)),
      list_(std::make_shared<ProgramList>(mainQueue)) {
    if (!bus_) return;
    try {
        auto finder = std::make_unique<ProgramFinder>(bus_, list_);
        watch_ = std::make_unique<ProgramWatch>(
            bus_, mainQueue, bundleIdentifiers_, list_, [it = finder.get()] { it->check(); }, patience);
        finder_ = std::move(finder);
    } catch (const bus::Failure&) {
        // The bus has gone away already; the listener says so.
    }
}

DBusWorkspace::~DBusWorkspace() = default;

std::vector<std::shared_ptr<RunningApplication>> DBusWorkspace::runningApplications() const {
    return list_->toldPrograms();
}

bool DBusWorkspace::isComplete() const {
    return list_->toldIsComplete();
}

Handle DBusWorkspace::observeRunningApplications(std::function<void()> observer) {
    return list_->observe(observer);
}

std::optional<std::string> DBusWorkspace::busNameOfProcess(pid_t processIdentifier) const {
    return list_->ownerOfProcess(processIdentifier);
}

std::optional<std::string> DBusWorkspace::busNameOfBundle(const std::string& bundleIdentifier) const {
    return list_->ownerOfBundle(bundleIdentifier);
}

std::optional<std::string> DBusWorkspace::busNameOfStartedBundle(const std::string& bundleIdentifier) {
    if (!finder_) return std::nullopt;
    const auto answer = std::make_shared<std::promise<std::optional<std::string>>>();
    auto owner = answer->get_future();
    finder_->find(bundleIdentifier, [answer](const auto& found) { answer->set_value(found); });
    if (owner.wait_for(ProgramFinder::kPatience) == std::future_status::timeout) return std::nullopt;  // no bus thread
    return owner.get();
}

void DBusWorkspace::shutDown() {
    if (finder_) finder_->shutDown();
}

std::optional<std::string> DBusWorkspace::identifierOf(const std::string& application) const {
    const auto identifier = std::find_if(bundleIdentifiers_.begin(), bundleIdentifiers_.end(),
                                         [&](const auto& each) { return each.ends_with("." + application); });
    return identifier == bundleIdentifiers_.end() ? std::nullopt : std::optional(*identifier);
}

bool DBusWorkspace::openFile(const std::filesystem::path& path, const std::string& withApplication) {
    const auto identifier = identifierOf(withApplication);
    const auto owner = identifier ? busNameOfStartedBundle(*identifier) : std::nullopt;
    return owner && tellToOpen(*owner, path);
}

void DBusWorkspace::openFile(const std::filesystem::path& path, const std::string& withApplication,
                             std::function<void(bool)> whenTold) {
    const auto answer = [&queue = mainQueue_, alive = std::weak_ptr(list_), whenTold = std::move(whenTold)](bool told) {
        queue.async([alive, whenTold, told] {
            if (!alive.expired()) whenTold(told);
        });
    };
    const auto identifier = identifierOf(withApplication);
    if (!identifier || !finder_) return answer(false);
    finder_->find(*identifier, [path, answer](const auto& owner) { answer(owner && tellToOpen(*owner, path)); });
}
