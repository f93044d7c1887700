#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace bus {

/// Which callers have which documents open. A document that several have opened is closed with the last of them, and
/// what a caller has left open when it leaves the bus is closed for it. Any thread.
class OpenDocuments {
public:
    /// The caller is about to open something.
    void began(const std::string& caller);
    /// Whether the caller has not left since.
    [[nodiscard]] bool isThere(const std::string& caller) const;
    /// The caller has opened the document. False when it has left meanwhile: then nobody wants the document.
    [[nodiscard]] bool opened(const std::string& caller, const std::string& document);
    /// The document is closed once. True when nobody else has it open.
    [[nodiscard]] bool closed(const std::string& document);
    /// The caller has left. Its documents that nobody else has open.
    [[nodiscard]] std::vector<std::string> left(const std::string& caller);
    /// Whether nobody has a document open.
    [[nodiscard]] bool isEmpty() const;

private:
    mutable std::mutex mutex_;
    std::set<std::string> callers_;
    std::multimap<std::string, std::string> callersByDocument_;
};

}  // namespace bus
