#include "presenters/impress/SavedCopies.h"

#include <algorithm>

namespace impress {

namespace fs = std::filesystem;

void SavedCopies::presents(const std::string& documentID) {
    const std::lock_guard lock(mutex_);
    if (presentedID_ == documentID) return;
    presentedID_ = documentID;
    // What was expected of its last show never came.
    if (const auto copy = find(documentID); copy != copies_.end()) copy->expectedOrders = 0;
}

void SavedCopies::saved(const std::string& documentID, const fs::path& copy) {
    const std::lock_guard lock(mutex_);
    Copy latest{.documentID = documentID};
    if (const auto known = find(documentID); known != copies_.end()) {
        latest = *known;
        copies_.erase(known);
    }
    latest.path = copy;
    // Each of several callers saves a copy, and orders images later.
    if (documentID == presentedID_) ++latest.expectedOrders;
    // The oldest stands first.
    if (copies_.size() == kMost) copies_.erase(copies_.begin());
    copies_.push_back(std::move(latest));
}

void SavedCopies::exportOrdered(const std::string& documentID) {
    const std::lock_guard lock(mutex_);
    const auto copy = find(documentID);
    if (copy != copies_.end() && copy->expectedOrders > 0) --copy->expectedOrders;
}

void SavedCopies::closed(const std::string& documentID) {
    const std::lock_guard lock(mutex_);
    if (const auto copy = find(documentID); copy != copies_.end()) copy->isClosed = true;
}

std::optional<fs::path> SavedCopies::copyOf(const std::string& documentID) {
    const std::lock_guard lock(mutex_);
    const auto copy = find(documentID);
    if (copy == copies_.end()) return std::nullopt;
    std::error_code error;
    if (fs::is_regular_file(copy->path, error)) return copy->path;
    copies_.erase(copy);
    return std::nullopt;
}

bool SavedCopies::expectsOrder() const {
    const std::lock_guard lock(mutex_);
    return std::ranges::any_of(copies_, [this](const Copy& copy) {
        return copy.expectedOrders > 0 && (copy.isClosed || copy.documentID != presentedID_);
    });
}

std::vector<SavedCopies::Copy>::iterator SavedCopies::find(const std::string& documentID) {
    return std::ranges::find(copies_, documentID, &Copy::documentID);
}

}  // namespace impress
