#include "ports/CaptureErrors.h"
#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>
#include <set>

namespace simulation {

namespace {

using Path = std::filesystem::path;

/// A show that starts gets an identifier that nobody had before, directories of its own, and an archive copy of the
/// document that the poll saw, which stands there at once; or the host is told why not.
class ShowsStartAsPromised final : public Promise {
public:
    ShowsStartAsPromised(World& world, Story& story) : Promise(story), world_(world) {}

    void sent(const std::string& event) override {
        // A wait for saving saves elsewhere.
        if (event.starts_with("save ") && event.find(" /captures/") != std::string::npos)
            saves_.emplace_back(world_.now(), event);
    }

    void told(Host& host, const host::DelegateCall& call) override {
        const auto* const started = std::get_if<host::StartedPresenting>(&call);
        if (started == nullptr || host.hasLeft()) return;
        const auto id = started->presentationID.value_or("");
        if (id.size() != 36 || !identifiers_.insert(id).second)
            object("the identifier \"" + id + "\" is not a new one");
        if (started->originalDocumentPath != host.watch.lastSeen().file) object(host.name() + " is told another deck");
        const auto promised = outcome(*host.watch.captures() / id);
        const auto told = words(started->error);
        const bool isFine = promised == "any error" ? started->error != nullptr : promised == told;
        if (!isFine)
            object(fmt::format("{} is told \"{}\" of the start where it was \"{}\"", host.name(), told, promised));
        const bool isPrepared = !started->error || started->error->code() == kNoArchive;
        host.watch.showIsNamed(id, isPrepared);
        if (started->archive.has_value() != (started->error == nullptr)) object("there is an archive, or an error");
        if (started->archive) checkArchive(host, *started->archive, id);
    }

    void serviceEnded() override { saves_.clear(); }

    void passed(Instant now) override {
        if (!saves_.empty() && saves_.front().first < now) object("nobody wanted to " + saves_.front().second);
    }

private:
    static constexpr auto kNoArchive = static_cast<std::int64_t>(KeynoteCaptureServiceError::archiveNotSaved);

    /// What the host is to be told about its directories as they are.
    [[nodiscard]] std::string outcome(const Path& directory) const {
        const auto& files = world_.platform.files;
        const Path captures = directory.parent_path();
        if (files.kindOf(captures) == FileKind::file) return "any error";
        const bool isThere = files.kindOf(captures) == FileKind::directory;
        if (files.readOnly.contains(isThere ? captures : captures.parent_path()))
            return words(makeError(NSPOSIXErrorDomain, EACCES));
        if (files.readOnly.contains(directory)) return words(makeError(KeynoteCaptureServiceErrorDomain, kNoArchive));
        return "ok";
    }

    void checkArchive(const Host& host, const std::string& archive, const std::string& id) {
        const Path file = *host.watch.captures() / id / archive;
        if (archive != id + ".key") object("the archive is named " + archive);
        if (world_.platform.files.kindOf(file) != FileKind::file)
            object("the archive " + file.native() + " is not there");
        const auto& document = host.watch.documentID();
        const auto asked = fmt::format("save {} {}", document.value_or(""), file.native());
        const bool isAsked = std::erase(saves_, std::pair(world_.now(), asked)) == 1;
        if (document && !isAsked) object(fmt::format("nobody asked the program to \"{}\"", asked));
    }

    World& world_;
    std::set<std::string> identifiers_;
    std::vector<std::pair<Instant, std::string>> saves_;
};

}  // namespace

std::unique_ptr<Promise> showsStartAsPromised(World& world, Story& story) {
    return std::make_unique<ShowsStartAsPromised>(world, story);
}

}  // namespace simulation
