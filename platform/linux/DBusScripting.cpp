#include "platform/linux/DBusScripting.h"

#include "bus/BusConnection.h"
#include "bus/Convert.h"
#include "bus/Names.h"

#include <sdbus-c++/sdbus-c++.h>
#include <sys/socket.h>
#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

namespace {

constexpr const char* kInterface = "com.veldrin.PresentationProgram";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr std::chrono::milliseconds kDefaultTimeout{60000};
constexpr int kMostDiscarded = 1024;
constexpr std::size_t kMostWindows = 1000;
constexpr std::size_t kLongestText = 16384;
constexpr std::size_t kLongestMessage = 1024;

using State = std::map<std::string, sdbus::Variant>;
using TableStruct = sdbus::Struct<std::string, std::vector<std::vector<std::string>>>;
using SlideStruct = sdbus::Struct<std::int64_t, bool, std::string, std::string, std::string, std::vector<std::string>,
                                  std::vector<TableStruct>>;
using WindowStruct = sdbus::Struct<std::string, bus::RectStruct, std::int64_t, std::int64_t>;

bool isTimeout(const sdbus::Error& error) {
    return error.getName() == "org.freedesktop.DBus.Error.Timeout" ||
           error.getName() == "org.freedesktop.DBus.Error.TimedOut";
}

ErrorPtr errorFrom(const std::string& event, const sdbus::Error& error) {
    if (isTimeout(error)) {
        return makeError(NSOSStatusErrorDomain, kAppleEventTimeout,
                         "The presentation program did not answer \"" + event + "\" in time.");
    }
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed,
                     "The presentation program could not be asked for \"" + event +
                         "\": " + bus::validUTF8(error.getMessage().substr(0, kLongestMessage)));
}

sdbus::Error malformed(const std::string& what) {
    return {bus::kProgramFailed, "its answer is malformed (" + what + ")"};
}

/// The value under a key; nothing when it is absent. Another type is a malformed answer.
template <typename T>
std::optional<T> valueOf(const State& state, const char* key) {
    const auto found = state.find(key);
    if (found == state.end()) return std::nullopt;
    if (!found->second.containsValueOfType<T>()) throw malformed(key);
    return found->second.get<T>();
}

const std::string& shortText(const std::string& text, const char* what) {
    if (text.size() > kLongestText) throw malformed(what);
    return text;
}

PresentingState stateFrom(const State& values) {
    PresentingState state;
    state.playing = valueOf<bool>(values, "playing");
    const auto id = valueOf<std::string>(values, "documentID");
    if (!id) return state;
    ScriptingDocumentState document;
    document.id = shortText(*id, "documentID");
    const auto url = valueOf<std::string>(values, "documentFile").value_or("");
    if (!url.empty()) {
        document.file = bus::pathFromURL(shortText(url, "documentFile"));
        if (!document.file) throw malformed("documentFile");
    }
    document.currentSlideNumber = valueOf<std::int64_t>(values, "slideNumber").value_or(0);
    state.firstDocument = std::move(document);
    return state;
}

std::vector<ScriptingWindow> windowsFrom(const std::vector<WindowStruct>& structs) {
    if (structs.size() > kMostWindows) throw malformed("too many windows");
    std::vector<ScriptingWindow> windows;
    windows.reserve(structs.size());
    for (const auto& window : structs) {
        const auto& [x, y, width, height] = static_cast<const bus::RectStruct::tuple&>(window.get<1>());
        windows.push_back(
            {shortText(window.get<0>(), "name"), {x, y, width, height}, window.get<2>(), window.get<3>()});
    }
    return windows;
}

/// Takes the texts out of the struct.
ScriptingSlide slideFrom(SlideStruct& slide) {
    auto& [number, skipped, title, body, notes, items, tableStructs] = static_cast<SlideStruct::tuple&>(slide);
    std::vector<ScriptingTable> tables;
    tables.reserve(tableStructs.size());
    for (TableStruct& table : tableStructs) {
        tables.push_back({std::move(std::get<0>(table)), std::move(std::get<1>(table))});
    }
    return {.slideNumber = number,
            .skipped = skipped,
            .defaultTitleItemText = std::move(title),
            .defaultBodyItemText = std::move(body),
            .presenterNotes = std::move(notes),
            .textItems = std::move(items),
            .tables = std::move(tables)};
}

sdbus::Variant variantFrom(const ExportProperties::mapped_type& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return sdbus::Variant(bus::validUTF8(*text));
    if (const auto* number = std::get_if<double>(&value)) return sdbus::Variant(*number);
    return sdbus::Variant(std::get<bool>(value));
}

State variantsFrom(const ExportProperties& properties) {
    State variants;
    for (const auto& [key, value] : properties) variants.emplace(bus::validUTF8(key), variantFrom(value));
    return variants;
}

}  // namespace

