#include "platform/linux/bus/DBusServiceListener.h"

#include "bus/Convert.h"
#include "bus/Daemon.h"
#include "bus/Names.h"
#include "platform/linux/bus/DBusServedHost.h"
#include "ports/Log.h"
#include "runtime/LoopDispatch.h"

#include <cstdlib>
#include <map>

namespace {

constexpr std::size_t kMostHosts = 256;
constexpr std::size_t kLongestText = 16384;
constexpr std::size_t kMostNames = 10000;
constexpr std::size_t kLongestName = 255;

void requireShort(const std::string& text) {
    if (text.size() <= kLongestText) return;
    throw bus::Failure(bus::kLimitsExceeded, "A text is longer than 16384 bytes; pass a shorter one.");
}

bus::Failure invalid(const std::string& sentence) {
    return {bus::kInvalidArguments, sentence};
}

struct Extraction {
    std::vector<std::string> names;
    std::string path;

    /// Names become files beside the presentation, and nowhere else.
    void requireSound() const {
        requireShort(path);
        if (!path.starts_with('/')) {
            throw invalid("The presentation \"" + path + "\" is no absolute path; pass one like /home/me/deck.odp.");
        }
        if (names.size() > kMostNames)
            throw bus::Failure(bus::kLimitsExceeded, "More than 10000 images; ask for fewer.");
        for (const std::string& name : names) {
            if (name.size() > kLongestName)
                throw bus::Failure(bus::kLimitsExceeded, "An image's name exceeds 255 bytes.");
            if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
                throw invalid("\"" + name + "\" is no name of an image; pass names like slide.007.jpg.");
            }
        }
    }
};

}  // namespace

/// The hosts by unique name. Bus thread.
class DBusServiceListener::Hosts {
public:
    Hosts(std::shared_ptr<bus::SessionBus> bus, bus::Peer& daemon, ServiceListenerDelegate* delegate,
          const HostHooks& hooks, const runtime::Workers& workers)
        : bus_(std::move(bus)), daemon_(daemon), delegate_(delegate), hooks_(hooks), workers_(workers) {}

    [[nodiscard]] bool empty() const { return hosts_.empty(); }

    /// The host of this name, known from its first call on. Throws `bus::Failure` when there are too many.
    std::shared_ptr<DBusServedHost> named(const std::string& name) {
        const auto found = hosts_.find(name);
        return found != hosts_.end() ? found->second.host : add(name);
    }

private:
    struct Entry {
        std::shared_ptr<DBusServedHost> host;
        Handle watch;
    };

    std::shared_ptr<DBusServedHost> add(const std::string& name) {
        if (hosts_.size() == kMostHosts) {
            throw bus::Failure(bus::kLimitsExceeded,
                               "The capture service has 256 hosts already; disconnect one first.");
        }
        // Watched first, so that nothing is made for a host whose leaving could be missed.
        auto watch = watchLeaving(name);
        auto host = std::make_shared<DBusServedHost>(bus_, name, delegate_, workers_);
        hosts_.emplace(name, Entry{host, std::move(watch)});
        if (hooks_.hostCame) hooks_.hostCame();
        checkPresence(name);
        return host;
    }

    Handle watchLeaving(const std::string& name) {
        return bus_->connection().watchNames("arg0='" + name + "'",
                                             [this](const auto& left, const auto&) { removeLater(left); });
    }

    /// A host that left before it was watched.
    void checkPresence(const std::string& name) {
        daemon_.ask<bool>(bus::daemon::hasOwner(name), bus::Peer::kDefaultTimeout,
                          [this, name](const bus::Failure* failure, bool present) {
                              if (failure == nullptr && !present) removeLater(name);
                          });
    }

    void removeLater(const std::string& name) {
        bus_->post([this, name] { remove(name); });
    }

    void remove(const std::string& name) {
        auto node = hosts_.extract(name);
        if (!node) return;
        node.mapped().host->leave();
        if (hooks_.hostLeft) hooks_.hostLeft();
    }

    const std::shared_ptr<bus::SessionBus> bus_;
    bus::Peer& daemon_;
    ServiceListenerDelegate* const delegate_;
    const HostHooks& hooks_;
    const runtime::Workers& workers_;
    std::map<std::string, Entry> hosts_;
};

/// The calls of hosts: each is taken on the bus thread and served afterwards on its host's queue.
class DBusServiceListener::Calls final : public bus::Service {
public:
    Calls(std::shared_ptr<bus::SessionBus> bus, Hosts& hosts) : bus_(std::move(bus)), hosts_(hosts) {}

private:
    using VoidAnswer = bus::Answer<>;
    using TextAnswer = bus::Answer<std::string>;

    /// Serves a host's call on its queue. `take` puts it there.
    template <typename Answer, typename Call, typename Take>
    void serve(const std::string& host, const Answer& answer, Call call, Take take) {
        bus_->post([this, host, answer, call = std::move(call), take = std::move(take)] {
            answerFailure(answer, bus::kFailed, [&] {
                const auto served = hosts_.named(host);
                take(*served,
                     [served, answer, call] { answerFailure(answer, bus::kFailed, [&] { call(*served, answer); }); });
            });
        });
    }
    template <typename Answer, typename Call>
    void serve(const std::string& host, const Answer& answer, Call call) {
        serve(host, answer, std::move(call), [](DBusServedHost& served, Task task) { served.push(std::move(task)); });
    }

