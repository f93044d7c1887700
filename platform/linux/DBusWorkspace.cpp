#include "platform/linux/DBusWorkspace.h"

#include "bus/BusConnection.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "platform/linux/MainQueueObservers.h"

#include <sdbus-c++/sdbus-c++.h>
#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <map>
#include <mutex>

namespace {

constexpr std::size_t kMostPrograms = 64;
constexpr std::size_t kLongestText = 16384;
/// Programs that ran before are ordered by the number of their connection, and come before those seen to appear.
constexpr std::uint64_t kSeenOrder = std::uint64_t{1} << 63U;
constexpr std::chrono::seconds kAnswerTimeout{10};
constexpr std::chrono::seconds kStartTimeout{30};
constexpr const char* kInterface = "com.veldrin.PresentationProgram";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

using Properties = std::map<std::string, sdbus::Variant>;

std::optional<std::string> textOf(const Properties& properties, const char* key) {
    const auto found = properties.find(key);
    if (found == properties.end() || !found->second.containsValueOfType<std::string>()) return std::nullopt;
    auto text = found->second.get<std::string>();
    if (text.size() > kLongestText) return std::nullopt;
    return text;
}

std::optional<pid_t> processOf(const Properties& properties) {
    const auto found = properties.find("ProcessIdentifier");
    if (found == properties.end() || !found->second.containsValueOfType<std::uint32_t>()) return std::nullopt;
    const auto value = found->second.get<std::uint32_t>();
    if (value == 0 || value > static_cast<std::uint32_t>(std::numeric_limits<pid_t>::max())) return std::nullopt;
    return static_cast<pid_t>(value);
}

/// The number at the end of a unique name such as ":1.42", which grows with every connection.
std::uint64_t connectionNumber(const std::string& uniqueName) {
    const auto dot = uniqueName.rfind('.');
    std::uint64_t number = 0;
    if (dot != std::string::npos) {
        std::from_chars(uniqueName.data() + dot + 1, uniqueName.data() + uniqueName.size(), number);
    }
    return number;
}

}  // namespace

class DBusWorkspace::Application final : public RunningApplication {
public:
    Application(std::string bundleIdentifier, std::optional<std::filesystem::path> bundleURL, pid_t processIdentifier,
                std::string owner, DispatchQueue& mainQueue)
        : bundleIdentifier_(std::move(bundleIdentifier)),
          bundleURL_(std::move(bundleURL)),
          owner_(std::move(owner)),
          processIdentifier_(processIdentifier),
          observers_(std::make_shared<MainQueueObservers>(mainQueue)) {}

    [[nodiscard]] std::string bundleIdentifier() const override { return bundleIdentifier_; }
    [[nodiscard]] std::optional<std::filesystem::path> bundleURL() const override { return bundleURL_; }
    [[nodiscard]] pid_t processIdentifier() const override { return processIdentifier_; }
    [[nodiscard]] Handle observeProcessIdentifier(std::function<void()> observer) override {
        return observers_->add(std::move(observer));
    }

    /// The program's unique name on the bus.
    [[nodiscard]] const std::string& owner() const { return owner_; }
    void setProcessIdentifier(pid_t processIdentifier) {
        if (processIdentifier_.exchange(processIdentifier) != processIdentifier) observers_->notify();
    }

private:
    const std::string bundleIdentifier_;
    const std::optional<std::filesystem::path> bundleURL_;
    const std::string owner_;
    std::atomic<pid_t> processIdentifier_;
    const std::shared_ptr<MainQueueObservers> observers_;
};

/// What is known, as others read it.
struct DBusWorkspace::List {
    explicit List(DispatchQueue& queue) : observers(std::make_shared<MainQueueObservers>(queue)) {}

