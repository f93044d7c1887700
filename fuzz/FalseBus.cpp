#include "fuzz/FalseBus.h"

#include "bus/Names.h"
#include "fuzz/Require.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace fuzz {

namespace {

using MessagePointer = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

/// Longer than any call takes, on any machine.
constexpr std::chrono::seconds kDeadline{20};

int listenOn(const std::string& path) {
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    ::unlink(path.c_str());
    require(::bind(listener, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0);
    require(::listen(listener, 16) == 0);
    return listener;
}

std::string_view viewOf(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

/// A message that is being made; null when the bus could carry none like it.
MessagePointer made(int result, sd_bus_message* message) {
    return {result < 0 ? nullptr : message, &sd_bus_message_unref};
}

void sendFrom(const char* sender, const MessagePointer& message) {
    require(message != nullptr && ::sd_bus_message_set_sender(message.get(), sender) >= 0);
    // Whoever has gone takes nothing any more.
    static_cast<void>(::sd_bus_send(nullptr, message.get(), nullptr));
}

template <typename... Values>
void answer(sd_bus_message* call, const char* types, Values... values) {
    sd_bus_message* raw = nullptr;
    const auto result = ::sd_bus_message_new_method_return(call, &raw);
    const auto message = made(result, raw);
    require(*types == '\0' || ::sd_bus_message_append(raw, types, values...) >= 0);
    sendFrom(bus::kBusDaemon, message);
}

void refuse(sd_bus_message* call, const char* sender, const char* error) {
    sd_bus_message* raw = nullptr;
    const auto result = ::sd_bus_message_new_method_errorf(call, &raw, error, "No.");
    sendFrom(sender, made(result, raw));
}

}  // namespace

struct FalseBus::Connection {
    ~Connection() {
        watch.reset();
        ::sd_bus_close_unref(bus);
    }
    FalseBus* owner = nullptr;
    sd_bus* bus = nullptr;
    std::string name;
    std::set<std::uint64_t> owed;  ///< the numbers of the calls that it has not answered
    Handle watch;
};

FalseBus::FalseBus()
    : path_("/tmp/false-bus-" + std::to_string(::getpid())),
      listener_(listenOn(path_)),
      thread_([](const std::string&) { std::abort(); }, "false bus") {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path_).c_str(), 1);
    thread_.loop().sync([this] { watch_ = thread_.loop().watch(listener_, [this] { accept(); }); });
}

FalseBus::~FalseBus() {
    thread_.loop().sync([this] {
        watch_.reset();
        connections_.clear();
    });
    thread_.stop();
    ::close(listener_);
    ::unlink(path_.c_str());
}

void FalseBus::accept() {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    require(socket >= 0);
    auto& connection = *connections_.emplace_back(std::make_unique<Connection>());
    connection.owner = this;
    connection.name = ":1." + std::to_string(connections_.size());
    require(::sd_bus_new(&connection.bus) >= 0 && ::sd_bus_set_fd(connection.bus, socket, socket) >= 0);
    require(::sd_bus_set_server(connection.bus, 1, {}) >= 0 && ::sd_bus_set_anonymous(connection.bus, 1) >= 0);
    const auto receive = [](sd_bus_message* message, void* context, sd_bus_error*) {
        auto& from = *static_cast<Connection*>(context);
        from.owner->received(from, message);
        return 1;
    };
    require(::sd_bus_add_filter(connection.bus, nullptr, receive, &connection) >= 0);
    require(::sd_bus_start(connection.bus) >= 0);
    connection.watch = thread_.loop().watch(socket, [this, &connection] { serve(connection); });
    serve(connection);
}

void FalseBus::serve(Connection& connection) {
    int result = 0;
    while ((result = ::sd_bus_process(connection.bus, nullptr)) > 0) continue;
    // It has left, and comes back as another one.
    if (result < 0) connection.watch.reset();
}

void FalseBus::received(Connection& connection, sd_bus_message* message) {
    std::uint8_t type = 0;
    require(::sd_bus_message_get_type(message, &type) >= 0);
    if (type == SD_BUS_MESSAGE_METHOD_RETURN || type == SD_BUS_MESSAGE_METHOD_ERROR) {
        return answered(connection, message);
    }
    if (type != SD_BUS_MESSAGE_METHOD_CALL) return;
    const auto destination = viewOf(::sd_bus_message_get_destination(message));
    if (destination.empty() || destination == bus::kBusDaemon) return answerAsDaemon(connection, message);
    if (::sd_bus_message_get_expect_reply(message) > 0) answerAsAnybody(message);
}

void FalseBus::answered(Connection& connection, sd_bus_message* message) {
    std::uint64_t number = 0;
    require(::sd_bus_message_get_reply_cookie(message, &number) >= 0);
    require(connection.owed.erase(number) == 1);
    const std::lock_guard lock(mutex_);
    if (--owed_ == 0) allAnswered_.notify_all();
}

