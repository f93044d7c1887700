#include "presenters/impress/PendingFile.h"

#include <mutex>
#include <utility>

namespace {

std::mutex currentMutex;
std::filesystem::path current;

}  // namespace

PendingFile::PendingFile(std::filesystem::path target)
    : target_(std::move(target)),
      path_(target_.parent_path() / std::string(".").append(target_.filename().native()).append(".part")) {
    const std::lock_guard lock(currentMutex);
    current = path_;
}

PendingFile::~PendingFile() {
    abandon();
}

std::error_code PendingFile::commit() {
    std::error_code error;
    const auto size = std::filesystem::file_size(path_, error);
    if (error) return error;
    if (size == 0) return std::make_error_code(std::errc::no_space_on_device);
    std::filesystem::rename(path_, target_, error);
    return error;
}

void PendingFile::abandon() noexcept {
    const std::lock_guard lock(currentMutex);
    if (current.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(current, ignored);
    current.clear();
}
