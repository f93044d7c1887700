#include "platform/linux/bus/DBusWorkspace.h"

#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/ProgramContract.h"

#include <algorithm>
#include <future>
#include <utility>

namespace bus {
namespace {

/// Has the program open the file, without waiting for it. On a connection of its own, which is gone at once: so the
/// program does not hold the file open for anybody. That takes less time than a poll does, so the bus thread can do it.
bool tellToOpen(const std::string& owner, const std::filesystem::path& path) {
    try {
        Connection connection;
        Peer(connection, owner, kProgramPath).tell(program::open(path));
        return true;
    } catch (const Failure&) {
        return false;
    }
}

}  // namespace

DBusWorkspace::DBusWorkspace(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue,
                             std::vector<std::string> bundleIdentifiers, std::chrono::milliseconds patience)
    : mainQueue_(mainQueue),
      bundleIdentifiers_(std::move(bundleIdentifiers)),
      bus_(std::move(bus)),
      list_(std::make_shared<ProgramList>(mainQueue)) {
    if (!bus_) return;
    try {
        // The finder before the watch, which tells it of every change.
        auto finder = std::make_unique<ProgramFinder>(bus_, list_);
        watch_ = std::make_unique<ProgramWatch>(
            bus_, mainQueue, bundleIdentifiers_, list_, [it = finder.get()] { it->check(); }, patience);
        finder_ = std::move(finder);
    } catch (const Failure&) {
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

void DBusWorkspace::findStarted(const std::string& bundleIdentifier, ProgramFinder::Found found) {
    if (!finder_) return found(std::nullopt);
    finder_->find(bundleIdentifier, std::move(found));
}

void DBusWorkspace::shutDown() {
    if (finder_) finder_->shutDown();
}

bool DBusWorkspace::openFile(const std::filesystem::path& path, const std::string& withApplication) {
    const auto answer = std::make_shared<std::promise<bool>>();
    auto told = answer->get_future();
    open(path, withApplication, [answer](bool wasTold) { answer->set_value(wasTold); });
    // The finder gives up by itself; a bus thread that does not run would never say so.
    return told.wait_for(ProgramFinder::kPatience) == std::future_status::ready && told.get();
}

void DBusWorkspace::openFile(const std::filesystem::path& path, const std::string& withApplication,
                             std::function<void(bool)> whenTold) {
    open(path, withApplication, [&queue = mainQueue_, alive = std::weak_ptr(list_), whenTold](bool told) {
        queue.async([alive, whenTold, told] {
            if (!alive.expired()) whenTold(told);
        });
    });
}

void DBusWorkspace::open(const std::filesystem::path& path, const std::string& withApplication,
                         const std::function<void(bool)>& whenTold) {
    const auto identifier = std::find_if(bundleIdentifiers_.begin(), bundleIdentifiers_.end(),
                                         [&](const auto& each) { return each.ends_with("." + withApplication); });
    if (identifier == bundleIdentifiers_.end()) return whenTold(false);
    findStarted(*identifier, [path, whenTold](const auto& owner) { whenTold(owner && tellToOpen(*owner, path)); });
}

}  // namespace bus
