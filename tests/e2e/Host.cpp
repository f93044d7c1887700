#include "tests/e2e/Host.h"

#include <fmt/format.h>
#include <algorithm>
#include <stdexcept>

namespace {

std::string joined(const Host::Lines& lines) {
    std::string text;
    for (const auto& line : lines) text += line + "; ";
    return text;
}

}  // namespace

Host::Host() {
    ErrorPtr error;
    client_ = host::CaptureServiceClient::connect(
        *this, [this] { add("lost"); }, error, kDeadline);
    if (!client_) throw std::runtime_error(error->localizedDescription());
}

Host::~Host() = default;

void Host::record(const std::optional<std::filesystem::path>& directory,
                  const std::optional<std::string>& recordingID) {
    client_->startDetectionAndCaptureTo(directory, recordingID, [this](const ErrorPtr& error) {
        const std::lock_guard lock(mutex_);
        startError_ = error;
        add("start failed", error);
    });
}

Host::Lines Host::waitFor(const std::string& line, int times, std::chrono::milliseconds deadline) {
    std::unique_lock lock(mutex_);
    const auto isThere = [&] { return std::count(lines_.begin(), lines_.end(), line) >= times; };
    if (changed_.wait_for(lock, deadline, isThere)) return lines_;
    throw std::runtime_error(fmt::format("waited in vain for \"{}\"; there is: {}", line, joined(lines_)));
}

Host::Lines Host::settled() {
    // A start that must fail is answered on the main queue, after everything that was decided there.
    int next = 0;
    {
        const std::lock_guard lock(mutex_);
        next = settled_ + 1;
    }
    client_->startDetectionAndCaptureTo(std::nullopt, std::nullopt, [this](const ErrorPtr&) {
        const std::lock_guard lock(mutex_);
        ++settled_;
        changed_.notify_all();
    });
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kDeadline, [&] { return settled_ >= next; })) {
        throw std::runtime_error("the service does not answer; there is: " + joined(lines_));
    }
    return lines_;
}

Host::Lines Host::lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

ErrorPtr Host::startError() const {
    const std::lock_guard lock(mutex_);
    return startError_;
}

Host::Presentation Host::presentation(std::size_t number) const {
    const std::lock_guard lock(mutex_);
    return presentations_.at(number - 1);
}

void Host::take(const host::DelegateCall& call) {
    const std::lock_guard lock(mutex_);
    std::visit([this](const auto& each) { note(each); }, call);
}

void Host::note(const host::StartedPresenting& call) {
    presentations_.push_back({call.presentationID.value_or(""), call.originalDocumentPath, call.archive, {}});
    add(nameOf(call.presentationID) + " started", call.error);
}

void Host::note(const host::PresentedSlide& call) {
    if (!presentations_.empty()) presentations_.back().images.push_back(call.imageFilePath.value_or(""));
    add(fmt::format("{} slide {}", nameOf(call.presentationID), call.number));
}

void Host::add(const std::string& line, const ErrorPtr& error) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(error ? fmt::format("{}, error {}", line, error->code()) : line);
    changed_.notify_all();
}

std::string Host::nameOf(const std::optional<std::string>& presentationID) const {
    for (std::size_t i = 0; i < presentations_.size(); ++i) {
        if (presentations_[i].id == presentationID) return fmt::format("P{}", i + 1);
    }
    return "unknown";
}
