#include "presenters/impress/PendingFile.h"

#include <mutex>
#include <set>
#include <utility>

namespace impress {
namespace {

std::mutex currentMutex;
std::multiset<std::filesystem::path> current;  ///< guarded by `currentMutex`

}  // namespace

PendingFile::PendingFile(std::filesystem::path target)
    : target_(std::move(target)),
      path_(target_.parent_path() / std::string(".").append(target_.filename().native()).append(".part")) {
    const std::lock_guard lock(currentMutex);
    current.insert(path_);
}

PendingFile::~PendingFile() {
    const std::lock_guard lock(currentMutex);
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    current.erase(current.find(path_));
}

std::error_code PendingFile::commit() {
    std::error_code error;
    const auto size = std::filesystem::file_size(path_, error);
    if (error) return error;
    // The office reports no full disk; it leaves an empty file behind.
    if (size == 0) return std::make_error_code(std::errc::no_space_on_device);
    std::filesystem::rename(path_, target_, error);
    return error;
}

void PendingFile::abandon() noexcept {
    const std::lock_guard lock(currentMutex);
    std::error_code ignored;
    for (const auto& path : current) std::filesystem::remove(path, ignored);
}

}  // namespace impress