    /// The last program with the identifier, or null. With the lock held.
    [[nodiscard]] std::shared_ptr<Application> lastWith(const std::string& bundleIdentifier) const {
        const auto found = std::find_if(applications.rbegin(), applications.rend(), [&](const auto& application) {
            return application->bundleIdentifier() == bundleIdentifier;
        });
        return found == applications.rend() ? nullptr : *found;
    }
    void noteWhetherComplete(bool complete) {
        const std::lock_guard lock(mutex);
        isComplete = complete;
        changed.notify_all();
    }

    const std::shared_ptr<MainQueueObservers> observers;
    mutable std::mutex mutex;
    std::condition_variable changed;  ///< something guarded by `mutex` has changed: what follows, starts that failed
    std::vector<std::shared_ptr<Application>> applications;
    std::atomic<bool> isComplete = false;
    bool isShutDown = false;
};

/// What keeps the list: everything here belongs to the bus thread. Callbacks of the library only post tasks.
class DBusWorkspace::Watch {
public:
    Watch(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue, std::vector<std::string> bundleIdentifiers,
          std::shared_ptr<List> list)
        : bus_(std::move(bus)),
          mainQueue_(mainQueue),
          bundleIdentifiers_(std::move(bundleIdentifiers)),
          list_(std::move(list)),
          daemon_(sdbus::createProxy(bus_->connection(), kBusDaemon, kBusDaemonPath)) {
        for (const auto& identifier : bundleIdentifiers_) watchNames(identifier);
        watchProperties();
        listNames();
    }

    /// Has the bus start a program; `failed` is called on the bus thread when it cannot. Any thread.
    void start(const std::string& bundleIdentifier, const std::function<void()>& failed) {
        bus_->post([this, bundleIdentifier, failed] {
            try {
                daemon_->callMethodAsync("StartServiceByName")
                    .onInterface(kBusDaemon)
                    .withTimeout(kStartTimeout)
                    .withArguments(bundleIdentifier, std::uint32_t{0})
                    .uponReplyInvoke([this, failed](const sdbus::Error* error, std::uint32_t) {
                        if (error != nullptr) bus_->post(failed);  // after what has appeared meanwhile
                    });
            } catch (const sdbus::Error&) {
                failed();
            }
        });
    }

private:
    enum class Appearance { before, seen };  ///< before the watch began, or seen by it

    struct Program {
        std::uint64_t query = 0;
        Appearance appearance = Appearance::seen;
        std::uint64_t order = 0;
        std::unique_ptr<sdbus::IProxy> proxy;  ///< keeps the query alive
        bool hasAnswered = false;
        std::shared_ptr<Application> application;  ///< null until the program has answered
    };

    void watchNames(const std::string& identifier) {
        const std::string match =
            "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
            "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0namespace='" +
            identifier + "'";
        matches_.push_back(bus_->connection().addMatch(match, [this](sdbus::Message& message) {
            std::string name;
            std::string before;
            std::string now;
            message >> name >> before >> now;
            bus_->post([this, name, now] { ownerChanged(name, now); });
        }));
    }

    void watchProperties() {
        const std::string match = std::string("type='signal',path='") + bus::kProgramPath + "',interface='" +
                                  kPropertiesInterface + "',member='PropertiesChanged',arg0='" + kInterface + "'";
        matches_.push_back(bus_->connection().addMatch(match, [this](sdbus::Message& message) {
            std::string interface;
            Properties changed;
            message >> interface >> changed;
            if (const auto process = processOf(changed)) {
                bus_->post([this, sender = message.getSender(), process] { processChanged(sender, *process); });
            }
        }));
    }

    /// The programs that run already.
    void listNames() {
        daemon_->callMethodAsync("ListNames")
            .onInterface(kBusDaemon)
            .uponReplyInvoke([this](const sdbus::Error* error, const std::vector<std::string>& names) {
                if (error != nullptr) return;
                bus_->post([this, names] {
                    for (const auto& name : names) {
                        if (!programs_.contains(name)) add(name, Appearance::before);
                    }
                    isListed_ = true;
                    noteWhetherComplete();
                });
            });
    }

