#include "presenters/impress/ImpressProgram.h"

#include "presenters/impress/DocumentText.h"
#include "presenters/impress/Documents.h"
#include "runtime/Installation.h"

#include <cmath>
#include <iostream>
#include <utility>

namespace impress {

using namespace std::chrono_literals;

namespace {

/// Shorter than a caller's own half second, so that it hears why.
constexpr auto kPatience = 400ms;
constexpr auto kPatienceWhileOccupied = 100ms;
/// An office that has said nothing for longer is stuck, whatever it was ordered to do.
constexpr auto kLongestOccupation = 60s;
/// Longer than a caller needs to see that a show has ended, however seldom it looks.
constexpr auto kLongestWaitForOrder = 10s;
/// The name under which we open documents ourselves; no caller's.
constexpr const char* kOurselves = "";

using bus::refusal;

bus::Failure noAnswer() {
    return refusal("LibreOffice does not answer. Try again.");
}

bus::Failure notOpen(const std::string& documentID) {
    return refusal("No presentation with the ID " + documentID + " is open.");
}

template <typename Value>
Value option(const ExportProperties& properties, const char* key, Value standard) {
    const auto found = properties.find(key);
    if (found == properties.end()) return standard;
    const auto* value = std::get_if<Value>(&found->second);
    if (value == nullptr) throw refusal(std::string("Wrong type of property ") + key + ".");
    return *value;
}

int qualityFrom(const ExportProperties& properties) {
    if (option<std::string>(properties, "imageFormat", kImageFormatJPEG) != kImageFormatJPEG) {
        throw refusal("Only JPEG images can be exported: pass imageFormat Kifj.");
    }
    const double factor = option(properties, "compressionFactor", 0.8);
    if (!(factor >= 0 && factor <= 1)) throw refusal("compressionFactor must lie between 0 and 1.");
    return static_cast<int>(std::lround(factor * 100));
}

constexpr auto kState = [](Office& office) { return office.state(); };

Saving savingFrom(const std::string& code) {
    if (code == kSaveOptionNo) return Saving::no;
    if (code == kSaveOptionAsk) return Saving::ask;
    if (code == kSaveOptionYes) return Saving::yes;
    throw refusal("Unknown way to close: pass \"no  \", \"ask \" or \"yes \".");
}

/// Runs work for which nobody waits; its failure goes to standard error.
void runLogged(const std::string& what, const std::function<void()>& work) {
    try {
        work();
    } catch (const css::uno::Exception& exception) {
        std::cerr << what + " failed: " + textFrom(exception) + "\n";
    } catch (const std::exception& exception) {
        std::cerr << what + " failed: " + exception.what() + "\n";
    }
}

/// What `work` returns. Its failure becomes a refusal.
template <typename Work>
auto answered(Work work) {
    try {
        return work();
    } catch (const bus::Failure&) {
        throw;
    } catch (const css::uno::Exception& exception) {
        throw refusal("LibreOffice failed: " + textFrom(exception));
    } catch (const std::exception& exception) {
        throw refusal(exception.what());
    }
}

/// A command that answers what `work` returns.
template <typename... Values, typename Work>
CommandLanes::Command answering(const bus::Answer<Values...>& answer, Work work) {
    return [answer, work = std::move(work)] {
        try {
            if constexpr (sizeof...(Values) == 0) {
                answered(work);
                answer.give();
            } else {
                answer.give(answered(work));
            }
        } catch (const bus::Failure& failure) {
            answer.refuse(failure);
        }
    };
}

/// Counts one more as long as the result is kept.
std::shared_ptr<void> counted(std::atomic<int>& counter) {
    ++counter;
    return {nullptr, [&counter](void*) { --counter; }};
}

void requireAccepted(bool accepted) {
    if (!accepted) throw refusal("Too many commands are waiting. Try again later.");
}

}  // namespace

ImpressProgram::ImpressProgram(bus::Connection& connection, const OfficeConnection& office, SpareOffice& spareOffice)
    : connection_(office),
      spareOffice_(spareOffice),
      workers_([](const std::string& what) { std::cerr << "A command failed: " + what + "\n"; }),
      server_(bus::ProgramServer::publish(connection, *this)) {}

ImpressProgram::~ImpressProgram() {
    // No call may come while what it would use is going.
    server_.reset();
    workers_.stop();
    workers_.join();
}

/// The office's answer, or nothing when it did not come in time; throws the refusal that the caller of the bus gets.
template <typename Question>
auto ImpressProgram::tryAsk(Question question, std::chrono::milliseconds patience) {
    if (isLost_) throw refusal("LibreOffice has ended.");
    return answered([&] {
        return questions_->ask(
            [this, question] {
                // Made here because its first calls wait for the office, as all of its calls do.
                if (!office_)
                    office_.emplace(
                        connection_.context(), [copies = copies_](const auto& id) { copies->closed(id); },
                        [this](const auto& id, const auto& show) { shows_.found(id, show); });
                auto result = question(*office_);
                auto documents = office_->documents();
                {
                    const std::lock_guard lock(documentsMutex_);
                    documents_.swap(documents);
                }
                return result;
            },
            patience);
    });
}

template <typename Question>
auto ImpressProgram::ask(Question question) {
    called();
    const auto answer = tryAsk(question, kPatience);
    if (!answer) throw noAnswer();
    return *answer;
}

/// Asks the office for its state; false when it did not answer in time. For the bus thread.
bool ImpressProgram::refreshState() {
    called();
    // The moment of the question: the answer may be as old as that.
    const auto now = std::chrono::steady_clock::now();
    auto state = tryAsk(kState, occupied_ > 0 ? kPatienceWhileOccupied : kPatience);
    if (!state) return false;
    copies_->presents(state->playing == true && state->firstDocument ? state->firstDocument->id : "");
    lastState_ = std::move(state);
    lastAnswer_ = now;
    return true;
}

void ImpressProgram::presentingState(const bus::Answer<PresentingState>& answer) {
    if (isLost_) {
        PresentingState nothing;
        nothing.playing = false;
        return answer.give(nothing);
    }
    const bool working = occupied_ > 0 || busy_ > 0;
    if (!refreshState() &&
        (!working || !lastState_ || std::chrono::steady_clock::now() - lastAnswer_ > kLongestOccupation)) {
        throw noAnswer();
    }
    answer.give(shows_.told(*lastState_));
}

void ImpressProgram::windows(const bus::Answer<std::vector<ScriptingWindow>>& answer) {
    answer.give(ask([](Office& office) { return office.windows(); }));
}

bool ImpressProgram::isIdle(std::chrono::steady_clock::duration duration) {
    if (std::chrono::steady_clock::now() - lastCall_.load() < duration) return false;
    return lanes_.isEmpty() && openers_.isEmpty() && isOfficeSeen() == false;
}

bool ImpressProgram::hasWorkWithoutOffice() {
    // Called again and again; the first call is the loss.
    if (!isLost_.exchange(true)) lostAt_ = std::chrono::steady_clock::now();
    if (!lanes_.isEmpty()) return true;
    return copies_->expectsOrder() && std::chrono::steady_clock::now() - lostAt_ < kLongestWaitForOrder;
}

/// Whether the office shows a window; nothing when it does not answer.
std::optional<bool> ImpressProgram::isOfficeSeen() {
    try {
        return tryAsk([](Office& office) { return office.isSeen(); }, kPatience);
    } catch (const bus::Failure&) {
        return std::nullopt;
    }
}

void ImpressProgram::activate(const bus::Answer<>& answer) {
    static_cast<void>(ask([](Office& office) {
        office.activate();
        return true;
    }));
    answer.give();
}

void ImpressProgram::open(const std::string& caller, const std::filesystem::path& file,
                          const bus::Answer<std::string>& answer) {
    // An office that has gone refuses here; one that only stands still gets to the file later.
    static_cast<void>(refreshState());
    openers_.began(caller);
    requireAccepted(lanes_.pushInOrder(answering(answer, [this, caller, file] { return openFor(caller, file); })));
}

void ImpressProgram::close(const std::string& documentID, const std::string& saveOption, const bus::Answer<>& answer) {
    const DocumentClosing closing{documentWithID(documentID), savingFrom(saveOption)};
    requireAccepted(lanes_.pushInLane(documentID, answering(answer, [this, documentID, closing] {
                                          if (openers_.closed(documentID)) closing.run();
                                      })));
}

void ImpressProgram::slideNumbers(const std::string& documentID, const bus::Answer<std::vector<std::int64_t>>& answer) {
    // In a lane of its own: the number of pages is known however long their export takes.
    requireAccepted(lanes_.pushInLane(
        "numbers " + documentID,
        answering(answer, [document = documentWithID(documentID)] { return slideNumbersOf(document); })));
}

void ImpressProgram::documentText(const std::string& documentID, const bus::Answer<ScriptingDocumentText>& answer) {
    requireAccepted(lanes_.pushInLane(documentID, answering(answer, [this, document = documentWithID(documentID)] {
                                          const auto busy = counted(busy_);
                                          return textOfDocument(document);
                                      })));
}

void ImpressProgram::save(const std::string& documentID, const std::filesystem::path& target,
                          const bus::Answer<>& answer) {
    DocumentCopy copy{documentWithID(documentID), target};
    requireAccepted(lanes_.pushInOrder([this, documentID, copy = std::move(copy)] {
        const auto occupation = counted(occupied_);
        runLogged("Saving the copy " + copy.target.string(), [&] {
            copy.run();
            copies_->saved(documentID, copy.target);
        });
    }));
    answer.give();
}

void ImpressProgram::stop(const std::string& documentID, const bus::Answer<>& answer) {
    const bool found = ask([documentID](Office& office) { return office.endShow(documentID); });
    if (!found) throw notOpen(documentID);
    answer.give();
}

void ImpressProgram::exportTo(const std::string& documentID, const std::filesystem::path& target,
                              const std::string& formatCode, const ExportProperties& properties,
                              const bus::Answer<>& answer) {
    if (formatCode != kExportFormatImages) throw refusal("Only images can be exported: pass the format Kimg.");
    SlideExport order{target, qualityFrom(properties)};
    // A deck that is closed already is exported from its copy.
    Model document;
    try {
        document = documentWithID(documentID);
    } catch (const bus::Failure&) {
        if (!copies_->copyOf(documentID)) throw;
    }
    requireAccepted(lanes_.pushInLane(documentID, [this, documentID, document, order]() mutable {
        const auto busy = counted(busy_);
        runLogged("Exporting images to " + order.directory.string(),
                  [&] { exportImages(documentID, document, order); });
    }));
    // Only when accepted: after a refusal an order is still to be expected.
    copies_->exportOrdered(documentID);
    answer.give();
}

std::uint32_t ImpressProgram::processIdentifier() {
    return static_cast<std::uint32_t>(connection_.processIdentifier());
}

std::filesystem::path ImpressProgram::bundle() {
    return runtime::installed("KeynoteImpress.app");
}

std::string ImpressProgram::version() {
    return BUNDLE_VERSION;
}

/// The document, as the office had it last when it stands still.
Model ImpressProgram::documentWithID(const std::string& id) {
    auto refused = notOpen(id);
    try {
        if (!refreshState()) refused = noAnswer();
    } catch (const bus::Failure& failure) {
        refused = failure;
    }
    const std::lock_guard lock(documentsMutex_);
    const auto found = documents_.find(id);
    if (found == documents_.end()) throw refused;
    return found->second;
}

/// Exports from the document, and when it is closed or goes meanwhile, from its copy.
void ImpressProgram::exportImages(const std::string& documentID, const Model& document, SlideExport& order) {
    try {
        if (document.is()) return order.run(connection_.context(), document);
    } catch (const css::uno::Exception&) {
        if (!copies_->copyOf(documentID)) throw;
    }
    const auto copy = copies_->copyOf(documentID);
    if (!copy) throw Refusal("the document is closed, and its copy is gone");
    std::cerr << "The document is closed; its images come from " + copy->string() + ".\n";
    // An office without a window may be about to quit, or wait for that alone.
    if (isOfficeSeen() != true) return exportElsewhere(*copy, order);
    try {
        exportHere(*copy, order);
    } catch (const css::uno::Exception&) {
        exportElsewhere(*copy, order);
    }
}

void ImpressProgram::exportHere(const std::filesystem::path& copy, SlideExport& order) {
    Model document;
    {
        const auto occupation = counted(occupied_);
        document = DocumentOpening{copy}.run(connection_.context());
    }
    // Somebody else may open the copy meanwhile: who closes it last closes it.
    const auto id = identifierOf(document);
    openers_.began(kOurselves);
    static_cast<void>(openers_.opened(kOurselves, id));
    try {
        order.run(connection_.context(), document);
    } catch (const css::uno::Exception&) {
        static_cast<void>(openers_.closed(id));
        throw;
    }
    // A document that its user has brought into a window meanwhile is the user's to close.
    if (openers_.closed(id) && isHidden(document)) DocumentClosing{document, Saving::ask}.run();
}

void ImpressProgram::exportElsewhere(const std::filesystem::path& copy, SlideExport& order) {
    spareOffice_.run([&](const auto& office) {
        const auto document = DocumentOpening{copy}.run(office);
        order.run(office, document);
        DocumentClosing{document, Saving::ask}.run();
    });
}

std::string ImpressProgram::openFor(const std::string& caller, const std::filesystem::path& path) {
    // The office stands still while it loads; not for nobody.
    if (!openers_.isThere(caller)) throw refusal("The caller has left.");
    const auto occupation = counted(occupied_);
    const auto document = DocumentOpening{path}.run(connection_.context());
    auto id = identifierOf(document);
    {
        const std::lock_guard lock(documentsMutex_);
        // The caller may use the ID before the next look at the office finds the document.
        documents_.emplace(id, document);
    }
    if (!openers_.opened(caller, id) && isHidden(document)) DocumentClosing{document, Saving::ask}.run();
    return id;
}

/// Runs on the bus thread; what it leaves to do is done in the documents' lanes.
void ImpressProgram::callerLeft(const std::string& caller) {
    for (const auto& id : openers_.left(caller)) {
        const std::lock_guard lock(documentsMutex_);
        const auto found = documents_.find(id);
        if (found == documents_.end()) continue;
        const bool accepted = lanes_.pushInLane(id, [document = found->second] {
            runLogged("Closing a document", [&] {
                if (isHidden(document)) DocumentClosing{document, Saving::ask}.run();
            });
        });
        if (!accepted) std::cerr << "A document stays open: too many commands are waiting.\n";
    }
}

}  // namespace impress