/// The sockets on which events wait for their replies, so that all can be cut. Any thread.
class DBusScripting::Sockets {
public:
    /// False when the sockets have been cut: no more may be used.
    [[nodiscard]] bool add(int socket) {
        const std::lock_guard lock(mutex_);
        if (!areCut_) sockets_.insert(socket);
        return !areCut_;
    }
    /// Before the socket is closed.
    void remove(int socket) {
        const std::lock_guard lock(mutex_);
        sockets_.erase(socket);
    }
    void cut() {
        const std::lock_guard lock(mutex_);
        areCut_ = true;
        for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
    }

private:
    std::mutex mutex_;
    std::set<int> sockets_;  ///< this and what follows guarded by `mutex_`
    bool areCut_ = false;
};

/// A connection for events. Throws `sdbus::Error`.
class DBusScripting::Channel {
public:
    explicit Channel(std::shared_ptr<Sockets> sockets) : sockets_(std::move(sockets)) {}
    ~Channel() { close(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Sends one event to an owner and hands its reply to `read`. Any thread; one at a time.
    template <typename... Arguments, typename Read>
    void call(const std::string& owner, const char* interface, const char* event, std::chrono::milliseconds timeout,
              const Read& read, const Arguments&... arguments) {
        const std::lock_guard lock(mutex_);
        prepare(owner);
        try {
            auto message = proxy_->createMethodCall(interface, event);
            static_cast<void>((message << ... << arguments));
            auto reply = proxy_->callMethod(message, timeout);
            read(reply);
        } catch (const sdbus::Error&) {
            closeIfBroken();
            throw;
        }
    }

private:
    void prepare(const std::string& owner) {
        if (connection_) discardArrived();
        if (!connection_) open();
        if (owner_ == owner) return;
        proxy_ = sdbus::createProxy(*connection_, owner, bus::kProgramPath);
        owner_ = owner;
    }

    void open() {
        auto connection = bus::openSessionBus();
        const int socket = connection->getEventLoopPollData().fd;
        if (!sockets_->add(socket)) throw sdbus::Error(bus::kProgramFailed, "the capture service is ending");
        socket_ = socket;
        connection_ = std::move(connection);
        owner_.clear();
    }

    void close() {
        if (!connection_) return;
        sockets_->remove(socket_);
        proxy_.reset();
        connection_.reset();
    }

    void discardArrived() {
        try {
            for (int i = 0; i < kMostDiscarded && connection_->processPendingRequest(); ++i) {
            }
        } catch (const sdbus::Error&) {
            closeIfBroken();
        }
    }

    /// A closed connection has nothing to poll.
    void closeIfBroken() {
        try {
            static_cast<void>(connection_->getEventLoopPollData());
        } catch (const sdbus::Error&) {
            close();
        }
    }

    const std::shared_ptr<Sockets> sockets_;
    std::mutex mutex_;
    int socket_ = -1;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    std::string owner_;  ///< whom the proxy calls
};

class DBusScripting::Application final : public ScriptingApplication, public std::enable_shared_from_this<Application> {
public:
    using BusName = std::function<std::optional<std::string>()>;

    Application(BusName busName, std::shared_ptr<Channel> channel)
        : busName_(std::move(busName)), channel_(std::move(channel)) {}

    [[nodiscard]] bool isRunning() const override { return busName_().has_value(); }

    [[nodiscard]] PresentingState presentingState() override {
        PresentingState state;
        auto error = send("presentingState", [&state](sdbus::MethodReply& reply) {
            State values;
            reply >> values;
            state = stateFrom(values);
        });
        const std::lock_guard lock(mutex_);
        lastError_ = std::move(error);
        return state;
    }

    [[nodiscard]] ErrorPtr lastError() const override {
        const std::lock_guard lock(mutex_);
        return lastError_;
    }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        std::vector<ScriptingWindow> windows;
        static_cast<void>(send("windows", [&windows](sdbus::MethodReply& reply) {
            std::vector<WindowStruct> structs;
            reply >> structs;
            windows = windowsFrom(structs);
        }));
        return windows;
    }

    [[nodiscard]] std::optional<std::string> version() override {
        std::optional<std::string> version;
        static_cast<void>(sendTo(
            kPropertiesInterface, "Get",
            [&version](sdbus::MethodReply& reply) {
                sdbus::Variant value;
                reply >> value;
                if (!value.containsValueOfType<std::string>()) throw malformed("Version");
                version = shortText(value.get<std::string>(), "Version");
            },
            kInterface, "Version"));
        return version;
    }

    void activate() override { command("activate"); }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        std::string id;
        const auto error = send(
            "open",
            [&id](sdbus::MethodReply& reply) {
                reply >> id;
                shortText(id, "documentID");
            },
            bus::urlFromPath(path));
        return error ? nullptr : documentWithID(id);
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;

    /// The name of the document and the text of its slides; empty after a failure.
    ScriptingDocumentText text(const std::string& documentID) {
        ScriptingDocumentText text;
        const auto error = send(
            "documentText",
            [&text](sdbus::MethodReply& reply) {
                std::vector<SlideStruct> slides;
                reply >> text.name >> slides;
                text.slides.reserve(slides.size());
                for (SlideStruct& slide : slides) text.slides.push_back(slideFrom(slide));
            },
            bus::validUTF8(documentID));
        return error ? ScriptingDocumentText() : text;
    }

    void setTimeout(std::chrono::milliseconds timeout) override {
        const std::lock_guard lock(mutex_);
        timeout_ = std::max(timeout, std::chrono::milliseconds(1));
    }

    void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) override {
        const std::lock_guard lock(mutex_);
        delegate_ = std::move(delegate);
    }

