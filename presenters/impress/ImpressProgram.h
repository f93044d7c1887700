#pragma once

#include "bus/PresentationProgramAdaptor.h"
#include "presenters/impress/CommandQueue.h"
#include "presenters/impress/Office.h"
#include "presenters/impress/OfficeConnection.h"
#include "presenters/impress/OfficeThread.h"

#include <atomic>
#include <chrono>
#include <optional>

/// The office on the bus: answers the scripting channel of `bus/com.veldrin.PresentationProgram.xml`.
///
/// The bus thread hands each question to the office thread, waits a bounded time, and refuses the call when no answer
/// came. Saving and exporting work on the command thread. An office that is stopped or stuck thus holds up neither the
/// bus nor this process, and nothing is reported that the office did not say. While the office saves for us it answers
/// nobody and moves nothing: what it said last holds until it is done.
class ImpressProgram final : public sdbus::AdaptorInterfaces<com::veldrin::PresentationProgram_adaptor> {
public:
    /// Exports the object. Both arguments must outlive this object.
    ImpressProgram(sdbus::IConnection& bus, const OfficeConnection& office);
    ~ImpressProgram();

private:
    using TableStruct = sdbus::Struct<std::string, std::vector<std::vector<std::string>>>;
    using SlideStruct = sdbus::Struct<int64_t, bool, std::string, std::string, std::string, std::vector<std::string>,
                                      std::vector<TableStruct>>;

    std::map<std::string, sdbus::Variant> presentingState() override;
    std::vector<sdbus::Struct<std::string, sdbus::Struct<double, double, double, double>, int64_t, int64_t>> windows()
        override;
    void activate() override;
    void open(sdbus::Result<std::string>&& result, std::string pathURL) override;
    void close(sdbus::Result<>&& result, std::string documentID, std::string saving) override;
    void slideNumbers(sdbus::Result<std::vector<int64_t>>&& result, std::string documentID) override;
    void documentText(sdbus::Result<std::string, std::vector<SlideStruct>>&& result, std::string documentID) override;
    void save(const std::string& documentID, const std::string& targetURL) override;
    void stop(const std::string& documentID) override;
    void export_(const std::string& documentID, const std::string& targetURL, const std::string& format,
                 const std::map<std::string, sdbus::Variant>& properties) override;
    uint32_t ProcessIdentifier() override;
    std::string BundleIdentifier() override;
    std::string BundleURL() override;
    std::string Version() override;

    template <typename Question>
    auto tryAsk(Question question, std::chrono::milliseconds patience);
    template <typename Question>
    auto ask(Question question);
    css::uno::Reference<css::frame::XModel> documentWithID(const std::string& id);
    void accept(std::function<void()> command);

    const OfficeConnection& connection_;
    std::optional<Office> office_;  ///< made and used on the office thread
    OfficeState lastState_;         ///< used on the bus thread
    std::atomic<bool> saving_ = false;
    CommandQueue commands_;
    OfficeThread officeThread_;
};

/// The bundle identifier under which this program answers.
inline constexpr const char* kBundleIdentifier = "com.apple.iWork.Keynote";
