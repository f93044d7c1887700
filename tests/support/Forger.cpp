#include "tests/support/Forger.h"

#include "tests/support/Deadline.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

constexpr char kCall = 1;
constexpr char kReturn = 2;
constexpr char kError = 3;
/// Codes of header fields.
constexpr char kPath = 1;
constexpr char kMember = 3;
constexpr char kErrorName = 4;
constexpr char kReplySerial = 5;
constexpr char kDestination = 6;
constexpr char kSender = 7;
constexpr char kSignature = 8;

constexpr std::size_t kFixedHeader = 16;

void align(std::string& bytes, std::size_t size) {
    bytes.append((size - bytes.size() % size) % size, '\0');
}

/// Every machine that runs this stores the low byte first, as the messages do.
void append(std::string& bytes, std::uint32_t number) {
    align(bytes, 4);
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void append(std::string& bytes, const std::string& text) {
    append(bytes, static_cast<std::uint32_t>(text.size()));
    bytes += text + '\0';
}

std::uint32_t numberAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

template <typename Value>
void appendField(std::string& fields, char code, char type, const Value& value) {
    align(fields, 8);
    fields += {code, '\1', type, '\0'};
    append(fields, value);
}

/// A message that holds nothing, a text ("s"), or a text and a zero ("su").
std::string message(char type, std::uint32_t serial, std::string fields, const std::string& signature,
                    const std::string& text) {
    std::string body;
    if (!signature.empty()) {
        align(fields, 8);
        fields += {kSignature, '\1', 'g', '\0', static_cast<char>(signature.size())};
        fields += signature + '\0';
        append(body, text);
        if (signature == "su") append(body, std::uint32_t{0});
    }

    std::string bytes{'l', type, '\1', '\1'};
    append(bytes, static_cast<std::uint32_t>(body.size()));
    append(bytes, serial);
    append(bytes, static_cast<std::uint32_t>(fields.size()));
    bytes += fields;
    align(bytes, 8);
    return bytes + body;
}

}  // namespace

Forger::Forger() : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval deadline{kDeadline.count(), 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline);
    const std::string bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const auto begin = bus.find("path=") + 5;
    const auto path = bus.substr(begin, bus.find(',') - begin);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no bus at " + path);
    }
    std::string user;
    for (const char digit : std::to_string(::getuid())) user += fmt::format("{:02x}", digit);
    send('\0' + ("AUTH EXTERNAL " + user + "\r\n"));
    while (read(1) != "\n") {
    }
    send("BEGIN\r\n");
    call("Hello");
}

Forger::~Forger() {
    ::close(socket_);
}

void Forger::own(const std::string& name) {
    call("RequestName", name);
}

void Forger::answer(const std::string& method, const std::string& text) {
    const auto asked = readMessage(method);
    const std::string sender{kSender, '\1', 's', '\0'};
    const auto at = asked.find(sender) + sender.size();
    reply(asked.substr(at + 4, numberAt(asked, at)), numberAt(asked, 8), text);
}

void Forger::reply(const std::string& destination, std::uint32_t serial, const std::string& text, bool asError) {
    std::string fields;
    appendField(fields, kReplySerial, 'u', serial);
    appendField(fields, kDestination, 's', destination);
    if (asError) appendField(fields, kErrorName, 's', std::string("org.example.Forged"));
    send(message(asError ? kError : kReturn, ++lastSerial_, fields, "s", text));
}

/// Calls the bus daemon and waits for its answer.
void Forger::call(const std::string& member, const std::string& text) {
    std::string fields;
    appendField(fields, kPath, 'o', std::string("/org/freedesktop/DBus"));
    appendField(fields, kMember, 's', member);
    appendField(fields, kDestination, 's', std::string("org.freedesktop.DBus"));
    send(message(kCall, ++lastSerial_, fields, text.empty() ? "" : "su", text));
    std::string answer;
    appendField(answer, kReplySerial, 'u', lastSerial_);
    static_cast<void>(readMessage(answer));
}

void Forger::send(const std::string& bytes) const {
    if (::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the bus takes no more");
    }
}

std::string Forger::read(std::size_t size) const {
    std::string bytes(size, '\0');
    if (::recv(socket_, bytes.data(), size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
        throw std::runtime_error("the bus does not answer");
    }
    return bytes;
}

std::string Forger::readMessage(const std::string& about) const {
    while (true) {
        std::string header = read(kFixedHeader);
        const std::size_t fields = (numberAt(header, 12) + std::size_t{7}) / 8 * 8;
        const std::size_t body = numberAt(header, 4);
        if (fields > 0) header += read(fields);
        if (body > 0) static_cast<void>(read(body));
        if (header.find(about) != std::string::npos) return header;
    }
}
