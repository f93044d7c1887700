#pragma once

#include "bus/PresentationProgramProxy.h"
#include "bus/Sdbus.h"
#include "ports/Scripting.h"
#include "presenters/impress/OfficeConnection.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryDirectory.h"

#include <com/sun/star/frame/XModel.hpp>
#include <com/sun/star/presentation/XPresentation2.hpp>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The scripting channel of the program under test.
class ProgramProxy final : public sdbus::ProxyInterfaces<com::veldrin::PresentationProgram_proxy> {
public:
    ProgramProxy(sdbus::IConnection& connection, const std::string& name);
    ~ProgramProxy();
};

/// What a poll said.
struct PolledState {
    bool playing = false;
    std::string documentID;
    std::string documentFile;
    std::int64_t slideNumber = 0;
    ScriptingTimes times;
};

/// A screen, a bus, an office with an empty profile, and the bridge, all of their own. The environment names screen and
/// bus from then on.
class ImpressSession {
public:
    ImpressSession();
    ~ImpressSession();

    /// A folder that goes with the session.
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_.path; }
    /// Names on the bus.
    [[nodiscard]] std::vector<std::string> names();
    /// Those under which a program answers.
    [[nodiscard]] std::vector<std::string> programNames();
    /// Waits for the program's name, which says the office's process.
    [[nodiscard]] bool waitForProgram();
    [[nodiscard]] std::unique_ptr<ProgramProxy> program() { return programNamed(programNames().at(0)); }
    [[nodiscard]] std::unique_ptr<ProgramProxy> programNamed(const std::string& name);
    /// Starts another office; the one before must have ended. By itself it shows nothing.
    void startOffice(const std::vector<std::string>& arguments = {"--nodefault"});
    /// Asks the office to leave, as a user does, and waits for its end.
    void quitOffice();
    /// Starts another bridge in place of the one that runs.
    void startBridge(const std::vector<std::string>& arguments = {});
    [[nodiscard]] ChildProcess& bridge() const { return *bridge_; }
    /// A connection of the test itself to the office, to do what a user does.
    [[nodiscard]] const impress::OfficeConnection& office();
    [[nodiscard]] css::uno::Reference<css::frame::XModel> open(const std::filesystem::path& deck);
    /// The document's show.
    [[nodiscard]] static css::uno::Reference<css::presentation::XPresentation2> showOf(
        const css::uno::Reference<css::frame::XModel>& document);

private:
    TemporaryDirectory folder_;
    std::string pipe_;
    ChildProcess screen_;
    PrivateBus bus_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<ChildProcess> officeProcess_;
    std::unique_ptr<ChildProcess> bridge_;
    std::optional<impress::OfficeConnection> office_;
};

/// One poll, repeated while the office is too busy to answer.
[[nodiscard]] PolledState poll(ProgramProxy& program);
