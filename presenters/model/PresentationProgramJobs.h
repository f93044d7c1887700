#pragma once

#include "ports/Dispatch.h"
#include "ports/Scripting.h"
#include "presenters/model/PresentationProgramFaults.h"
#include "presenters/model/ProgramOutput.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace presenters {

/// A deck that is open in the program.
struct ProgramDocument {
    std::string id;
    std::string name;
    std::optional<std::filesystem::path> file;  ///< nothing for a document that was never saved
    std::int64_t slideCount = 1;                ///< 0 to `kMostSlides`
    std::set<std::int64_t> hiddenSlides;        ///< passed over by the show; they have numbers and images all the same
    std::vector<ScriptingSlide> texts{};        ///< of the first slides; those behind have none
    std::int64_t currentSlide = 0;              ///< 0 for none
    std::int64_t windowID = 0;                  ///< set by the program that opens it
};

/// A save or an export, and how it went.
struct ProgramJob {
    enum class Kind { save, imageExport };

    Kind kind = Kind::save;
    ProgramDocument document;  ///< as it was when the job was accepted
    std::filesystem::path target;
    double quality = 1;              ///< 0 to 1; images only
    std::int64_t imagesWritten = 0;  ///< images only
    ErrorPtr error{};                ///< the first one that occurred; the job goes on with the next image
};

/// Hears what happens in a program, each after it has happened. Functions that are not set are skipped.
struct ProgramObserver {
    std::function<void()> changed;                        ///< launch, quit, documents, show, slide or screen
    std::function<void(const ProgramJob&)> imageWritten;  ///< an image is complete under its final name
    std::function<void(const ProgramJob&)> jobEnded;      ///< no longer among the pending jobs
};

/// Does the writing of a presentation program: jobs are accepted at once and done one after the other, in the order
/// accepted, each taking its time on the queue. An image is written under a temporary name and renamed once it is
/// complete. Faults act from the next step on. Everything, construction and destruction included, on the queue's
/// thread.
class PresentationProgramJobs {
public:
    /// Makes the bytes of the image of a slide, in JPEG format of a quality from 0 to 1.
    using ImageMaker = std::function<std::string(const ProgramDocument&, std::int64_t slide, double quality)>;

    /// All but the image maker must outlive the jobs.
    PresentationProgramJobs(DispatchQueue& queue, ProgramOutput& output, const PresentationProgramFaults& faults,
                            const ProgramObserver& observer, ImageMaker imageMaker);
    ~PresentationProgramJobs();
    PresentationProgramJobs(const PresentationProgramJobs&) = delete;
    PresentationProgramJobs& operator=(const PresentationProgramJobs&) = delete;

    void accept(ProgramJob job);
    /// Drops all jobs where they stand: a half-written file stays half-written, and nobody hears of it.
    void giveUp();
    /// How many jobs of this kind are accepted and not ended.
    [[nodiscard]] std::size_t pending(ProgramJob::Kind kind) const;

private:
    struct Image;

    void later(Duration delay, void (PresentationProgramJobs::*step)());
    void beginJob();
    void endJob();
    void finishSave();
    void beginImage();
    void writePiece();
    void finishImage();
    /// Both note an error for the job; null or false then.
    [[nodiscard]] std::unique_ptr<ProgramOutput::File> open(const std::filesystem::path& path);
    bool write(ProgramOutput::File& file, std::string_view bytes);
    void note(const ErrorPtr& error);

    DispatchQueue& queue_;
    ProgramOutput& output_;
    const PresentationProgramFaults& faults_;
    const ProgramObserver& observer_;
    const ImageMaker imageMaker_;
    std::deque<ProgramJob> jobs_;  ///< the first one is under way
    std::int64_t slide_ = 0;
    std::unique_ptr<Image> image_;
    std::shared_ptr<const bool> alive_;  ///< steps of jobs that were given up find it gone
};

}  // namespace presenters
