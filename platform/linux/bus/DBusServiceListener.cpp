#include "platform/linux/bus/DBusServiceListener.h"

#include "bus/Callbacks.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "platform/linux/AsioDispatch.h"
#include "platform/linux/bus/DBusServedHost.h"
#include "platform/linux/bus/PendingReply.h"
#include "ports/Log.h"

#include <bus/KeynoteCaptureServiceProtocolAdaptor.h>
#include <cstdlib>
#include <map>

namespace {

constexpr std::size_t kMostHosts = 256;
constexpr std::size_t kLongestText = 16384;
constexpr std::size_t kMostNames = 10000;
constexpr std::size_t kLongestName = 255;

void requireShort(const std::string& text) {
    if (text.size() <= kLongestText) return;
    throw sdbus::Error(kLimitsExceeded, "A text is longer than 16384 bytes; pass a shorter one.");
}

sdbus::Error invalid(const std::string& sentence) {
    return {"org.freedesktop.DBus.Error.InvalidArgs", sentence};
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
        if (names.size() > kMostNames) throw sdbus::Error(kLimitsExceeded, "More than 10000 images; ask for fewer.");
        for (const std::string& name : names) {
            if (name.size() > kLongestName) throw sdbus::Error(kLimitsExceeded, "An image's name exceeds 255 bytes.");
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
    Hosts(std::shared_ptr<SessionBus> bus, sdbus::IProxy& daemon, ServiceListenerDelegate* delegate,
          const HostHooks& hooks, const runtime::Workers& workers)
        : bus_(std::move(bus)), daemon_(daemon), delegate_(delegate), hooks_(hooks), workers_(workers) {}

    [[nodiscard]] bool empty() const { return hosts_.empty(); }

    /// The host of this name, known from its first call on. Throws `sdbus::Error` when there are too many.
    std::shared_ptr<DBusServedHost> named(const std::string& name) {
        const auto found = hosts_.find(name);
        return found != hosts_.end() ? found->second.host : add(name);
    }

private:
    struct Entry {
        std::shared_ptr<DBusServedHost> host;
        sdbus::Slot watch;
    };

    std::shared_ptr<DBusServedHost> add(const std::string& name) {
        if (hosts_.size() == kMostHosts) {
            throw sdbus::Error(kLimitsExceeded, "The capture service has 256 hosts already; disconnect one first.");
        }
        // Watched first, so that nothing is made for a host whose leaving could be missed.
        auto watch = watchLeaving(name);
        auto host = std::make_shared<DBusServedHost>(bus_, name, delegate_, workers_);
        hosts_.emplace(name, Entry{host, std::move(watch)});
        if (hooks_.hostCame) hooks_.hostCame();
        checkPresence(name);
        return host;
    }

    sdbus::Slot watchLeaving(const std::string& name) {
        return bus::watchNames(bus_->connection(), "arg0='" + name + "'",
                               [this](const auto& left, const auto&) { removeLater(left); });
    }

    /// A host that left before it was watched.
    void checkPresence(const std::string& name) {
        daemon_.callMethodAsync("NameHasOwner")
            .onInterface(kBusDaemon)
            .withArguments(name)
            .uponReplyInvoke([this, name](const sdbus::Error* error, bool present) {
                if (error == nullptr && !present && bus::isReplyFrom(daemon_, kBusDaemon)) removeLater(name);
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

    const std::shared_ptr<SessionBus> bus_;
    sdbus::IProxy& daemon_;
    ServiceListenerDelegate* const delegate_;
    const HostHooks& hooks_;
    const runtime::Workers& workers_;
    std::map<std::string, Entry> hosts_;
};

/// The object on the bus. Its methods run under the library's lock: they take the call and serve it afterwards.
class DBusServiceListener::ExportedObject final : private com::veldrin::KeynoteCaptureServiceProtocol_adaptor {
public:
    static std::unique_ptr<ExportedObject> publish(const std::shared_ptr<SessionBus>& bus, Hosts& hosts) {
        auto object = sdbus::createObject(bus->connection(), bus::kServicePath);
        std::unique_ptr<ExportedObject> exported(new ExportedObject(bus, hosts, std::move(object)));
        exported->object_->finishRegistration();
        bus->connection().requestName(bus::kServiceName);
        return exported;
    }
    virtual ~ExportedObject() = default;
    ExportedObject(const ExportedObject&) = delete;
    ExportedObject& operator=(const ExportedObject&) = delete;

private:
    using VoidReply = std::shared_ptr<PendingReply<>>;
    using DescriptionReply = std::shared_ptr<PendingReply<std::string>>;

    ExportedObject(std::shared_ptr<SessionBus> bus, Hosts& hosts, std::unique_ptr<sdbus::IObject> object)
        : KeynoteCaptureServiceProtocol_adaptor(*object),
          bus_(std::move(bus)),
          hosts_(hosts),
          object_(std::move(object)) {}

    [[nodiscard]] std::string sender() const { return object_->getCurrentlyProcessedMessage()->getSender(); }

    /// Serves a call of the present message's sender on that host's queue. `take` puts it there.
    template <typename... Results, typename Call, typename Take>
    void serve(sdbus::Result<Results...>&& result, Call call, Take take) {
        auto pending = std::make_shared<sdbus::Result<Results...>>(std::move(result));
        bus_->post(
            [this, name = sender(), pending = std::move(pending), call = std::move(call), take = std::move(take)] {
                const auto reply = std::make_shared<PendingReply<Results...>>(bus_, std::move(*pending));
                answerFailure(*reply, [&] {
                    const auto host = hosts_.named(name);
                    take(*host, *reply, [host, reply, call] { answerFailure(*reply, [&] { call(*host, reply); }); });
                });
            });
    }
    template <typename... Results, typename Call>
    void serve(sdbus::Result<Results...>&& result, Call call) {
        serve(std::move(result), std::move(call),
              [](DBusServedHost& host, auto&, Task task) { host.push(std::move(task)); });
    }

    /// The one place where a failure of a call becomes an error on the bus.
    template <typename Reply, typename Work>
    static void answerFailure(Reply& reply, const Work& work) {
        try {
            work();
        } catch (const sdbus::Error& error) {
            reply.fail(error);
        } catch (const std::exception& error) {
            reply.fail(sdbus::Error(kFailed, bus::validUTF8(error.what())));
        } catch (...) {
            reply.fail(sdbus::Error(kFailed, "The call failed for an unknown reason."));
        }
    }

    void startDetectionAndCaptureTo(sdbus::Result<>&& result, std::string captureDirectoryURL,
                                    std::string recordingId) override {
        serve(std::move(result), [url = std::move(captureDirectoryURL), id = std::move(recordingId)](
                                     DBusServedHost& host, const VoidReply& reply) {
            requireShort(url);
            requireShort(id);
            host.object()->startDetectionAndCaptureTo(
                bus::optionalPathFrom(url), bus::optionalFrom(id),
                [reply](const ErrorPtr& error) { error ? reply->fail(bus::busErrorFrom(*error)) : reply->succeed(); });
        });
    }
    void stopDetectionAndCapture(sdbus::Result<>&& result) override {
        serve(std::move(result),
              [](DBusServedHost& host, const VoidReply&) { host.object()->stopDetectionAndCapture(); });
    }
    void stopPresenting(sdbus::Result<>&& result) override {
        serve(std::move(result), [](DBusServedHost& host, const VoidReply&) { host.object()->stopPresenting(); });
    }
    void setKeynotePollingInterval(sdbus::Result<>&& result, double seconds) override {
        serve(std::move(result),
              [seconds](DBusServedHost& host, const VoidReply&) { host.object()->setKeynotePollingInterval(seconds); });
    }
    void extractSlideFiles(sdbus::Result<>&& result, std::vector<std::string> names,
                           std::string presentationPath) override {
        const auto order =
            std::make_shared<const Extraction>(Extraction{std::move(names), std::move(presentationPath)});
        serve(
            std::move(result),
            [order](DBusServedHost& host, const VoidReply& reply) {
                const auto service = host.object();
                reply->succeed();
                service->extractSlideFiles(order->names, order->path);
            },
            [order](DBusServedHost& host, PendingReply<>& reply, Task task) {
                order->requireSound();
                host.pushExtraction(std::move(task));
                if (host.isSetUp()) reply.succeed();  // its turn may be long in coming
            });
    }
    void waitForSavingToCompleteAsync(sdbus::Result<>&& result) override {
        serve(std::move(result), [](DBusServedHost& host, const VoidReply&) {
            const auto service = host.object();
            host.beginWait();
            service->waitForSavingToCompleteAsync();
        });
    }
    void descriptionOfScriptableWindowsWithReply(sdbus::Result<std::string>&& result) override {
        serve(std::move(result), [](DBusServedHost& host, const DescriptionReply& reply) {
            host.object()->descriptionOfScriptableWindowsWithReply(textReply(reply));
        });
    }
    void descriptionOfKeynoteWindowsWithReply(sdbus::Result<std::string>&& result) override {
        serve(std::move(result), [](DBusServedHost& host, const DescriptionReply& reply) {
            host.object()->descriptionOfKeynoteWindowsWithReply(textReply(reply));
        });
    }

    static TextReply textReply(const DescriptionReply& reply) {
        return [reply](const std::optional<std::string>& text) { reply->succeed(bus::textFrom(text)); };
    }

    const std::shared_ptr<SessionBus> bus_;
    Hosts& hosts_;
    const std::unique_ptr<sdbus::IObject> object_;
};

DBusServiceListener::DBusServiceListener(std::shared_ptr<SessionBus> bus, AsioDispatch& dispatch,
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
        daemon_ = sdbus::createProxy(bus_->connection(), kBusDaemon, kBusDaemonPath);
        hosts_ = std::make_unique<Hosts>(bus_, *daemon_, delegate_, hooks_, workers_);
        exportedObject_ = ExportedObject::publish(bus_, *hosts_);
        return true;
    } catch (const sdbus::Error& error) {
        consoleLog_.write("Cannot serve as " + std::string(bus::kServiceName) +
                          " on the session bus: " + error.getMessage() + ". Is another capture service running?");
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
        daemon_->callMethodAsync("GetId")
            .onInterface(kBusDaemon)
            .uponReplyInvoke(
                [this](const sdbus::Error*, const std::string&) { bus_->post([this] { endOrTakeNameAgain(); }); });
    } catch (const sdbus::Error&) {
        dispatch_.stop(EXIT_SUCCESS);
    }
}

void DBusServiceListener::endOrTakeNameAgain() {
    try {
        if (hosts_->empty()) return dispatch_.stop(EXIT_SUCCESS);
        bus_->connection().requestName(bus::kServiceName);
    } catch (const sdbus::Error&) {
        // A new process has the name by now; this one serves the hosts it has.
    }
}
