#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>
#include <map>
#include <set>

namespace simulation {

namespace {

using Path = std::filesystem::path;

bool isBelow(const Path& path, const Path& folder) {
    return path.native().starts_with(folder.native() + "/");
}

/// What is captured is never written over, and an image goes from the working directory of a presentation into the
/// capture directory of the same, under the same number. A host that hears that all images are in place finds the
/// image of every slide that it was told of, and the right one. An image that was whole once stays so, wherever it is.
class FilesAreSafe final : public Promise {
public:
    FilesAreSafe(World& world, Story& story) : Promise(story), world_(world) {}

    void fileMoved(const Path& from, const Path& to) override {
        noteWhole(from, to);
        if (!isBelow(to, "/captures") && !isBelow(to, "/decks")) return;
        const bool isImage = to.extension() == ".jpg" || to.extension() == ".jpeg";
        if (!isImage) return checkOther(from, to);
        if (!made_.insert(to).second || from.empty()) object("the image " + to.native() + " is written over");
        const Path working = from.parent_path();
        const bool isSame = working.filename() == "slide" && from.stem() == to.stem();
        const bool isOurs = isBelow(to, "/decks") || working.parent_path().filename() == to.parent_path().filename();
        if (!isSame || !isOurs) object(fmt::format("the image {} is moved to {}", from.native(), to.native()));
    }

    void told(Host& host, const host::DelegateCall& call) override {
        if (const auto* const started = std::get_if<host::StartedPresenting>(&call)) {
            if (started->error && !started->archive) withoutDirectory_.insert(started->presentationID.value_or(""));
        }
        if (const auto* const slide = std::get_if<host::PresentedSlide>(&call)) {
            if (slide->presentationID && slide->imageFilePath)
                shown_[*slide->presentationID].insert(*slide->imageFilePath);
        }
        const auto* const stopped = std::get_if<host::StoppedPresenting>(&call);
        if (stopped != nullptr && !host.hasLeft()) checkImages(stopped->presentationID.value_or(""), !stopped->error);
    }

    void ended() override {
        for (const auto& [image, contents] : whole_) {
            if (world_.platform.files.contents(image) != contents) object("the image " + image.native() + " is lost");
        }
    }

private:
    /// Programs give an image its name when it is whole.
    void noteWhole(const Path& from, const Path& to) {
        if (from.extension() == ".part") whole_[to] = world_.platform.files.contents(to).value_or("");
        auto image = whole_.extract(from);
        if (image.empty()) return;
        image.key() = to;
        whole_.insert(std::move(image));
    }

    void checkOther(const Path& from, const Path& to) {
        // An archive is made by the service and written by the program.
        const bool isText = to.native().ends_with(".key.text.xml");
        const bool isArchive = to.extension() == ".key" && to.stem() == to.parent_path().filename();
        if (!from.empty() || (!isText && !isArchive)) object("nobody wanted " + to.native());
    }

    void checkImages(const std::string& id, bool isComplete) {
        const auto& files = world_.platform.files;
        const auto images = shown_.extract(id);
        if (images.empty() || withoutDirectory_.contains(id)) return;
        for (const Path& image : images.mapped()) {
            const auto contents = files.contents(image);
            if (contents && !isImageOf(image, *contents)) object(image.native() + " holds \"" + *contents + "\"");
            // Where nothing may be written, or the program was still writing, the image stays where it was.
            const bool isExcused = world_.wasLocked(image.parent_path()) || world_.hasOtherFileSystems();
            if (isComplete && !contents && !isExcused)
                object(image.native() + " is said to be in place, and is not there");
        }
    }

    /// Whether that is the beginning of the image of the slide that the file is named by.
    [[nodiscard]] static bool isImageOf(const Path& image, const std::string& contents) {
        const auto number = std::stoi(image.stem().extension().native().substr(1));
        return fmt::format("{} {} 0.8", contents.substr(0, contents.find(' ')), number).starts_with(contents);
    }

    World& world_;
    std::set<Path> made_;
    std::map<Path, std::string> whole_;
    std::map<std::string, std::set<Path>> shown_;
    std::set<std::string> withoutDirectory_;
};

}  // namespace

std::unique_ptr<Promise> filesAreSafe(World& world, Story& story) {
    return std::make_unique<FilesAreSafe>(world, story);
}

}  // namespace simulation
