#include "fuzz/HostileServer.h"

#include "fuzz/Require.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <thread>
#include <utility>

namespace fuzz {

namespace {

constexpr char kEscape = 27;
constexpr int kMostPauses = 5;
/// No call takes so long, on no machine.
constexpr int kForever = 20'000;

std::size_t bodyLength(std::string_view head) {
    constexpr std::string_view kField = "Content-Length: ";
    const auto field = head.find(kField);
    return field == std::string_view::npos ? 0 : std::stoul(std::string(head.substr(field + kField.size())));
}

}  // namespace

Listener::Listener() : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const any = reinterpret_cast<struct sockaddr*>(&address);
    require(::bind(descriptor_, any, length) == 0 && ::listen(descriptor_, 16) == 0);
    require(::getsockname(descriptor_, any, &length) == 0);
    port_ = ntohs(address.sin_port);
}

HostileServer::HostileServer(const Listener& listener, std::string_view script)
    : listener_(listener), ended_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), script_(script) {}

HostileServer::~HostileServer() {
    close();
    // What has connected and was not served must not pass for the next one's.
    for (int left = 0; left >= 0;) {
        left = ::accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
        if (left >= 0) ::close(left);
    }
    ::close(ended_);
}

void HostileServer::callEnded() const {
    require(::eventfd_write(ended_, 1) == 0);
}

void HostileServer::serveUntilCallEnds() {
    while (step()) continue;
    eventfd_t ends = 0;
    require(::eventfd_read(ended_, &ends) == 0 && ends == 1);
}

bool HostileServer::comes(int descriptor) const {
    std::array<struct pollfd, 2> awaited{{{ended_, POLLIN, 0}, {descriptor, POLLIN, 0}}};
    int count = 0;
    do {
        count = ::poll(awaited.data(), awaited.size(), kForever);
    } while (count < 0 && errno == EINTR);  // by the fuzzer's own alarm
    require(count > 0);
    return awaited[0].revents == 0;
}

/// False when the call has ended.
bool HostileServer::step() {
    if (connection_ < 0) return takeConnection();
    if (script_.empty()) {
        close();
        return true;
    }
    const auto plain = std::min(script_.find(kEscape), script_.size());
    send(script_.substr(0, plain));
    script_.remove_prefix(plain);
    if (script_.empty()) return true;
    const char command = script_.size() > 1 ? script_[1] : 's';
    // It is due again in the next call when this one ends before it is done.
    if (!obey(command)) return false;
    script_.remove_prefix(std::min<std::size_t>(script_.size(), 2));
    return true;
}

bool HostileServer::obey(char command) {
    switch (command) {
        case 'p':
            if (++pauses_ <= kMostPauses) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return true;
        case 'q':
            return takeRequest();
        case 'r': {
            const struct linger now { 1, 0 };
            ::setsockopt(connection_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
            [[fallthrough]];
        }
        case 'c':
            close();
            return true;
        case 's':
            script_ = {};
            return comes(-1);
        default:
            send({&command, 1});
            return true;
    }
}

bool HostileServer::takeConnection() {
    if (!comes(listener_.descriptor())) return false;
    connection_ = ::accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    return script_.empty() || connection_ < 0 || takeRequest();
}

bool HostileServer::takeRequest() {
    while (comes(connection_)) {
        std::array<char, 16'384> buffer{};
        const auto count = ::recv(connection_, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            close();
            return true;
        }
        received_.append(buffer.data(), static_cast<std::size_t>(count));
        const auto headEnd = received_.find("\r\n\r\n");
        if (headEnd == std::string::npos) continue;
        const auto end = headEnd + 4 + bodyLength(std::string_view(received_).substr(0, headEnd));
        if (received_.size() < end) continue;
        received_.erase(0, end);
        return true;
    }
    return false;
}

void HostileServer::send(std::string_view bytes) const {
    // Scripts are shorter than what the socket takes at once; a client that has gone needs none.
    if (!bytes.empty()) static_cast<void>(::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

void HostileServer::close() {
    if (connection_ >= 0) ::close(std::exchange(connection_, -1));
    received_.clear();
}

}  // namespace fuzz