    /// Sends a command, whose reply says nothing.
    template <typename... Arguments>
    void command(const char* event, const Arguments&... arguments) {
        static_cast<void>(send(
            event, [](sdbus::MethodReply&) {}, arguments...));
    }

private:
    /// Sends one event. A failure reaches the delegate and is answered.
    template <typename Read, typename... Arguments>
    ErrorPtr send(const char* event, const Read& read, const Arguments&... arguments) {
        return sendTo(kInterface, event, read, arguments...);
    }

    template <typename Read, typename... Arguments>
    ErrorPtr sendTo(const char* interface, const char* event, const Read& read, const Arguments&... arguments) {
        std::unique_lock lock(mutex_);
        const auto timeout = timeout_;
        const auto delegate = delegate_;
        lock.unlock();
        ErrorPtr error;
        try {
            const auto owner = busName_();
            if (!owner) throw sdbus::Error(bus::kProgramFailed, "it is not running");
            channel_->call(*owner, interface, event, timeout, read, arguments...);
        } catch (const sdbus::Error& failure) {
            error = errorFrom(event, failure);
        }
        if (!error) return nullptr;
        if (const auto listener = delegate.lock()) listener->eventDidFail(event, *error);
        return error;
    }

    const BusName busName_;
    const std::shared_ptr<Channel> channel_;
    mutable std::mutex mutex_;
    std::chrono::milliseconds timeout_ = kDefaultTimeout;  ///< this and what follows guarded by `mutex_`
    std::weak_ptr<ScriptingDelegate> delegate_;
    ErrorPtr lastError_;
};

class DBusScripting::Document final : public ScriptingDocument {
public:
    Document(std::string id, std::shared_ptr<Application> application)
        : id_(std::move(id)), application_(std::move(application)) {}

    [[nodiscard]] const std::string& id() const override { return id_; }
    void save(const std::filesystem::path& target) override {
        application_->command("save", bus::validUTF8(id_), bus::urlFromPath(target));
    }
    void stop() override { application_->command("stop", bus::validUTF8(id_)); }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        application_->command("export", bus::validUTF8(id_), bus::urlFromPath(target), bus::validUTF8(formatCode),
                              variantsFrom(properties));
    }
    [[nodiscard]] ScriptingDocumentText text() override { return application_->text(id_); }
    void close(const std::string& saveOption) override {
        application_->command("close", bus::validUTF8(id_), bus::validUTF8(saveOption));
    }

private:
    const std::string id_;
    const std::shared_ptr<Application> application_;
};

std::shared_ptr<ScriptingDocument> DBusScripting::Application::documentWithID(const std::string& id) {
    return std::make_shared<Document>(id, shared_from_this());
}

DBusScripting::DBusScripting(BusNameOfProcess busNameOfProcess, BusNameOfBundle busNameOfBundle)
    : busNameOfProcess_(std::move(busNameOfProcess)),
      busNameOfBundle_(std::move(busNameOfBundle)),
      sockets_(std::make_shared<Sockets>()),
      channel_(std::make_shared<Channel>(sockets_)) {}

DBusScripting::~DBusScripting() = default;

std::shared_ptr<ScriptingApplication> DBusScripting::applicationForProcess(pid_t processIdentifier) {
    return std::make_shared<Application>(
        [find = busNameOfProcess_, processIdentifier] { return find(processIdentifier); }, channel_);
}

std::shared_ptr<ScriptingApplication> DBusScripting::applicationForBundleIdentifier(
    const std::string& bundleIdentifier) {
    return std::make_shared<Application>([find = busNameOfBundle_, bundleIdentifier] { return find(bundleIdentifier); },
                                         std::make_shared<Channel>(sockets_));
}

void DBusScripting::shutDown() {
    sockets_->cut();
}
