#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace impress {

/// The copies saved of documents. A deck may be closed, and its office with it, as soon as its show has ended; images
/// that are ordered after that are made from the copy. Any thread.
class SavedCopies {
public:
    /// Copies remembered; for a further one the oldest is forgotten.
    static constexpr std::size_t kMost = 64;

    /// The document whose show runs now; empty when none does.
    void presents(const std::string& documentID);
    /// A copy of the document is complete. While the document is presented, an order for images is expected for it.
    void saved(const std::string& documentID, const std::filesystem::path& copy);
    /// The images of the document are ordered.
    void exportOrdered(const std::string& documentID);
    /// The document is closed, and with it its show is over.
    void closed(const std::string& documentID);

    /// The last copy of the document, when it is still there.
    [[nodiscard]] std::optional<std::filesystem::path> copyOf(const std::string& documentID);
    /// Whether a show is over whose images are still to be ordered.
    [[nodiscard]] bool expectsOrder() const;

private:
    struct Copy {
        std::string documentID;
        std::filesystem::path path{};
        int expectedOrders = 0;
        bool isClosed = false;
    };

    [[nodiscard]] std::vector<Copy>::iterator find(const std::string& documentID);

    mutable std::mutex mutex_;
    std::string presentedID_;   ///< this and what follows guarded by `mutex_`
    std::vector<Copy> copies_;  ///< the latest last
};

}  // namespace impress