    void ownerChanged(const std::string& name, const std::string& owner) {
        remove(name);
        if (!owner.empty()) add(name, Appearance::seen);
        noteWhetherComplete();
    }

    /// The bundle identifier in front of the name, when it is one of those watched.
    [[nodiscard]] const std::string* identifierOf(const std::string& name) const {
        const auto found =
            std::find_if(bundleIdentifiers_.begin(), bundleIdentifiers_.end(),
                         [&](const auto& identifier) { return name.starts_with(identifier + bus::kInstanceInfix); });
        return found == bundleIdentifiers_.end() ? nullptr : &*found;
    }

    /// Asks a program that has appeared what it is.
    void add(const std::string& name, Appearance appearance) {
        if (identifierOf(name) == nullptr || programs_.size() == kMostPrograms) return;
        const std::uint64_t query = ++lastQuery_;
        try {
            auto proxy = sdbus::createProxy(bus_->connection(), name, bus::kProgramPath);
            auto call = proxy->createMethodCall(kPropertiesInterface, "GetAll");
            call << kInterface;
            const auto answer = [this, name, query](sdbus::MethodReply& reply, const sdbus::Error* error) {
                Properties properties;
                std::string owner;
                if (error == nullptr) {
                    reply >> properties;
                    owner = reply.getSender();
                }
                bus_->post([this, name, query, owner, properties] {
                    answered(name, query, owner, properties);
                    noteWhetherComplete();
                });
            };
            proxy->callMethod(call, answer, kAnswerTimeout);
            programs_[name] = Program{query, appearance, 0, std::move(proxy), false, nullptr};
        } catch (const sdbus::Error&) {
            // The bus is gone; the process ends for that.
        }
    }

    /// Lists the program if its answer makes sense and still belongs to the name.
    void answered(const std::string& name, std::uint64_t query, const std::string& owner,
                  const Properties& properties) {
        const auto found = programs_.find(name);
        if (found == programs_.end() || found->second.query != query) return;
        found->second.hasAnswered = true;
        const auto process = processOf(properties);
        const auto identifier = textOf(properties, "BundleIdentifier");
        const auto url = textOf(properties, "BundleURL");
        if (!process || !url || identifier != *identifierOf(name)) return;
        auto bundle = bus::pathFromURL(*url);
        if (!bundle && !url->empty()) return;

        Program& program = found->second;
        program.order = program.appearance == Appearance::before ? connectionNumber(owner) : kSeenOrder + query;
        program.application =
            std::make_shared<Application>(*identifier, std::move(bundle), *process, owner, mainQueue_);
        publish();
    }

    void processChanged(const std::string& owner, pid_t process) {
        for (const auto& [name, program] : programs_) {
            if (program.application && program.application->owner() == owner) {
                program.application->setProcessIdentifier(process);
            }
        }
    }

    void remove(const std::string& name) {
        const auto node = programs_.extract(name);
        if (node && node.mapped().application) publish();
    }

    void noteWhetherComplete() {
        list_->noteWhetherComplete(isListed_ && std::all_of(programs_.begin(), programs_.end(),
                                                            [](const auto& each) { return each.second.hasAnswered; }));
    }

    void publish() {
        std::map<std::uint64_t, std::shared_ptr<Application>> ordered;
        for (const auto& [name, program] : programs_) {
            if (program.application) ordered.emplace(program.order, program.application);
        }
        {
            const std::lock_guard lock(list_->mutex);
            list_->applications.clear();
            for (const auto& [order, application] : ordered) list_->applications.push_back(application);
            list_->changed.notify_all();
        }
        list_->observers->notify();
    }

