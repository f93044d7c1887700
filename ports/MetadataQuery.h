#pragma once

#include "base/Registration.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// One search for files by their metadata, over the whole computer. What is found is a list in no particular order,
/// which does not change any more. Dropping the query stops a search under way, whose end is then not told. Main queue
/// only.
class MetadataQuery {
public:
    virtual ~MetadataQuery() = default;
    /// Starts the search and returns at once; to be called once. False when it cannot be started: then it never
    /// finishes, and nobody is told.
    [[nodiscard]] virtual bool start() = 0;
    /// How many files were found; 0 until the search has finished.
    [[nodiscard]] virtual std::size_t resultCount() const = 0;
    /// Where the found file at an index below `resultCount` lies (kMDItemPath); nothing when the search cannot say.
    [[nodiscard]] virtual std::optional<std::filesystem::path> pathAt(std::size_t index) const = 0;
};

/// Where metadata searches come from. Main queue only.
class MetadataQueries {
public:
    using Observer = std::function<void(const MetadataQuery& sender)>;

    virtual ~MetadataQueries() = default;
    /// A new search that has not been started. Never null; a text that the platform cannot search for makes a query
    /// that cannot be started. Every platform knows `attribute == "value"`, with kMDItemCFBundleIdentifier as
    /// attribute.
    [[nodiscard]] virtual std::shared_ptr<MetadataQuery> makeQuery(const std::string& queryText) = 0;
    /// Calls the observer on the main queue when any query of this process has finished, with that query; its
    /// results stay readable for as long as somebody holds it.
    [[nodiscard]] virtual Handle observeDidFinish(Observer observer) = 0;
};
