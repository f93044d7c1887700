#include "benchmarks/Failure.h"
#include "platform/linux/files/DirectoryBundles.h"
#include "platform/linux/http/CurlSessions.h"
#include "ports/URLSessionDelegate.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kCalls = 200;
constexpr std::size_t kLarge = 256 << 20;
const std::string kAnswer(1'000, 'a');

/// Takes requests on a loopback port, one thread per connection, and answers each with `kAnswer`.
class Server {
public:
    Server() : listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
        struct sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const any = reinterpret_cast<struct sockaddr*>(&address);
        socklen_t length = sizeof address;
        if (::bind(listener_, any, length) != 0 || ::listen(listener_, 16) != 0) fail("cannot listen");
        ::getsockname(listener_, any, &length);
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
        std::thread([this] {
            for (;;) std::thread([socket = ::accept(listener_, nullptr, nullptr)] { serve(socket); }).detach();
        }).detach();
    }
    [[nodiscard]] const std::string& url() const { return url_; }

private:
    static void serve(int socket) {
        const auto answer =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kAnswer.size()) + "\r\n\r\n" + kAnswer;
        std::vector<char> buffer(1 << 18);
        for (;;) {
            std::string head;
            std::size_t end = std::string::npos;
            while ((end = head.find("\r\n\r\n")) == std::string::npos) {
                const auto count = ::recv(socket, buffer.data(), buffer.size(), 0);
                if (count <= 0) return;
                head.append(buffer.data(), static_cast<std::size_t>(count));
            }
            const auto length = std::stoul(head.substr(head.find("Content-Length: ") + 16));
            for (auto got = head.size() - end - 4; got < length;) {
                const auto count = ::recv(socket, buffer.data(), buffer.size(), 0);
                if (count <= 0) return;
                got += static_cast<std::size_t>(count);
            }
            if (::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) return;
        }
    }

    const int listener_;
    std::string url_;
};

/// Collects a response and says when it is there.
class Collector final : public URLSessionDelegate {
public:
    void wait() {
        done_.acquire();
        if (received_ != kAnswer) fail("not the answer");
        received_.clear();
    }

private:
    void URLSessionDataTaskDidReceiveData(URLSession& /*session*/, URLSessionDataTask& /*task*/,
                                          std::string_view data) override {
        received_ += data;
    }
    void URLSessionTaskDidCompleteWithError(URLSession& /*session*/, URLSessionTask& /*task*/,
                                            const ErrorPtr& error) override {
        if (error) fail(error->localizedDescription().c_str());
        done_.release();
    }

    std::string received_;
    std::binary_semaphore done_{0};
};

void ours(benchmark::State& state, URLSessions& sessions, const Server& server, const Data& body) {
    const auto collector = std::make_shared<Collector>();
    URLSessionConfiguration configuration;
    configuration.maximumResponseSize = kLarge;
    const auto session = sessions.sessionWithConfiguration(configuration, collector);
    const auto post = [&] {
        session->dataTaskWithRequest({server.url(), "POST", {{"Content-Type", "text/xml; charset=utf-8"}}, body})
            ->resume();
        collector->wait();
    };
    post();  // opens the connection
    for ([[maybe_unused]] auto _ : state) post();
    session->invalidateAndCancel();
}

std::size_t append(const char* bytes, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, size * count);
    return size * count;
}

/// The same bytes by libcurl alone, on the calling thread.
void peer(benchmark::State& state, const Server& server, const Data& body) {
    CURL* const easy = curl_easy_init();
    curl_slist* fields = curl_slist_append(nullptr, "Content-Type: text/xml; charset=utf-8");
    fields = curl_slist_append(fields, "Expect:");
    std::string received;
    curl_easy_setopt(easy, CURLOPT_URL, server.url().c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, fields);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body->data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &received);
    const auto post = [&] {
        received.clear();
        if (curl_easy_perform(easy) != CURLE_OK || received != kAnswer) fail("the peer gets no answer");
    };
    post();
    for ([[maybe_unused]] auto _ : state) post();
    curl_slist_free_all(fields);
    curl_easy_cleanup(easy);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const auto* const server = new Server;  // its threads run to the end
    files::DirectoryBundles bundles;
    http::CurlSessions sessions(bundles);
    const auto small = std::make_shared<const std::string>(1'000, 'q');
    const auto large = std::make_shared<const std::string>(kLarge, 'q');
    const auto add = [](const char* name, int iterations, auto run) {
        benchmark::RegisterBenchmark(name, run)->Iterations(iterations)->UseRealTime();
    };
    add("ours", kCalls, [&](benchmark::State& state) { ours(state, sessions, *server, small); });
    add("peer", kCalls, [&](benchmark::State& state) { peer(state, *server, small); });
    add("ours, large", 1, [&](benchmark::State& state) { ours(state, sessions, *server, large); });
    add("peer, large", 1, [&](benchmark::State& state) { peer(state, *server, large); });
    benchmark::RunSpecifiedBenchmarks();
}