    const std::shared_ptr<SessionBus> bus_;
    DispatchQueue& mainQueue_;
    const std::vector<std::string> bundleIdentifiers_;
    const std::shared_ptr<List> list_;
    const std::unique_ptr<sdbus::IProxy> daemon_;
    std::vector<sdbus::Slot> matches_;
    std::map<std::string, Program> programs_;  ///< by name
    std::uint64_t lastQuery_ = 0;
    bool isListed_ = false;
};

DBusWorkspace::DBusWorkspace(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue,
                             std::vector<std::string> bundleIdentifiers)
    : bundleIdentifiers_(std::move(bundleIdentifiers)), list_(std::make_shared<List>(mainQueue)) {
    if (!bus) return;
    try {
        watch_ = std::make_unique<Watch>(std::move(bus), mainQueue, bundleIdentifiers_, list_);
    } catch (const sdbus::Error&) {
        // The bus has gone away already; the listener says so.
    }
}

DBusWorkspace::~DBusWorkspace() = default;

std::vector<std::shared_ptr<RunningApplication>> DBusWorkspace::runningApplications() const {
    const std::lock_guard lock(list_->mutex);
    return {list_->applications.begin(), list_->applications.end()};
}

bool DBusWorkspace::isComplete() const {
    return list_->isComplete;
}

Handle DBusWorkspace::observeRunningApplications(std::function<void()> observer) {
    return list_->observers->add(std::move(observer));
}

std::optional<std::string> DBusWorkspace::busNameOfProcess(pid_t processIdentifier) const {
    const std::lock_guard lock(list_->mutex);
    const auto found =
        std::find_if(list_->applications.rbegin(), list_->applications.rend(),
                     [=](const auto& application) { return application->processIdentifier() == processIdentifier; });
    if (found == list_->applications.rend()) return std::nullopt;
    return (*found)->owner();
}

std::optional<std::string> DBusWorkspace::busNameOfBundle(const std::string& bundleIdentifier) const {
    const std::lock_guard lock(list_->mutex);
    const auto application = list_->lastWith(bundleIdentifier);
    return application ? std::optional(application->owner()) : std::nullopt;
}

std::optional<std::string> DBusWorkspace::busNameOfStartedBundle(const std::string& bundleIdentifier) const {
    if (!watch_) return std::nullopt;
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    const auto failed = std::make_shared<bool>(false);  // guarded by the list's mutex
    std::unique_lock lock(list_->mutex);
    const auto isThere = [&] { return list_->isShutDown || list_->lastWith(bundleIdentifier) != nullptr; };
    list_->changed.wait_until(lock, deadline, [&] { return list_->isComplete || isThere(); });
    if (!isThere()) {
        watch_->start(bundleIdentifier, [list = list_, failed] {
            const std::lock_guard guard(list->mutex);
            *failed = true;
            list->changed.notify_all();
        });
        list_->changed.wait_until(lock, deadline, [&] { return isThere() || (*failed && list_->isComplete); });
    }
    const auto application = list_->lastWith(bundleIdentifier);
    return application ? std::optional(application->owner()) : std::nullopt;
}

void DBusWorkspace::shutDown() {
    const std::lock_guard lock(list_->mutex);
    list_->isShutDown = true;
    list_->changed.notify_all();
}

bool DBusWorkspace::openFile(const std::filesystem::path& path, const std::string& withApplication) {
    const auto identifier = std::find_if(bundleIdentifiers_.begin(), bundleIdentifiers_.end(),
                                         [&](const auto& each) { return each.ends_with("." + withApplication); });
    if (identifier == bundleIdentifiers_.end()) return false;
    const auto owner = busNameOfStartedBundle(*identifier);
    if (!owner) return false;
    try {
        // A connection of its own, which is gone at once: so the program does not hold the file open for anybody.
        const auto connection = bus::openSessionBus();
        const auto program = sdbus::createProxy(*connection, *owner, bus::kProgramPath);
        program->callMethod("open").onInterface(kInterface).withArguments(bus::urlFromPath(path)).dontExpectReply();
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}