    void startDetectionAndCaptureTo(const std::string& host, std::string captureDirectoryURL, std::string recordingId,
                                    const VoidAnswer& answer) override {
        serve(host, answer,
              [url = std::move(captureDirectoryURL), id = std::move(recordingId)](DBusServedHost& served,
                                                                                  const VoidAnswer& owed) {
                  requireShort(url);
                  requireShort(id);
                  served.object()->startDetectionAndCaptureTo(
                      bus::optionalPathFrom(url), bus::optionalFrom(id),
                      [owed](const ErrorPtr& error) { error ? owed.refuse(bus::failureFrom(*error)) : owed.give(); });
              });
    }
    void stopDetectionAndCapture(const std::string& host, const VoidAnswer& answer) override {
        serve(host, answer,
              [](DBusServedHost& served, const VoidAnswer&) { served.object()->stopDetectionAndCapture(); });
    }
    void stopPresenting(const std::string& host, const VoidAnswer& answer) override {
        serve(host, answer, [](DBusServedHost& served, const VoidAnswer&) { served.object()->stopPresenting(); });
    }
    void setKeynotePollingInterval(const std::string& host, double seconds, const VoidAnswer& answer) override {
        serve(host, answer, [seconds](DBusServedHost& served, const VoidAnswer&) {
            served.object()->setKeynotePollingInterval(seconds);
        });
    }
    void extractSlideFiles(const std::string& host, std::vector<std::string> names, std::string presentationPath,
                           const VoidAnswer& answer) override {
        const auto order =
            std::make_shared<const Extraction>(Extraction{std::move(names), std::move(presentationPath)});
        serve(
            host, answer,
            [order](DBusServedHost& served, const VoidAnswer& owed) {
                const auto service = served.object();
                owed.give();
                service->extractSlideFiles(order->names, order->path);
            },
            [order, answer](DBusServedHost& served, Task task) {
                order->requireSound();
                served.pushExtraction(std::move(task));
                if (served.isSetUp()) answer.give();  // its turn may be long in coming
            });
    }
    void waitForSavingToCompleteAsync(const std::string& host, const VoidAnswer& answer) override {
        serve(host, answer, [](DBusServedHost& served, const VoidAnswer&) {
            const auto service = served.object();
            served.beginWait();
            service->waitForSavingToCompleteAsync();
        });
    }
    void descriptionOfScriptableWindowsWithReply(const std::string& host, const TextAnswer& answer) override {
        serve(host, answer, [](DBusServedHost& served, const TextAnswer& owed) {
            served.object()->descriptionOfScriptableWindowsWithReply(textReply(owed));
        });
    }
    void descriptionOfKeynoteWindowsWithReply(const std::string& host, const TextAnswer& answer) override {
        serve(host, answer, [](DBusServedHost& served, const TextAnswer& owed) {
            served.object()->descriptionOfKeynoteWindowsWithReply(textReply(owed));
        });
    }

    static TextReply textReply(const TextAnswer& answer) {
        return [answer](const std::optional<std::string>& text) { answer.give(bus::textFrom(text)); };
    }

    const std::shared_ptr<bus::SessionBus> bus_;
    Hosts& hosts_;
};

DBusServiceListener::DBusServiceListener(std::shared_ptr<bus::SessionBus> bus, runtime::LoopDispatch& dispatch,
                                         ConsoleLog& consoleLog, HostHooks hooks)
    : bus_(std::move(bus)),
      dispatch_(dispatch),
      consoleLog_(consoleLog),
      hooks_(std::move(hooks)),
      workers_([&consoleLog](const std::string& what) { consoleLog.write("A host's call failed: " + what); }) {}

DBusServiceListener::~DBusServiceListener() {
    if (bus_) bus_->stop();
}

int DBusServiceListener::resume() {
    if (!publish()) return EXIT_FAILURE;
    bus_->start([this] {
        consoleLog_.write("Lost the connection to the session bus; the capture service ends.");
        dispatch_.stop(EXIT_FAILURE);
    });
    const int status = dispatch_.run();
    workers_.stop();
    workers_.join();
    bus_->stop();
    return status;
}

/// Exports the object, then takes the name, so that the first call finds everything in place.
bool DBusServiceListener::publish() {
    if (!bus_) return false;
    try {
        daemon_ = std::make_unique<bus::Peer>(bus_->connection(), bus::kBusDaemon, bus::kBusDaemonPath);
        hosts_ = std::make_unique<Hosts>(bus_, *daemon_, delegate_, hooks_, workers_);
        calls_ = std::make_unique<Calls>(bus_, *hosts_);
        server_ = std::make_unique<bus::ServiceServer>(bus_, *calls_);
        bus_->connection().requestName(bus::kServiceName);
        return true;
    } catch (const bus::Failure& failure) {
        consoleLog_.write("Cannot serve as " + std::string(bus::kServiceName) +
                          " on the session bus: " + failure.what() + ". Is another capture service running?");
        return false;
    }
}

void DBusServiceListener::endIfUnused() {
    bus_->post([this] { giveNameBack(); });
}

/// The daemon's next answer comes after every call that was sent to the name while it was ours.
void DBusServiceListener::giveNameBack() {
    if (!hosts_->empty()) return;  // one has come since
    try {
        bus_->connection().releaseName(bus::kServiceName);
        daemon_->ask<std::string>(
            bus::daemon::identifier(), bus::Peer::kDefaultTimeout,
            [this](const bus::Failure*, const std::string&) { bus_->post([this] { endOrTakeNameAgain(); }); });
    } catch (const bus::Failure&) {
        dispatch_.stop(EXIT_SUCCESS);
    }
}

void DBusServiceListener::endOrTakeNameAgain() {
    try {
        if (hosts_->empty()) return dispatch_.stop(EXIT_SUCCESS);
        bus_->connection().requestName(bus::kServiceName);
    } catch (const bus::Failure&) {
        // A new process has the name by now; this one serves the hosts it has.
    }
}
