#include "tests/support/HTTPServer.h"

#include <arpa/inet.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

constexpr long kOneDay = 86'400;

Certificate selfSigned(EVP_PKEY* key, int firstDay, int lastDay) {
    Certificate made(X509_new(), X509_free);
    X509_set_version(made.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), firstDay * kOneDay);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), lastDay * kOneDay);
    X509_set_pubkey(made.get(), key);
    auto* const name = X509_get_subject_name(made.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("test"), -1, -1, 0);
    X509_set_issuer_name(made.get(), name);
    auto* const alternative = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1");
    X509_add_ext(made.get(), alternative, -1);
    X509_EXTENSION_free(alternative);
    X509_sign(made.get(), key, EVP_sha256());
    return made;
}

std::size_t bodyLength(const std::string& head) {
    const auto field = head.find("Content-Length: ");
    return field == std::string::npos ? 0 : std::stoul(head.substr(field + 16));
}

}  // namespace

ServerCertificate::ServerCertificate(int firstDay, int lastDay) : context_(SSL_CTX_new(TLS_server_method())) {
    const Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const auto certificate = selfSigned(key.get(), firstDay, lastDay);
    SSL_CTX_use_certificate(context_, certificate.get());
    SSL_CTX_use_PrivateKey(context_, key.get());
    std::FILE* const out = std::fopen(file().c_str(), "w");
    if (out == nullptr) throw std::runtime_error("cannot write the certificate");
    PEM_write_X509(out, certificate.get());
    std::fclose(out);
}

ServerCertificate::~ServerCertificate() {
    SSL_CTX_free(context_);
}

/// Bytes to and from one client. A short count is its end.
class HTTPServer::Connection {
public:
    Connection(int socket, SSL_CTX* context) : socket_(socket), context_(context) {}
    [[nodiscard]] bool readInto(std::string& bytes) {
        if (context_ != nullptr && !tls_) beginTLSIfAsked();
        std::array<char, 16'384> buffer{};
        const auto size = static_cast<int>(buffer.size());
        const auto count = !isOpen_ ? 0
                           : tls_   ? SSL_read(tls_.get(), buffer.data(), size)
                                    : static_cast<int>(::recv(socket_, buffer.data(), buffer.size(), 0));
        if (count > 0) bytes.append(buffer.data(), static_cast<std::size_t>(count));
        return count > 0;
    }
    [[nodiscard]] bool write(const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const auto* const rest = bytes.data() + sent;
            const auto count = tls_ ? SSL_write(tls_.get(), rest, static_cast<int>(bytes.size() - sent))
                                    : static_cast<int>(::send(socket_, rest, bytes.size() - sent, MSG_NOSIGNAL));
            if (count <= 0) return false;
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }
    void reset() const {
        const struct linger now { 1, 0 };
        ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }

private:
    void beginTLSIfAsked() {
        constexpr char kHandshake = 22;  // a record's first byte
        char first = 0;
        if (::recv(socket_, &first, 1, MSG_PEEK) != 1 || first != kHandshake) return;
        tls_.reset(SSL_new(context_));
        SSL_set_fd(tls_.get(), socket_);
        isOpen_ = SSL_accept(tls_.get()) == 1;
    }

    const int socket_;
    SSL_CTX* const context_;
    std::unique_ptr<SSL, decltype(&SSL_free)> tls_{nullptr, SSL_free};
    bool isOpen_ = true;
};

std::string HTTPServer::Request::path() const {
    const auto start = head.find(' ') + 1;
    return head.substr(start, head.find(' ', start) - start);
}

HTTPServer::HTTPServer(Answers answers, const ServerCertificate* certificate)
    : answers_(std::move(answers)),
      tls_(certificate == nullptr ? nullptr : certificate->context()),
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const any = reinterpret_cast<struct sockaddr*>(&address);
    if (::bind(listener_, any, length) != 0 || ::listen(listener_, 16) != 0 ||
        ::getsockname(listener_, any, &length) != 0) {
        throw std::runtime_error("cannot listen on the loopback interface");
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { accept(); });
}

HTTPServer::~HTTPServer() {
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    ::close(listener_);
    {
        const std::lock_guard lock(mutex_);
        for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
    }
    for (auto& thread : threads_) thread.join();
    for (const int socket : sockets_) ::close(socket);
}

std::string HTTPServer::url(const std::string& path) const {
    return (tls_ == nullptr ? "http://127.0.0.1:" : "https://127.0.0.1:") + std::to_string(port_) + path;
}

std::vector<HTTPServer::Request> HTTPServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void HTTPServer::accept() {
    for (int number = 1;; ++number) {
        const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) return;
        const std::lock_guard lock(mutex_);
        sockets_.push_back(socket);
        threads_.emplace_back([this, socket, number] { serve(socket, number); });
    }
}

void HTTPServer::serve(int socket, int number) {
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);  // OpenSSL writes without care
    Connection connection(socket, tls_);
    auto then = ServerAnswer::Then::keepOpen;
    for (std::string read; then == ServerAnswer::Then::keepOpen;) {
        std::size_t headEnd = std::string::npos;
        while ((headEnd = read.find("\r\n\r\n")) == std::string::npos) {
            if (!connection.readInto(read)) return;
        }
        Request request{number, read.substr(0, headEnd + 2), {}};
        const auto end = headEnd + 4 + bodyLength(request.head);
        while (read.size() < end) {
            if (!connection.readInto(read)) return;
        }
        request.body = read.substr(headEnd + 4, end - headEnd - 4);
        read.erase(0, end);
        const auto answer = answers_(request);
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(std::move(request));
        }
        for (const auto& bytes : answer.bytes) {
            if (!connection.write(bytes)) return;
            std::this_thread::sleep_for(answer.pause);
        }
        then = answer.then;
        while (then == ServerAnswer::Then::repeatLast && connection.write(answer.bytes.back())) {
            if (answer.count) *answer.count += answer.bytes.back().size();
        }
    }
    if (then == ServerAnswer::Then::stall) {
        std::string ignored;
        static_cast<void>(connection.readInto(ignored));
    }
    if (then == ServerAnswer::Then::reset) connection.reset();
    const std::lock_guard lock(mutex_);
    std::erase(sockets_, socket);
    ::close(socket);
}