void FalseBus::answerAsDaemon(Connection& connection, sd_bus_message* call) {
    const auto member = viewOf(::sd_bus_message_get_member(call));
    const char* name = "";
    if (::sd_bus_message_has_signature(call, "s") > 0) static_cast<void>(::sd_bus_message_read(call, "s", &name));
    if (member == "Hello") return answer(call, "s", connection.name.c_str());
    if (member == "AddMatch" || member == "RemoveMatch") return answer(call, "");
    if (member == "ReleaseName") return answer(call, "u", 1);
    if (member == "NameHasOwner") return answer(call, "b", 1);
    if (member == "ListNames") return answer(call, "as", 1, bus::kBusDaemon);
    if (member == "GetId") return answer(call, "s", "0123456789abcdef");
    if (member == "RequestName" && ::sd_bus_message_rewind(call, 1) >= 0) {
        serviceOwner_ = connection.name;
        return answer(call, "u", 1);
    }
    if (member == "GetNameOwner" && viewOf(name) == bus::kServiceName && !serviceOwner_.empty()) {
        return answer(call, "s", serviceOwner_.c_str());
    }
    refuse(call, bus::kBusDaemon, "org.freedesktop.DBus.Error.NameHasNoOwner");
}

void FalseBus::answerAsAnybody(sd_bus_message* call) {
    const std::string destination(viewOf(::sd_bus_message_get_destination(call)));
    const auto* const sender = destination == bus::kServiceName ? serviceOwner_.c_str() : destination.c_str();
    const auto found = answers_.find(std::string(viewOf(::sd_bus_message_get_member(call))));
    if (found == answers_.end()) return refuse(call, sender, bus::kProgramFailed);
    if (!found->second.fill) return refuse(call, sender, found->second.error.c_str());
    sd_bus_message* raw = nullptr;
    const auto result = ::sd_bus_message_new_method_return(call, &raw);
    const auto message = made(result, raw);
    if (!found->second.fill(message.get())) return refuse(call, sender, bus::kProgramFailed);
    sendFrom(sender, message);
}

void FalseBus::send(const Message& message, const Fill& fill) {
    thread_.loop().sync([&] {
        const auto index = static_cast<std::size_t>(message.connection - 1);
        require(index < connections_.size());
        deliver(*connections_[index], message, fill);
    });
}

void FalseBus::deliver(Connection& connection, const Message& message, const Fill& fill) {
    const auto& [index, sender, type, path, interface, member] = message;
    const bool isCall = type == SD_BUS_MESSAGE_METHOD_CALL;
    sd_bus_message* raw = nullptr;
    const int result =
        isCall ? ::sd_bus_message_new_method_call(connection.bus, &raw, connection.name.c_str(), path.c_str(),
                                                  interface.c_str(), member.c_str())
               : ::sd_bus_message_new_signal(connection.bus, &raw, path.c_str(), interface.c_str(), member.c_str());
    const auto made = fuzz::made(result, raw);
    if (!made || !fill(raw) || ::sd_bus_message_set_sender(raw, sender.c_str()) < 0) return;
    std::uint64_t number = 0;
    const int sent = ::sd_bus_send(connection.bus, raw, isCall ? &number : nullptr);
    if (sent < 0 || !isCall) return;
    connection.owed.insert(number);
    const std::lock_guard lock(mutex_);
    ++owed_;
}

void FalseBus::answerCalls(const std::string& member, Fill fill, const std::string& error) {
    // A name that no error can have would leave the call without an answer.
    const bool isName = ::sd_bus_interface_name_is_valid(error.c_str()) > 0;
    thread_.loop().sync([&] { answers_[member] = {std::move(fill), isName ? error : bus::kProgramFailed}; });
}

void FalseBus::tellOwner(int connection, const std::string& name, const std::string& owner) {
    send({connection, bus::kBusDaemon, SD_BUS_MESSAGE_SIGNAL, bus::kBusDaemonPath, bus::kBusDaemon, "NameOwnerChanged"},
         [&](sd_bus_message* message) {
             return ::sd_bus_message_append(message, "sss", name.c_str(), "", owner.c_str()) >= 0;
         });
}

void FalseBus::settle() {
    for (int connection = 1; connection <= 2; ++connection) {
        send({connection, bus::kBusDaemon, SD_BUS_MESSAGE_METHOD_CALL, "/", "org.freedesktop.DBus.Peer", "Ping"},
             [](sd_bus_message*) { return true; });
    }
    std::unique_lock lock(mutex_);
    require(allAnswered_.wait_for(lock, kDeadline, [this] { return owed_ == 0; }));
}

}  // namespace fuzz
