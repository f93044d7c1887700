#pragma once

#include "base/Error.h"
#include "base/Geometry.h"

#include <sys/types.h>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
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
/// when an event is sent. Any thread.
///
/// Commands return at once and reach the application in the order of the calls; the work goes on behind. One that
/// fails, also by its reply's not coming in time, reaches the application's `ScriptingDelegate` later and changes
/// nothing else.
class ScriptingDocument {
public:
    virtual ~ScriptingDocument() = default;
    [[nodiscard]] virtual const std::string& id() const = 0;
    /// Command core/save with the target as kfil. Writes a copy in the program's own format.
    virtual void save(const std::filesystem::path& target) = 0;
    /// Command: ends the slide show of this document.
    virtual void stop() = 0;
    /// Command: exports into the directory `target`, in the format of the four-character code.
    virtual void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                          const ExportProperties& properties) = 0;
    /// Command: closes the document once its pending work is done.
    virtual void close(const std::string& saveOption) = 0;
    /// One event for the document's name and the text of all slides; empty after a failure. Waits for the reply: not on
    /// the main queue.
    [[nodiscard]] virtual ScriptingDocumentText text() = 0;
};

/// Hears of events that failed: of those that wait for their reply on the thread that sent them, of the others on the
/// main queue.
class ScriptingDelegate {
public:
    virtual ~ScriptingDelegate() = default;
    /// `eventDidFail:withError:`: the event by its name, and why it failed.
    virtual void eventDidFail(const std::string& event, const Error& error) = 0;
};

/// A scripting connection to one application. What takes an answer sends its event and returns at once; the answer
/// comes later on the main queue, exactly once, at the latest when the time-out has passed. What returns
/// a result waits for it that long, so it is not for the main queue. Any thread otherwise.
class ScriptingApplication {
public:
    /// The state, and null; or an empty state, and why the event failed (`lastError` of the platform).
    using StateAnswer = std::function<void(const PresentingState&, const ErrorPtr&)>;
    /// The document; null after a failure.
    using DocumentAnswer = std::function<void(std::shared_ptr<ScriptingDocument>)>;

    virtual ~ScriptingApplication() = default;
    /// Whether the application is there to answer. Sends nothing.
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// One event for everything a poll needs.
    virtual void presentingState(StateAnswer answer) = 0;
    /// The scriptable windows, front window first, at most a thousand; empty after a failure. Waits.
    [[nodiscard]] virtual std::vector<ScriptingWindow> windows() = 0;
    /// The application's version; nothing after a failure. Waits.
    [[nodiscard]] virtual std::optional<std::string> version() = 0;
    /// Command, as those of a document: brings the application to the front.
    virtual void activate() = 0;
    /// Opens the file and answers its document; one that is open already is answered as it is. Where no file stands the
    /// application makes a new, empty document for the path. The document stays open at least until the answer and
    /// this application are dropped.
    virtual void open(const std::filesystem::path& path, DocumentAnswer answer) = 0;
    /// The same, waiting; null after a failure.
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
