#pragma once

#include "ports/Error.h"
#include "ports/Geometry.h"

#include <sys/types.h>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// Code of an event whose reply did not come in time, in `NSOSStatusErrorDomain` (errAETimeout of the platform).
inline constexpr std::int64_t kAppleEventTimeout = -1712;
/// Code of an event that the application refused (errAEEventFailed of the platform).
inline constexpr std::int64_t kAppleEventFailed = -10000;
inline constexpr const char* NSOSStatusErrorDomain = "NSOSStatusErrorDomain";

/// An open document as the application tells it.
struct ScriptingDocumentState {
    std::string id;                             ///< scripting ID, unique among the application's documents
    std::optional<std::filesystem::path> file;  ///< nothing for a document that was never saved
    std::int64_t currentSlideNumber = 0;        ///< 1-based number of the current slide; 0 when it has none

    bool operator==(const ScriptingDocumentState&) const = default;
};

/// What one poll reads: the answers belong together, they are taken at one moment.
struct PresentingState {
    std::optional<bool> playing;                          ///< nothing when the application has no such property
    std::optional<ScriptingDocumentState> firstDocument;  ///< element 0 of the documents, when there is one
};

struct ScriptingWindow {
    std::string name;
    Rect bounds;
    std::int64_t index = 0;  ///< 1 is the front window
    std::int64_t id = 0;
};

/// A table of a slide: the formatted values of its cells, row by row.
struct ScriptingTable {
    std::string name;
    std::vector<std::vector<std::string>> rows;

    bool operator==(const ScriptingTable&) const = default;
};

/// The text of a slide. What the slide does not have is empty.
struct ScriptingSlide {
    std::int64_t slideNumber = 0;  ///< 1-based
    bool skipped = false;
    std::string defaultTitleItemText;
    std::string defaultBodyItemText;
    std::string presenterNotes;
    std::vector<std::string> textItems;  ///< the text of every text item, in the program's order
    std::vector<ScriptingTable> tables;

    bool operator==(const ScriptingSlide&) const = default;
};

/// All text of a document, fetched whole.
struct ScriptingDocumentText {
    std::string name;
    std::vector<ScriptingSlide> slides;
};

/// What becomes of unsaved changes when a document is closed: four-character codes of the scripting dictionary.
inline constexpr const char* kSaveOptionAsk = "ask ";
inline constexpr const char* kSaveOptionNo = "no  ";

/// Properties of an export by key; an enumerated value is its four-character code as text.
using ExportProperties = std::map<std::string, std::variant<bool, double, std::string>>;

/// A reference to a document by its ID. Making one asks nothing of the application: whether the document exists shows
/// when an event is sent. Events return once the application has accepted them; the work may go on
/// behind. A failed event reaches the application's `ScriptingDelegate` and changes nothing else.
class ScriptingDocument {
public:
    virtual ~ScriptingDocument() = default;
    [[nodiscard]] virtual const std::string& id() const = 0;
    /// Event core/save with the target as kfil. Writes a copy in the program's own format.
    virtual void save(const std::filesystem::path& target) = 0;
    /// Ends the slide show of this document.
    virtual void stop() = 0;
    /// Exports into the directory `target`, in the format of the four-character code.
    virtual void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                          const ExportProperties& properties) = 0;
    /// One event for the document's name and the text of all slides; empty after a failure.
    [[nodiscard]] virtual ScriptingDocumentText text() = 0;
    /// Closes the document once its pending work is done.
    virtual void close(const std::string& saveOption) = 0;
};

/// Hears of events that failed, on the thread that sent them.
class ScriptingDelegate {
public:
    virtual ~ScriptingDelegate() = default;
    /// `eventDidFail:withError:`: the event by its name, and why it failed.
    virtual void eventDidFail(const std::string& event, const Error& error) = 0;
};

/// A scripting connection to one application. Callable from any thread, one event at a time: each call sends its
/// event and waits for the reply, at most for the time-out.
class ScriptingApplication {
public:
    virtual ~ScriptingApplication() = default;
    /// Whether the application is there to answer. Sends nothing.
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// One event for everything a poll needs. After a failure both members are empty and `lastError` is set.
    [[nodiscard]] virtual PresentingState presentingState() = 0;
    /// Why the last `presentingState` of this thread's polls failed; null when it succeeded. Sends nothing.
    [[nodiscard]] virtual ErrorPtr lastError() const = 0;
    /// The scriptable windows, front window first; empty after a failure.
    [[nodiscard]] virtual std::vector<ScriptingWindow> windows() = 0;
    /// The application's version; nothing after a failure.
    [[nodiscard]] virtual std::optional<std::string> version() = 0;
    /// Brings the application to the front.
    virtual void activate() = 0;
    /// Opens the file and answers its document; one that is open already is answered as it is. Where no file stands the
    /// application makes a new, empty document for the path. Null after a failure.
    [[nodiscard]] virtual std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) = 0;
    /// A reference to the document with this ID. Sends nothing, never null.
    [[nodiscard]] virtual std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) = 0;
    /// How long an event may wait for its reply; a minute unless set.
    virtual void setTimeout(std::chrono::milliseconds timeout) = 0;
    /// Who hears of failed events; held weakly.
    virtual void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) = 0;
};

/// Where scripting connections come from. Any thread.
class Scripting {
public:
    virtual ~Scripting() = default;
    /// A connection to the application with this process identifier. Sends nothing; never null, and
    /// `isRunning` tells whether somebody answers.
    [[nodiscard]] virtual std::shared_ptr<ScriptingApplication> applicationForProcess(pid_t processIdentifier) = 0;
    /// A connection to whichever application with this bundle identifier runs when an event is sent, the one that
    /// appeared last if there are several. Sends nothing, never null. Its events do not wait for those of other
    /// connections.
    [[nodiscard]] virtual std::shared_ptr<ScriptingApplication> applicationForBundleIdentifier(
        const std::string& bundleIdentifier) = 0;
};
