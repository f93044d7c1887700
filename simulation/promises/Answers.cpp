#include "ports/CaptureErrors.h"
#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>

using namespace std::chrono_literals;

namespace simulation {

namespace {

constexpr const char* kOurs = KeynoteCaptureServiceErrorDomain;

/// A start that cannot be is answered at once with the reason, once; one that can is not answered.
class StartsAreAnswered final : public Promise {
public:
    StartsAreAnswered(World& world, Story& story) : Promise(story), world_(world) {}

    void passed(Instant /*now*/) override {
        // A start is answered by the task that it puts on the main queue: before anything else happens.
        const auto& starts = world_.starts();
        while (checked_ < starts.size() && starts[checked_]->at < starts.back()->at) check(*starts[checked_++]);
    }
    void ended() override {
        for (const auto& begun : world_.starts()) check(*begun);
        const auto left = std::ranges::count_if(world_.hosts(), &Host::hasLeft);
        const auto balance = static_cast<long>(world_.starts().size()) - world_.stops() - left;
        auto& disables = world_.platform.automaticTermination.disables;
        if (disables["Keynote Detection Started"] != balance) object("starts and stops do not make the balance");
    }

private:
    void check(const Begun& begun) {
        if (begun.isCut) return;
        static constexpr std::array kOutcomes{
            "", "Requested to start capturing with a nil file URL for the content capture directory.",
            "Requested to start capturing with a nil recording ID for the working directory.",
            "File, rather than a directory, exists at specified capture directory", "Permission denied"};
        const std::string promised = kOutcomes.at(static_cast<std::size_t>(begun.how));
        if (begun.replies.size() != (promised.empty() ? 0 : 1)) {
            return object(fmt::format("{} is answered {} times", begun.host->name(), begun.replies.size()));
        }
        if (promised.empty()) return;
        const auto& error = *begun.replies.front();
        if (error.localizedDescription() != promised)
            object("a start is answered \"" + error.localizedDescription() + "\"");
        const auto code = begun.how == Start::intoAFile ? 1 : begun.how == Start::intoALockedFolder ? EACCES : 2;
        const auto* const domain = begun.how == Start::intoALockedFolder ? NSPOSIXErrorDomain : kOurs;
        if (error.code() != code || error.domain() != domain) object("a start is answered with the wrong code");
    }

    World& world_;
    std::size_t checked_ = 0;
};

/// A wait for saving ends once, and not before the program has saved; code 6 only when a program has gone. An
/// extraction ends once, in time, and says whether all images lie beside the deck.
class ErrandsAreAnswered final : public Promise {
public:
    ErrandsAreAnswered(World& world, Story& story) : Promise(story), world_(world) {}

    void told(Host& host, const host::DelegateCall& call) override {
        auto& errands = world_.errands();
        const auto errand = std::ranges::find_if(errands, [&](const auto& each) { return each.host.get() == &host; });
        if (const auto* const saved = std::get_if<host::SavingEnded>(&call)) {
            checkSaved(errand == errands.end() ? nullptr : &*errand, saved->error);
        } else if (const auto* const extracted = std::get_if<host::ExtractedSlideFiles>(&call)) {
            checkExtracted(errand == errands.end() ? nullptr : &*errand, *extracted);
        }
    }

    void passed(Instant now) override {
        for (const auto& errand : world_.errands()) {
            const bool isLate =
                errand.answers == 0 && !errand.host->hasLeft() && now > world_.whenDone(errand.begun + 91s);
            if (isLate && !errand.deck.empty()) object("nobody answers the extraction of " + errand.deck);
        }
    }

    void ended() override {
        for (const auto& errand : world_.errands()) {
            if (errand.answers == 0 && errand.deck.empty() && !errand.isCut)
                object("a wait for saving outlives its program");
        }
    }

private:
    void checkSaved(Errand* errand, const ErrorPtr& error) {
        if (errand == nullptr || !errand->deck.empty() || ++errand->answers > 1)
            return object("nobody waits for saving");
        if (error && (error->domain() != kOurs || error->code() != 6)) object("a wait ends with " + words(error));
        if (error && world_.platform.scripting.model(std::nullopt) != nullptr)
            object("a program runs, and the wait says no");
        // Where several programs have run meanwhile, another one may have been asked.
        const bool isSame = errand->asked && errand->asked->program.process() == errand->asked;
        if (error || !isSame || errand->launches != world_.launches()) return;
        if (errand->asked->program.savesEnded() < errand->saves) object("it is not all saved yet");
    }

    void checkExtracted(Errand* errand, const host::ExtractedSlideFiles& call) {
        if (errand == nullptr || errand->deck != call.presentationPath || ++errand->answers > 1) {
            return object("nobody wanted the images of " + call.presentationPath);
        }
        const auto folder = std::filesystem::path(errand->deck).parent_path();
        const bool isComplete = std::ranges::all_of(errand->names, [&](const auto& name) {
            return world_.platform.files.kindOf(folder / name) == FileKind::file;
        });
        const bool isSandboxLocked = call.error && call.error->domain() == NSPOSIXErrorDomain;
        if (isSandboxLocked && world_.platform.files.readOnly.contains(kSandbox)) return;
        const auto promised = isComplete ? "ok" : std::string(kOurs) + " 5";
        if (words(call.error) != promised) object("an extraction ends with " + words(call.error) + ", not " + promised);
    }

    World& world_;
};

/// While no program runs nobody is woken. When the hosts have gone as well nothing is left: no service, no timer, no
/// queue.
class NothingIsHeld final : public Promise {
public:
    NothingIsHeld(World& world, Story& story) : Promise(story), world_(world) {}

    void rested() override {
        if (world_.platform.dispatch.nextDeadline()) object("nobody presents, and something still waits");
    }

    void ended() override {
        const auto& dispatch = world_.platform.dispatch;
        if (dispatch.nextDeadline())
            object("something still waits, until " + seconds(dispatch.nextDeadline()->time_since_epoch()));
        if (dispatch.serialQueues() != 0) object(fmt::format("{} queues are left", dispatch.serialQueues()));
        for (const auto& host : world_.hosts()) {
            if (host->isServed()) object("the service of " + host->name() + " is still there");
        }
    }

private:
    World& world_;
};

}  // namespace

std::unique_ptr<Promise> startsAreAnswered(World& world, Story& story) {
    return std::make_unique<StartsAreAnswered>(world, story);
}

std::unique_ptr<Promise> errandsAreAnswered(World& world, Story& story) {
    return std::make_unique<ErrandsAreAnswered>(world, story);
}

std::unique_ptr<Promise> nothingIsHeld(World& world, Story& story) {
    return std::make_unique<NothingIsHeld>(world, story);
}

}  // namespace simulation
