#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <openssl/types.h>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// What a server does with one request.
struct ServerAnswer {
    enum class Then { keepOpen, close, reset, stall, repeatLast };

    std::vector<std::string> bytes;  ///< sent as they stand, one after the other
    Then then = Then::keepOpen;      ///< `repeatLast` sends the last bytes until the client has had enough
    std::shared_ptr<std::atomic<std::size_t>> count{};  ///< of the bytes sent; null when nobody counts
    std::chrono::milliseconds pause{};                  ///< between them
};

/// A certificate made for the server at 127.0.0.1, and its key.
class ServerCertificate {
public:
    /// Valid between two days, counted from now.
    explicit ServerCertificate(int firstDay = -1, int lastDay = 1);
    ~ServerCertificate();
    ServerCertificate(const ServerCertificate&) = delete;
    ServerCertificate& operator=(const ServerCertificate&) = delete;

    [[nodiscard]] SSL_CTX* context() const { return context_; }
    /// The certificate in a file, for those who are to trust it.
    [[nodiscard]] std::string file() const { return (directory_.path / "certificate.pem").string(); }

private:
    TemporaryDirectory directory_;
    SSL_CTX* context_;
};

/// A small HTTP server on a loopback port, plain or with TLS, that answers as a function of the test's says. With a
/// certificate it speaks TLS as soon as the client does, so it can also be a proxy with the server behind it.
class HTTPServer {
public:
    struct Request {
        int connection;    ///< from 1, in order of arrival
        std::string head;  ///< request line and fields
        std::string body;
        /// Between the method and the version.
        [[nodiscard]] std::string path() const;
    };
    using Answers = std::function<ServerAnswer(const Request&)>;

    explicit HTTPServer(Answers answers, const ServerCertificate* certificate = nullptr);
    ~HTTPServer();
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    [[nodiscard]] std::string url(const std::string& path = "/") const;
    /// All that have come, in order.
    [[nodiscard]] std::vector<Request> requests() const;

private:
    class Connection;

    void accept();
    void serve(int socket, int number);

    const Answers answers_;
    SSL_CTX* const tls_;
    int listener_;
    int port_ = 0;
    mutable std::mutex mutex_;  ///< guards what follows
    std::vector<Request> requests_;
    std::vector<int> sockets_;
    std::vector<std::thread> threads_;
    std::thread acceptor_;  ///< last, because it uses the rest
};
