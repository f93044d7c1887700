#pragma once

#include "ports/Scripting.h"
#include "presenters/model/PresentationProgramFaults.h"
#include "presenters/model/PresentationProgramJobs.h"
#include "presenters/model/ShowTimes.h"

#include <functional>
#include <vector>

namespace presenters {

/// The error of an event that a program refuses, and why.
[[nodiscard]] ErrorPtr failed(const std::string& sentence);

/// The model of a presentation program: documents, slide show and windows, and the saves and exports that it carries
/// out. A script moves it (launch, open, start, go to a slide, stop, quit), and a scripting channel asks it what a
/// capture service asks the real program. It looks at no clock but the one that it is given: work takes its time on the
/// queue that it is given, so that it runs in virtual time as well as in real time. Faults may be switched at any time
/// and act from then on.
///
/// Everything, construction and destruction included, happens on the queue's thread.
class PresentationProgramModel {
public:
    using ImageMaker = PresentationProgramJobs::ImageMaker;

    /// The queue and the output must outlive the model.
    PresentationProgramModel(DispatchQueue& queue, ProgramOutput& output, ImageMaker imageMaker);

    void setObserver(ProgramObserver observer) { observer_ = std::move(observer); }
    /// Reads the presentation in a file; nothing with `error` set when it is none. Without a reader every file is a
    /// presentation with one empty slide.
    using Reader = std::function<std::optional<ProgramDocument>(const std::filesystem::path&, ErrorPtr& error)>;
    void setReader(Reader reader) { reader_ = std::move(reader); }
    /// From now on the program tells when its shows start, change and end, by this clock; at first it does not.
    void tellTimes(std::function<Instant()> now) { now_ = std::move(now); }
    [[nodiscard]] PresentationProgramFaults& faults() { return faults_; }
    [[nodiscard]] const PresentationProgramFaults& faults() const { return faults_; }

    // The script's side. A failure is a sentence for the person who wrote the script; nothing has changed then.

    /// Starts the program, without documents.
    [[nodiscard]] ErrorPtr launch();
    /// Ends the show, closes everything and gives up the jobs that are not done.
    void quit();
    [[nodiscard]] bool isRunning() const { return isRunning_; }

    /// Opens a document in front of the others. Without an id it gets one; its current slide is the first one shown.
    [[nodiscard]] ErrorPtr openDocument(ProgramDocument document);
    /// Closes the document; its show ends.
    [[nodiscard]] ErrorPtr closeDocument(const std::string& id);
    /// The lecturer adds slides at the end of the document, or takes the last ones out of it. When its current slide
    /// goes, the last that is left becomes the current one.
    [[nodiscard]] ErrorPtr setSlideCount(const std::string& id, std::int64_t slides);
    /// Brings the document to the front: element 0 of the documents is what a poll takes for the presented one.
    [[nodiscard]] ErrorPtr activateDocument(const std::string& id);
    /// Starts the show of the document at a slide, or at the first that is not hidden. The documents keep their order.
    [[nodiscard]] ErrorPtr startShow(const std::string& id, std::optional<std::int64_t> slide = std::nullopt);
    /// Makes a slide the current one of the presented document, or of the front document when no show plays. Hidden
    /// slides can be reached so; 0 stands for no slide.
    [[nodiscard]] ErrorPtr goToSlide(std::int64_t slide);
    /// Goes to the next slide that is not hidden; after the last one the show ends.
    [[nodiscard]] ErrorPtr nextSlide();
    [[nodiscard]] ErrorPtr stopShow();
    /// The frame of the screen that the windows are laid out for; at first 1440 x 900.
    void setScreen(const Rect& screen);
    [[nodiscard]] const Rect& screen() const { return screen_; }
    /// Where the documents' windows stand: in the middle of the screen, smaller than it.
    [[nodiscard]] Rect documentFrame() const;

    /// The open documents, the front one first.
    [[nodiscard]] const std::vector<ProgramDocument>& documents() const { return documents_; }
    /// The frontmost document of this name, or null. Valid until the documents change.
    [[nodiscard]] const ProgramDocument* documentNamed(const std::string& name) const;
    /// The document whose show plays, or null. Valid until the documents change.
    [[nodiscard]] const ProgramDocument* presentedDocument() const;
    /// How many jobs of this kind are accepted and not ended.
    [[nodiscard]] std::size_t pendingJobs(ProgramJob::Kind kind) const { return jobs_.pending(kind); }

    // The scripting channel's side. Errors are of `NSOSStatusErrorDomain`, code `kAppleEventFailed`, with a sentence.

    /// What a poll reads; empty with `error` set when refused.
    [[nodiscard]] PresentingState presentingState(ErrorPtr& error) const;
    /// The windows, front window first: the show's, as large as the screen, then the documents'. Empty with `error`
    /// set when refused.
    [[nodiscard]] std::vector<ScriptingWindow> windows(ErrorPtr& error) const;
    [[nodiscard]] std::string version(ErrorPtr& error) const;
    /// Comes to the front; there is nothing to see of it.
    [[nodiscard]] ErrorPtr activate() const { return refusal("activate"); }
    /// Opens the file behind the documents that are open and answers the document's ID; one that is open already is
    /// answered as it is. A path where no file stands gets a new document with one empty slide. Empty with `error` set
    /// when refused or when the file is no presentation.
    [[nodiscard]] std::string open(const std::filesystem::path& path, ErrorPtr& error);
    /// The numbers of all slides in order; empty with `error` set when refused.
    [[nodiscard]] std::vector<std::int64_t> slideNumbers(const std::string& id, ErrorPtr& error) const;
    /// The document's name and the text of its slides; empty with `error` set when refused.
    [[nodiscard]] ScriptingDocumentText text(const std::string& id, ErrorPtr& error) const;
    /// Closes the document, unless its show plays. Nothing here is ever unsaved, so the save option changes nothing.
    [[nodiscard]] ErrorPtr close(const std::string& id, const std::string& saveOption);
    /// Accepts to write a copy of the document.
    [[nodiscard]] ErrorPtr save(const std::string& id, const std::filesystem::path& target);
    /// Ends the document's show.
    [[nodiscard]] ErrorPtr stop(const std::string& id);
    /// Accepts to write the images into the directory `target`. Format "Kimg" and image format "Kifj" only.
    [[nodiscard]] ErrorPtr exportTo(const std::string& id, const std::filesystem::path& target,
                                    const std::string& formatCode, const ExportProperties& properties);

private:
    [[nodiscard]] ErrorPtr refusal(const std::string& call) const;
    [[nodiscard]] ErrorPtr refusal(const std::string& call, const std::string& id) const;
    [[nodiscard]] ErrorPtr admit(ProgramDocument& document);
    [[nodiscard]] std::vector<ProgramDocument>::iterator find(const std::string& id);
    [[nodiscard]] const ProgramDocument* documentWithID(const std::string& id) const;
    [[nodiscard]] ProgramDocument* shownDocument();
    void show(ProgramDocument& document, std::int64_t slide);
    void endShow();
    [[nodiscard]] TimeBounds rightNow() const { return {now_(), now_()}; }
    void changed() const;

    PresentationProgramFaults faults_;
    ProgramObserver observer_;
    PresentationProgramJobs jobs_;
    Reader reader_;
    std::function<Instant()> now_;
    ShowTimes times_;
    bool isRunning_ = false;
    std::vector<ProgramDocument> documents_;
    std::optional<std::string> presentedID_;
    std::int64_t documentsMade_ = 0;
    Rect screen_{0, 0, 1440, 900};
};

}  // namespace presenters
