#include "platform/linux/bus/ProgramWatch.h"

#include "bus/Convert.h"
#include "bus/Names.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace bus {
namespace {

constexpr std::size_t kMostPrograms = 64;
constexpr std::ptrdiff_t kMostOfOneOwner = 4;
constexpr std::size_t kMostNames = 1000;
/// Programs that ran before are ordered by the number of their connection, and come before those seen to appear.
constexpr std::uint64_t kSeenOrder = std::uint64_t{1} << 63U;

/// The number at the end of a unique name such as ":1.42", which grows with every connection.
std::uint64_t connectionNumber(const std::string& uniqueName) {
    const auto dot = uniqueName.rfind('.');
    std::uint64_t number = 0;
    if (dot != std::string::npos) {
        std::from_chars(uniqueName.data() + dot + 1, uniqueName.data() + uniqueName.size(), number);
    }
    return number;
}

bool isForged(const Failure* failure) {
    return failure != nullptr && failure->name() == kForged;
}

}  // namespace

ProgramWatch::ProgramWatch(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue,
                           std::vector<std::string> bundleIdentifiers, std::shared_ptr<ProgramList> list,
                           std::function<void()> changed, std::chrono::milliseconds patience)
    : bus_(std::move(bus)),
      mainQueue_(mainQueue),
      bundleIdentifiers_(std::move(bundleIdentifiers)),
      list_(std::move(list)),
      changed_(std::move(changed)),
      patience_(patience),
      daemon_(bus_->connection(), kBusDaemon, kBusDaemonPath) {
    for (const auto& identifier : bundleIdentifiers_) watchNames(identifier);
    const auto processTold = [this](const std::string& sender, pid_t process) {
        if (isOwner(sender)) post([this, sender, process] { processChanged(sender, process); });
    };
    matches_.push_back(watchProcessIdentifiers(bus_->connection(), processTold));
    listNames(Appearance::before);
}

void ProgramWatch::watchNames(const std::string& identifier) {
    const auto changed = [this](const std::string& name, const std::string& owner) {
        post([this, name, owner] { ownerChanged(name, owner); });
    };
    matches_.push_back(bus_->connection().watchNames("arg0namespace='" + identifier + "'", changed));
}

/// The programs that run already.
void ProgramWatch::listNames(Appearance appearance) {
    wasTurnedAway_ = isPlaceFree_ = false;
    using Names = std::vector<std::string>;
    daemon_.ask<Names>(makeCall<Names>(kBusDaemon, "ListNames"), Peer::kDefaultTimeout,
                       [this, appearance](const Failure* failure, const Names& names) {
                           post([this, appearance, names, isForged = isForged(failure)] {
                               --questionsToDaemon_;
                               isForged ? listNames(appearance) : namesListed(names, appearance);
                           });
                       });
    ++questionsToDaemon_;
}

void ProgramWatch::namesListed(const std::vector<std::string>& names, Appearance appearance) {
    std::size_t asked = 0;
    for (const auto& name : names) {
        if (identifierOf(name) == nullptr || programs_.contains(name)) continue;
        // Names cost their owner nothing, questions cost a round trip each.
        if (++asked > kMostNames) return;
        askForOwner(name, appearance);
    }
}

void ProgramWatch::askForOwner(const std::string& name, Appearance appearance) {
    daemon_.ask<std::string>(makeCall<std::string>(kBusDaemon, "GetNameOwner", name), Peer::kDefaultTimeout,
                             [this, name, appearance](const Failure* failure, const std::string& owner) {
                                 post([this, name, appearance, owner, isForged = isForged(failure)] {
                                     --questionsToDaemon_;
                                     if (isForged) return askForOwner(name, appearance);
                                     if (!owner.empty()) add(name, owner, appearance);
                                 });
                             });
    ++questionsToDaemon_;
}

void ProgramWatch::ownerChanged(const std::string& name, const std::string& owner) {
    if (programs_.erase(name) > 0) isPlaceFree_ = true;
    if (!owner.empty()) add(name, owner, Appearance::seen);
}

/// The bundle identifier in front of the name, when it is one of those watched.
const std::string* ProgramWatch::identifierOf(const std::string& name) const {
    const auto found = std::find_if(bundleIdentifiers_.begin(), bundleIdentifiers_.end(), [&](const auto& identifier) {
        return name.starts_with(identifier + kInstanceInfix);
    });
    return found == bundleIdentifiers_.end() ? nullptr : &*found;
}

