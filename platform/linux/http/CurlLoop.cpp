#include "platform/linux/http/CurlLoop.h"

#include "platform/linux/http/CurlTransfer.h"
#include "runtime/BlockSignals.h"

#include <algorithm>
#include <utility>

namespace http {

namespace {

constexpr auto kLongestPoll = std::chrono::milliseconds(60'000);

/// The loop of the thread that asks, if it is one's.
thread_local const CurlLoop* current = nullptr;

}  // namespace

CurlLoop::CurlLoop(int maximumConnectionsPerHost, Task atEnd)
    : atEnd_(std::move(atEnd)), multi_(curl_multi_init(), &curl_multi_cleanup) {
    curl_multi_setopt(multi(), CURLMOPT_MAX_HOST_CONNECTIONS, static_cast<long>(maximumConnectionsPerHost));
    sem_init(&awakened_, 0, 0);
}

CurlLoop::~CurlLoop() {
    sem_destroy(&awakened_);
}

void CurlLoop::post(Task task) {
    std::unique_lock lock(mutex_);
    if (stopped_) return;
    // A session that sends nothing needs no thread.
    if (!thread_.joinable()) thread_ = std::thread([this] { drive(); });
    posted_.push_back(std::move(task));
    wake(std::move(lock));
}

void CurlLoop::stop() {
    std::vector<Task> dropped;
    std::unique_lock lock(mutex_);
    stopped_ = true;
    if (!thread_.joinable()) ended_ = true;
    dropped.swap(posted_);
    wake(std::move(lock));
}

/// Releases the lock in time: what the thread does first is to take it.
void CurlLoop::wake(std::unique_lock<std::mutex> lock) {
    const auto waiting = std::exchange(waiting_, Waiting::no);
    if (waiting == Waiting::inLibcurl) curl_multi_wakeup(multi());
    lock.unlock();
    if (waiting == Waiting::idle) sem_post(&awakened_);
}

void CurlLoop::join() {
    if (thread_.joinable()) thread_.join();
}

bool CurlLoop::isCurrentThread() const {
    return current == this;
}

void CurlLoop::add(std::shared_ptr<CurlTransfer> transfer) {
    transfers_.push_back(std::move(transfer));
}

void CurlLoop::remove(const CurlTransfer& transfer) {
    std::erase_if(transfers_, [&](const auto& each) { return each.get() == &transfer; });
}

void CurlLoop::cancelTransfers() {
    // Over a copy: each leaves the list as it ends.
    for (const auto& transfer : std::vector(transfers_)) transfer->cancelled();
}

std::unique_ptr<CurlHandle> CurlLoop::takeHandle() {
    return spareHandle_ ? std::move(spareHandle_) : std::make_unique<CurlHandle>();
}

void CurlLoop::drive() noexcept {
    pthread_setname_np(pthread_self(), "HTTP");
    runtime::blockSignals();
    current = this;
    for (runPosted(); !stopped_; runPosted()) {
        const auto now = Instant::clock::now();  // a delegate may be busy for long, and what came meanwhile is in time
        int running = 0;
        curl_multi_perform(multi(), &running);
        endTransfers();
        watchDeadlines(now);
        wait();
    }
    // In this order: transfers take their handles out of the multi handle.
    transfers_.clear();
    spareHandle_.reset();
    multi_.reset();
    atEnd_();
    ended_ = true;
}

void CurlLoop::runPosted() {
    std::vector<Task> tasks;
    {
        const std::lock_guard lock(mutex_);
        tasks.swap(posted_);
    }
    // Without the lock: tasks post others.
    for (const auto& task : tasks) {
        if (!stopped_) task();
    }
}

void CurlLoop::endTransfers() {
    int waiting = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi(), &waiting)) {
        if (message->msg != CURLMSG_DONE) continue;
        CURL* const easy = message->easy_handle;
        const auto result = message->data.result;  // the message goes with the handle
        curl_multi_remove_handle(multi(), easy);
        CurlTransfer* transfer = nullptr;
        curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
        transfer->transferEnded(result);
    }
}

void CurlLoop::watchDeadlines(Instant now) {
    for (const auto& transfer : std::vector(transfers_)) {
        if (transfer->deadline() <= now) transfer->deadlinePassed();
    }
}

/// Until something is posted or, with transfers, comes from the network.
void CurlLoop::wait() {
    const bool isIdle = transfers_.empty();
    {
        const std::lock_guard lock(mutex_);
        if (!posted_.empty() || stopped_) return;
        waiting_ = isIdle ? Waiting::idle : Waiting::inLibcurl;
    }
    if (isIdle) {
        sem_wait(&awakened_);
        return;
    }
    curl_multi_poll(multi(), nullptr, 0, pollTimeout(), nullptr);
    const std::lock_guard lock(mutex_);
    waiting_ = Waiting::no;
}

int CurlLoop::pollTimeout() const {
    auto next = Instant::clock::now() + kLongestPoll;
    for (const auto& transfer : transfers_) next = std::min(next, transfer->deadline());
    const auto wait = std::max(next - Instant::clock::now(), Duration::zero());
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
}

}  // namespace http
