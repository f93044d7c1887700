#pragma once

#include "base/Error.h"
#include "base/Geometry.h"
#include "base/TimeBounds.h"

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

/// Domain of why events fail.
inline constexpr const char* NSOSStatusErrorDomain = "NSOSStatusErrorDomain";
/// Code of an event whose reply did not come in time (errAETimeout of the platform). The application may still do what
/// it was asked.
inline constexpr std::int64_t kAppleEventTimeout = -1712;
/// Code of an event that the application refused, or that no application was there for (errAEEventFailed of the
/// platform).
inline constexpr std::int64_t kAppleEventFailed = -10000;

/// An open document as the application tells it.
struct ScriptingDocumentState {
    /// Scripting ID, unique among the application's open documents.
    std::string id;
    /// Where the document was saved; nothing when it never was.
    std::optional<std::filesystem::path> file;
    /// The number of the current slide, counted from 1; 0 when the document has none.
    std::int64_t currentSlideNumber = 0;

    bool operator==(const ScriptingDocumentState&) const = default;
};

/// One stay of a slide on the screen, by the program's own observation.
struct ScriptingVisit {
    std::int64_t slideNumber = 0;  ///< 1-based
    std::int64_t position = 0;     ///< 1-based place in the show, 0 outside of it
    TimeBounds began;

    bool operator==(const ScriptingVisit&) const = default;
};

/// When things happened, told by a program that watches its own shows. All of it is optional.
struct ScriptingTimes {
    std::optional<TimeBounds> showStarted;  ///< the running show, or the one that `showEnded` tells of
    std::vector<ScriptingVisit> visits;     ///< that show's latest, at most `kMostVisits`, oldest first
    std::optional<TimeBounds> showEnded;    ///< nothing while a show runs
    std::string endedDocumentID;            ///< whose show ended

    bool operator==(const ScriptingTimes&) const = default;
};
/// How many visits a program tells at most; with fewer, they are all visits since the start.
inline constexpr std::size_t kMostVisits = 32;

/// What one poll reads. The application takes all of it at one moment, so the slide belongs to the show.
struct PresentingState {
    /// Whether a slide show plays; nothing when the application has no such property.
    std::optional<bool> playing;
    /// Element 0 of the documents: the presented one while a show plays. Nothing when no document is open.
    std::optional<ScriptingDocumentState> firstDocument;
    /// Empty when the application tells no times.
    ScriptingTimes times;
};

/// A window as the application tells it: bounds in screen coordinates, ID unique in the application.
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

/// What becomes of unsaved changes when a document is closed: four-character codes of the scripting dictionary. The
/// first leaves the document open for its user to decide, the second drops them.
inline constexpr const char* kSaveOptionAsk = "ask ";
inline constexpr const char* kSaveOptionNo = "no  ";
inline constexpr const char* kSaveOptionYes = "yes ";

/// The export format of one image per slide, and the image format of its property `imageFormat`: codes likewise.
inline constexpr const char* kExportFormatImages = "Kimg";
inline constexpr const char* kImageFormatJPEG = "Kifj";

/// Properties of an export by key; an enumerated value is its four-character code as text.
using ExportProperties = std::map<std::string, std::variant<bool, double, std::string>>;

/// A reference to a document by its ID. Making one asks nothing of the application: whether the document exists shows
/// when an event is sent. Any thread.
///
/// Commands return at once and reach the application in the order of the calls; the application does the work behind.
/// When one fails, or no reply to it comes in time, the connection's `ScriptingDelegate` hears of it later; the caller
/// is not told.
class ScriptingDocument {
public:
    virtual ~ScriptingDocument() = default;
    [[nodiscard]] virtual const std::string& id() const = 0;
    /// Command core/save with the target as kfil: writes a copy in the program's own format. The document stays as it
    /// was, its unsaved changes included.
    virtual void save(const std::filesystem::path& target) = 0;
    /// Command: ends the slide show of this document.
    virtual void stop() = 0;
    /// Command: exports into the directory `target`, in the format of the four-character code. The application makes
    /// the directory; the files come one by one, and nothing tells the last.
    virtual void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                          const ExportProperties& properties) = 0;
    /// Command: closes the document once its pending work is done. Events to it fail from then on.
    virtual void close(const std::string& saveOption) = 0;
    /// The document's name and the text of all slides, by one event. Empty after a failure. Waits for the reply, so it
    /// is not for the main queue.
    [[nodiscard]] virtual ScriptingDocumentText text() = 0;
};

/// Hears of events that failed. An event that its sender waits for is told on the sender's thread, before the wait
/// ends; any other on the main queue.
class ScriptingDelegate {
public:
    virtual ~ScriptingDelegate() = default;
    /// `eventDidFail:withError:`: the event by its name, and why it failed.
    virtual void eventDidFail(const std::string& event, const Error& error) = 0;
};

/// A scripting connection to one application. There are two kinds of operations. One that takes a callback sends its
/// event and returns at once, on any thread; the callback is called later on the main queue, exactly once, at the
/// latest when the time-out has passed. One that returns a result waits for it as long, so it must not be called on the
/// main queue.
class ScriptingApplication {
public:
    /// The state, and null; or an empty state, and why the event failed (`lastError` of the platform).
    using StateAnswer = std::function<void(const PresentingState&, const ErrorPtr&)>;
    /// The document; null after a failure.
    using DocumentAnswer = std::function<void(std::shared_ptr<ScriptingDocument>)>;

    virtual ~ScriptingApplication() = default;
    /// Whether the application is there to answer. Sends nothing and does not wait.
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// Asks for everything that a poll needs, by one event.
    virtual void presentingState(StateAnswer answer) = 0;
    /// The scriptable windows, the front one first, at most a thousand. Empty after a failure. Waits.
    [[nodiscard]] virtual std::vector<ScriptingWindow> windows() = 0;
    /// The application's version; nothing after a failure. Waits.
    [[nodiscard]] virtual std::optional<std::string> version() = 0;
    /// Brings the application to the front. A command like those of a document: returns at once.
    virtual void activate() = 0;
    /// Opens the file and answers its document, as it is when it is open already. Where no file stands the application
    /// makes a new, empty document for the path. The document stays open at least as long as somebody keeps the answer
    /// or this connection.
    virtual void open(const std::filesystem::path& path, DocumentAnswer answer) = 0;
    /// The same, but returns the document. Null after a failure. Waits.
    [[nodiscard]] virtual std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) = 0;
    /// A reference to the document with this ID. Never null. Sends nothing, so there may be no such document.
    [[nodiscard]] virtual std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) = 0;
    /// How long each event from now on may wait for its reply; a minute unless set. Any thread.
    virtual void setTimeout(std::chrono::milliseconds timeout) = 0;
    /// Who hears of failed events; the connection does not keep it alive. Any thread.
    virtual void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) = 0;
};

/// Where scripting connections come from. Any thread.
class Scripting {
public:
    virtual ~Scripting() = default;
    /// A connection to the application with this process identifier. Never null. Sends nothing: `isRunning` tells
    /// whether there is one.
    [[nodiscard]] virtual std::shared_ptr<ScriptingApplication> applicationForProcess(pid_t processIdentifier) = 0;
    /// A connection to whichever application with this bundle identifier runs when an event is sent, the one that
    /// appeared last if there are several. Never null. Sends nothing. Its events do not wait for those of other
    /// connections.
    [[nodiscard]] virtual std::shared_ptr<ScriptingApplication> applicationForBundleIdentifier(
        const std::string& bundleIdentifier) = 0;
};