/// One owner of many names must not keep others out.
bool ProgramWatch::hasPlaceFor(const std::string& owner) const {
    const auto ofOwner =
        std::count_if(programs_.begin(), programs_.end(), [&](const auto& each) { return each.second.owner == owner; });
    return programs_.size() < kMostPrograms && ofOwner < kMostOfOneOwner;
}

bool ProgramWatch::isOwner(const std::string& uniqueName) const {
    return std::any_of(programs_.begin(), programs_.end(),
                       [&](const auto& each) { return each.second.owner == uniqueName; });
}

/// Asks a program that has appeared what it is.
void ProgramWatch::add(const std::string& name, const std::string& owner, Appearance appearance) {
    if (identifierOf(name) == nullptr || programs_.contains(name)) return;
    if (!hasPlaceFor(owner)) {
        wasTurnedAway_ = true;
        return;
    }
    const std::uint64_t query = ++lastQuery_;
    Program& program = programs_[name];
    program.query = query;
    program.owner = owner;
    program.order = appearance == Appearance::before ? connectionNumber(owner) : kSeenOrder + query;
    ask(name, program);
    bus_->after(patience_, [this, name, query] {
        noLongerAwaited(name, query);
        settle();
    });
}

/// The answer may take as long as it likes.
void ProgramWatch::ask(const std::string& name, Program& program) {
    program.peer = std::make_unique<Peer>(bus_->connection(), program.owner, kProgramPath);
    program.peer->ask<ProgramFacts>(
        program::facts(), Peer::kForever,
        [this, name, query = program.query](const Failure* failure, const ProgramFacts& facts) {
            post([this, name, query, facts, isForged = isForged(failure)] {
                if (Program* const asked = programOf(name, query)) {
                    isForged ? ask(name, *asked) : answered(name, *asked, facts);
                }
            });
        });
}

/// Lists the program if its answer makes sense.
void ProgramWatch::answered(const std::string& name, Program& program, const ProgramFacts& facts) {
    program.isAwaited = false;
    const auto& [process, identifier, url] = facts;
    if (!process || !url || identifier != *identifierOf(name)) return;
    auto bundle = pathFromURL(*url);
    if (!bundle && !url->empty()) return;
    program.program = std::make_shared<RunningProgram>(
        RunningProgram::Facts{*identifier, std::move(bundle), *process, ++lastChange_, program.owner}, mainQueue_);
}

void ProgramWatch::noLongerAwaited(const std::string& name, std::uint64_t query) {
    if (Program* const program = programOf(name, query)) program->isAwaited = false;
}

/// What the query was for, unless the name has changed hands since.
ProgramWatch::Program* ProgramWatch::programOf(const std::string& name, std::uint64_t query) {
    const auto found = programs_.find(name);
    return found == programs_.end() || found->second.query != query ? nullptr : &found->second;
}

void ProgramWatch::processChanged(const std::string& owner, pid_t process) {
    for (const auto& [name, each] : programs_) {
        if (each.program && each.owner == owner) each.program->setProcessIdentifier(process, ++lastChange_);
    }
}

void ProgramWatch::post(std::function<void()> task) {
    bus_->post([this, task = std::move(task)] {
        guarded(task);
        settle();
    });
}

/// Makes public what there is now, and looks for those who were turned away once there may be a place for them.
void ProgramWatch::settle() {
    if (questionsToDaemon_ == 0 && wasTurnedAway_ && isPlaceFree_) listNames(Appearance::seen);
    std::vector<const Program*> ordered;
    bool isComplete = questionsToDaemon_ == 0;
    for (const auto& [name, program] : programs_) {
        if (program.program) ordered.push_back(&program);
        if (program.isAwaited) isComplete = false;
    }
    std::sort(ordered.begin(), ordered.end(), [](const Program* left, const Program* right) {
        return std::pair(left->order, left->query) < std::pair(right->order, right->query);
    });
    ProgramList::Programs programs;
    programs.reserve(ordered.size());
    for (const Program* each : ordered) programs.push_back(each->program);
    list_->publish(std::move(programs), isComplete);
    changed_();
}

}  // namespace bus
