#pragma once

#include "bus/OpenDocuments.h"
#include "bus/ProgramServer.h"
#include "presenters/impress/CommandLanes.h"
#include "presenters/impress/Office.h"
#include "presenters/impress/OfficeConnection.h"
#include "presenters/impress/SavedCopies.h"
#include "presenters/impress/SlideExport.h"
#include "presenters/impress/SpareOffice.h"
#include "presenters/impress/show/ShowWatch.h"
#include "runtime/WorkQueue.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace impress {

/// The office on the bus: answers the scripting channel of `bus/com.veldrin.PresentationProgram.xml`.
///
/// The bus thread hands each question to a work queue, waits a bounded time, and refuses the call when no answer
/// came. What can take longer works in lanes: opening and saving in order, everything else in a lane of its document,
/// so that a large document holds up no other. An office that is stopped or stuck thus holds up neither the
/// bus nor this process, and nothing is reported that the office did not say. While the office loads or stores for us
/// it answers nobody and moves nothing: what it said last holds until it is done.
///
/// A command for a document that is known is accepted also while the office stands still, and waits for it in its lane;
/// what then cannot be done is told on standard error. Images of a deck that is closed, or whose office goes, are made
/// from the copy that was saved of it, if need be in an office of our own.
class ImpressProgram final : private bus::Program {
public:
    /// Exports the object. All arguments must outlive this object.
    ImpressProgram(bus::Connection& connection, const OfficeConnection& office, SpareOffice& spareOffice);
    /// Waits for what is under way with the office; what waits behind it is dropped.
    ~ImpressProgram() override;

    /// Whether nobody has called for this long, nothing is being done, no caller has a document open and the office
    /// shows no window. Waits a moment for the office; false when it does not answer. Any thread.
    [[nodiscard]] bool isIdle(std::chrono::steady_clock::duration duration);

    /// Whether something is left that goes on without the office, or fails for want of it: accepted commands, and for
    /// some seconds images that are still to be ordered. To be called when the office has gone, on one thread; from
    /// then on the program tells that nothing plays.
    [[nodiscard]] bool hasWorkWithoutOffice();

private:
    std::uint32_t processIdentifier() override;
    std::filesystem::path bundle() override;
    std::string version() override;
    void presentingState(const bus::Answer<PresentingState>& answer) override;
    void windows(const bus::Answer<std::vector<ScriptingWindow>>& answer) override;
    void activate(const bus::Answer<>& answer) override;
    void open(const std::string& caller, const std::filesystem::path& file,
              const bus::Answer<std::string>& answer) override;
    void close(const std::string& documentID, const std::string& saveOption, const bus::Answer<>& answer) override;
    void slideNumbers(const std::string& documentID, const bus::Answer<std::vector<std::int64_t>>& answer) override;
    void documentText(const std::string& documentID, const bus::Answer<ScriptingDocumentText>& answer) override;
    void save(const std::string& documentID, const std::filesystem::path& target, const bus::Answer<>& answer) override;
    void stop(const std::string& documentID, const bus::Answer<>& answer) override;
    void exportTo(const std::string& documentID, const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties, const bus::Answer<>& answer) override;
    void callerLeft(const std::string& caller) override;

    void called() { lastCall_ = std::chrono::steady_clock::now(); }
    template <typename Question>
    auto tryAsk(Question question, std::chrono::milliseconds patience);
    template <typename Question>
    auto ask(Question question);
    [[nodiscard]] bool refreshState();
    [[nodiscard]] Model documentWithID(const std::string& id);
    [[nodiscard]] std::optional<bool> isOfficeSeen();
    void exportImages(const std::string& documentID, const Model& document, SlideExport& order);
    void exportHere(const std::filesystem::path& copy, SlideExport& order);
    void exportElsewhere(const std::filesystem::path& copy, SlideExport& order);
    [[nodiscard]] std::string openFor(const std::string& caller, const std::filesystem::path& path);

    static constexpr std::size_t kMostQuestions = 16;  ///< waiting; nobody asks for long

    const OfficeConnection& connection_;
    SpareOffice& spareOffice_;
    const std::shared_ptr<SavedCopies> copies_ = std::make_shared<SavedCopies>();
    std::atomic<bool> isLost_ = false;  ///< the office has gone
    std::chrono::steady_clock::time_point lostAt_;
    const impress::ShowWatch shows_{connection_};
    std::optional<Office> office_;  ///< made and used by questions
    std::mutex documentsMutex_;
    std::map<std::string, Model> documents_;            ///< as last seen; guarded by `documentsMutex_`
    std::optional<PresentingState> lastState_;          ///< used on the bus thread, as is the next one
    std::chrono::steady_clock::time_point lastAnswer_;  ///< when the office said so
    std::atomic<int> occupied_ = 0;                     ///< orders under way for which the office stands still
    std::atomic<int> busy_ = 0;                         ///< orders under way that let it go on now and then
    std::atomic<std::chrono::steady_clock::time_point> lastCall_ = std::chrono::steady_clock::now();
    bus::OpenDocuments openers_;
    const runtime::Workers workers_;
    CommandLanes lanes_{workers_};
    const std::unique_ptr<runtime::WorkQueue> questions_ = workers_.makeQueue(kMostQuestions);
    std::unique_ptr<bus::ProgramServer> server_;  ///< last, so that no call comes before or after the rest
};

}  // namespace impress
