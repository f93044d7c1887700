#include "presenters/model/PresentationProgramJobs.h"

#include <fmt/format.h>
#include <algorithm>
#include <cerrno>
#include <utility>

namespace presenters {
namespace {

/// What the archive copy of a simulated document holds: enough to see what it is, and to show it again.
std::string archiveOf(const ProgramDocument& document) {
    std::string text = fmt::format("Simulated presentation \"{}\"\nslides: {}\n", document.name, document.slideCount);
    if (document.file) text += fmt::format("file: {}\n", document.file->string());
    for (const auto slide : document.hiddenSlides) text += fmt::format("hidden: {}\n", slide);
    return text;
}

}  // namespace

/// The image that is being written.
struct PresentationProgramJobs::Image {
    std::filesystem::path path;  ///< final
    std::filesystem::path writtenTo;
    std::unique_ptr<ProgramOutput::File> file;
    std::string bytes;
    std::size_t written = 0;
    std::int64_t piecesLeft = 1;
    Duration pieceTime{};
};

PresentationProgramJobs::PresentationProgramJobs(DispatchQueue& queue, ProgramOutput& output,
                                                 const PresentationProgramFaults& faults,
                                                 const ProgramObserver& observer, ImageMaker imageMaker)
    : queue_(queue), output_(output), faults_(faults), observer_(observer), imageMaker_(std::move(imageMaker)) {}

PresentationProgramJobs::~PresentationProgramJobs() = default;

void PresentationProgramJobs::accept(ProgramJob job) {
    // The file stands there, and is empty, until it is written; what fails is noted then.
    ErrorPtr error;
    if (job.kind == ProgramJob::Kind::save) static_cast<void>(output_.openFile(job.target, error));
    jobs_.push_back(std::move(job));
    if (jobs_.size() == 1) beginJob();
}

void PresentationProgramJobs::giveUp() {
    alive_.reset();
    image_.reset();
    jobs_.clear();
}

std::size_t PresentationProgramJobs::pending(ProgramJob::Kind kind) const {
    return static_cast<std::size_t>(std::ranges::count(jobs_, kind, &ProgramJob::kind));
}

void PresentationProgramJobs::later(Duration delay, void (PresentationProgramJobs::*step)()) {
    queue_.after(delay, [this, step, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) (this->*step)();
    });
}

void PresentationProgramJobs::beginJob() {
    if (jobs_.empty()) return;
    // Made anew for the first job after those that were given up.
    if (!alive_) alive_ = std::make_shared<const bool>(true);
    if (jobs_.front().kind == ProgramJob::Kind::save) {
        return later(faults_.saveTime, &PresentationProgramJobs::finishSave);
    }
    slide_ = 0;
    note(output_.createDirectory(jobs_.front().target));
    later(Duration::zero(), &PresentationProgramJobs::beginImage);
}

void PresentationProgramJobs::endJob() {
    const ProgramJob ended = std::move(jobs_.front());
    jobs_.pop_front();
    // Before the observer hears of it, who may quit the program and with it the other jobs.
    beginJob();
    if (observer_.jobEnded) observer_.jobEnded(ended);
}

void PresentationProgramJobs::finishSave() {
    const ProgramJob& job = jobs_.front();
    if (const auto file = open(job.target)) write(*file, archiveOf(job.document));
    endJob();
}

void PresentationProgramJobs::beginImage() {
    const ProgramJob& job = jobs_.front();
    // Images that are left out cost no time and are no error: they just never come.
    do {
        ++slide_;
    } while (faults_.leftOutImages.contains(slide_));
    if (slide_ > job.document.slideCount || faults_.exportsNothing) return endJob();
    image_ = std::make_unique<Image>();
    image_->path = job.target / fmt::format("slide.{:03}.{}", slide_, faults_.exportsJpeg ? "jpeg" : "jpg");
    // Whoever watches the directory must see an image grow then, so it gets its name at once.
    const bool grows = faults_.imagePieces > 1;
    image_->writtenTo = grows ? image_->path : job.target / fmt::format(".slide.{:03}.part", slide_);
    image_->piecesLeft = faults_.imagePieces;
    image_->pieceTime = faults_.imageTime / faults_.imagePieces;
    later(image_->pieceTime, &PresentationProgramJobs::writePiece);
}

void PresentationProgramJobs::writePiece() {
    Image& image = *image_;
    if (!image.file) {
        const ProgramJob& job = jobs_.front();
        // Not before it is due: making an image takes real time also for those who wait in virtual time.
        image.bytes = imageMaker_(job.document, slide_, job.quality);
        image.file = open(image.writtenTo);
    }
    const std::size_t left = image.bytes.size() - image.written;
    // The last piece takes what the division has left over.
    const std::size_t size = left / static_cast<std::size_t>(image.piecesLeft);
    const std::string_view piece = std::string_view(image.bytes).substr(image.written, size);
    // The error is noted; the other images are still wanted.
    if (!image.file || !write(*image.file, piece)) return beginImage();
    image.written += size;
    if (--image.piecesLeft == 0) return finishImage();
    later(image.pieceTime, &PresentationProgramJobs::writePiece);
}

void PresentationProgramJobs::finishImage() {
    const auto image = std::exchange(image_, nullptr);
    image->file.reset();
    if (image->writtenTo != image->path) note(output_.rename(image->writtenTo, image->path));
    ++jobs_.front().imagesWritten;
    // The observer may quit the program, and with it goes this job.
    const std::weak_ptr alive(alive_);
    if (observer_.imageWritten) observer_.imageWritten(jobs_.front());
    if (!alive.expired()) beginImage();
}

std::unique_ptr<ProgramOutput::File> PresentationProgramJobs::open(const std::filesystem::path& path) {
    ErrorPtr error;
    auto file = output_.openFile(path, error);
    note(error);
    return file;
}

bool PresentationProgramJobs::write(ProgramOutput::File& file, std::string_view bytes) {
    const auto error =
        faults_.diskFull ? makeError(NSPOSIXErrorDomain, ENOSPC, "No space left on device") : file.append(bytes);
    note(error);
    return !error;
}

void PresentationProgramJobs::note(const ErrorPtr& error) {
    ErrorPtr& first = jobs_.front().error;
    if (!first) first = error;
}

}  // namespace presenters
