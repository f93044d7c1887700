#include "bus/OpenDocuments.h"

namespace bus {

void OpenDocuments::began(const std::string& caller) {
    const std::lock_guard lock(mutex_);
    callers_.insert(caller);
}

bool OpenDocuments::isThere(const std::string& caller) const {
    const std::lock_guard lock(mutex_);
    return callers_.contains(caller);
}

bool OpenDocuments::opened(const std::string& caller, const std::string& document) {
    const std::lock_guard lock(mutex_);
    // Somebody who left while the document was being opened will not close it.
    if (callers_.contains(caller)) callersByDocument_.emplace(document, caller);
    return callersByDocument_.contains(document);
}

bool OpenDocuments::closed(const std::string& document) {
    const std::lock_guard lock(mutex_);
    const auto one = callersByDocument_.find(document);
    // Whose it was does not matter: whoever opened twice closes twice.
    if (one != callersByDocument_.end()) callersByDocument_.erase(one);
    return !callersByDocument_.contains(document);
}

std::vector<std::string> OpenDocuments::left(const std::string& caller) {
    const std::lock_guard lock(mutex_);
    // Everybody who leaves the bus is told here, and hardly any of them has called.
    if (callers_.erase(caller) == 0) return {};
    std::set<std::string> documents;
    for (auto entry = callersByDocument_.begin(); entry != callersByDocument_.end();) {
        const bool its = entry->second == caller;
        if (its) documents.insert(entry->first);
        entry = its ? callersByDocument_.erase(entry) : std::next(entry);
    }
    std::erase_if(documents, [this](const auto& document) { return callersByDocument_.contains(document); });
    return {documents.begin(), documents.end()};
}

bool OpenDocuments::isEmpty() const {
    const std::lock_guard lock(mutex_);
    return callersByDocument_.empty();
}

}  // namespace bus
