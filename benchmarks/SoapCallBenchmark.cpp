#include "MacShared/SOAP/SimpleSoapCaller.h"
#include "MacShared/SOAP/SoapRequest.h"
#include "benchmarks/Failure.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/http/CurlSessions.h"

#include "lectures.nsmap"
#include "lecturesH.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <fmt/format.h>
#include <functional>
#include <semaphore>
#include <string>

/// One small call of the service in $LECTURES_URL over a connection that stays open: ours, begun by the callback of the
/// call before or by a thread that waits for it; libcurl's POST of the same bytes; and a client from the service's own
/// generator.

namespace {

constexpr int kCalls = 200;
const std::string kMethod = "Describe";
const std::string kNamespace = "urn:veldrin:lectures";
const std::string kTitle = "Introduction to Optics";
const std::vector<std::string> kNames{"title", "count", "length", "id"};

shared::SoapArray parameters() {
    return {kTitle, 21, 2.5, Guid()};
}

/// Checks a result and goes on.
class Receiver final : public ISoapCallback {
public:
    explicit Receiver(std::function<void()> next) : next_(std::move(next)) {}

private:
    void onSoapData(const shared::SoapDictionary& data, ISoapCaller& /*withCaller*/,
                    const std::shared_ptr<void>& /*withState*/) override {
        const auto* const response = data.find("response");
        const auto* const description = response == nullptr ? nullptr : response->dictionary();
        const auto* const twice = description == nullptr ? nullptr : description->find("twice");
        if (twice == nullptr || *twice != shared::SoapValue("42")) fail("not the response");
        next_();
    }
    void onSoapError(const ErrorPtr& error, ISoapCaller& /*withCaller*/,
                     const std::shared_ptr<void>& /*withState*/) override {
        fail(error->localizedDescription().c_str());
    }

    const std::function<void()> next_;
};

/// Calls the service one time after the other; a chain of calls runs on the session's thread.
class Chain {
public:
    explicit Chain(const std::string& url) {
        caller_->setUrl(url);
        caller_->setCallback(receiver_);
        call(1);  // opens the connection
    }

    void call(int times) {
        left_ = times;
        callOnce();
        ended_.acquire();
    }

private:
    void callOnce() { caller_->callSoapMethod(kMethod, kNamespace, "", kNames, parameters(), nullptr); }
    void next() { --left_ == 0 ? ended_.release() : callOnce(); }

    int left_ = 0;
    std::binary_semaphore ended_{0};
    const std::shared_ptr<Receiver> receiver_ = std::make_shared<Receiver>([this] { next(); });
    const std::shared_ptr<SimpleSoapCaller> caller_ = SimpleSoapCaller::init();
};

void ours(benchmark::State& state, const std::string& url) {
    Chain chain(url);
    while (state.KeepRunningBatch(kCalls)) chain.call(kCalls);
}

void oursAwaited(benchmark::State& state, const std::string& url) {
    Chain chain(url);
    for ([[maybe_unused]] auto _ : state) chain.call(1);
}

std::size_t append(const char* bytes, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, size * count);
    return size * count;
}

void plainPost(benchmark::State& state, const std::string& url) {
    const auto request = shared::makeSoapRequest(url, {kMethod, kNamespace, "", kNames, parameters()}, false);
    CURL* const easy = curl_easy_init();
    curl_slist* fields = nullptr;
    for (const auto& [name, value] : request.httpHeaderFields) {
        fields = curl_slist_append(fields, fmt::format("{}: {}", name, value).c_str());
    }
    std::string received;
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, fields);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.httpBody->data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.httpBody->size()));
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &received);
    const auto post = [&] {
        received.clear();
        if (curl_easy_perform(easy) != CURLE_OK || received.find("<twice>42<") == std::string::npos)
            fail("no response");
    };
    post();
    for ([[maybe_unused]] auto _ : state) post();
    curl_slist_free_all(fields);
    curl_easy_cleanup(easy);
}

void generatedClient(benchmark::State& state, const std::string& url) {
    soap* const client = soap_new1(SOAP_IO_KEEPALIVE);
    auto title = kTitle;
    std::string guid = Guid().guidString();
    ns__Integer count;
    count.int_ = 21;
    ns__Identifier id;
    id.guid = guid.data();
    const auto call = [&] {
        ns__DescribeResponse response;
        const int status = soap_call_ns__Describe(client, url.c_str(), "urn:veldrin:lectures/Describe", title.data(),
                                                  &count, 2.5, &id, &response);
        if (status != SOAP_OK || response.DescribeResult.twice != 42) fail("the generated client gets no response");
        soap_destroy(client);
        soap_end(client);
    };
    call();
    for ([[maybe_unused]] auto _ : state) call();
    soap_free(client);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const char* const url = std::getenv("LECTURES_URL");
    if (url == nullptr) fail("LECTURES_URL does not say where the service is");
    LinuxPlatform::Options options;
    options.usesSessionBus = false;
    options.makeURLSessions = [](Bundles& bundles) { return std::make_unique<http::CurlSessions>(bundles); };
    const LinuxPlatform linuxPlatform(options);
    installPlatform(&linuxPlatform.platform());
    const auto add = [url](const char* name, auto run) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { run(state, url); })
            ->Iterations(kCalls)
            ->UseRealTime();
    };
    add("ours", ours);
    add("ours, awaited", oursAwaited);
    add("POST", plainPost);
    add("generated", generatedClient);
    benchmark::RunSpecifiedBenchmarks();
}
