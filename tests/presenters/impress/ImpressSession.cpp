#include "tests/presenters/impress/ImpressSession.h"

#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/ProgramValues.h"
#include "tests/support/Deadline.h"

#include <fmt/format.h>
#include <unistd.h>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/presentation/XPresentationSupplier.hpp>
#include <cstdlib>
#include <stdexcept>

using namespace std::chrono_literals;
using css::uno::Reference;
using css::uno::UNO_QUERY_THROW;

namespace {

/// Neither tips nor welcome dialogs, and no recovery of the documents of an office that a test killed.
constexpr const char* kSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry" xmlns:xs="http://www.w3.org/2001/XMLSchema">
<item oor:path="/org.openoffice.Office.Common/Misc"><prop oor:name="FirstRun"><value>false</value></prop></item>
<item oor:path="/org.openoffice.Office.Common/Misc"><prop oor:name="ShowTipOfTheDay"><value>false</value></prop></item>
<item oor:path="/org.openoffice.Office.Recovery/RecoveryInfo"><prop oor:name="Enabled"><value>false</value></prop></item>
</oor:items>
)";

ScriptingTimes timesFrom(const std::map<std::string, sdbus::Variant>& state) {
    ScriptingTimes times;
    if (state.contains("showStarted")) {
        const auto started = state.at("showStarted").get<sdbus::Struct<std::int64_t, std::int64_t>>();
        times.showStarted = bus::boundsFrom(started.get<0>(), started.get<1>());
    }
    if (state.contains("showEnded")) {
        const auto ended = state.at("showEnded").get<sdbus::Struct<std::string, std::int64_t, std::int64_t>>();
        times.showEnded = bus::boundsFrom(ended.get<1>(), ended.get<2>());
        times.endedDocumentID = ended.get<0>();
    }
    if (!state.contains("visits")) return times;
    using Visit = sdbus::Struct<std::int64_t, std::int64_t, std::int64_t, std::int64_t>;
    for (const auto& visit : state.at("visits").get<std::vector<Visit>>()) {
        times.visits.push_back(
            {visit.get<0>(), visit.get<1>(), bus::boundsFrom(visit.get<2>(), visit.get<3>()).value()});
    }
    return times;
}

}  // namespace

ProgramProxy::ProgramProxy(sdbus::IConnection& connection, const std::string& name)
    : ProxyInterfaces(connection, bus::ServiceName(name), sdbus::ObjectPath(bus::kProgramPath)) {
    registerProxy();
}

ProgramProxy::~ProgramProxy() {
    unregisterProxy();
}

ImpressSession::ImpressSession()
    : pipe_("impress-test-" + std::to_string(getpid())),
      screen_({XVFB, "-displayfd", "1", "-screen", "0", "1280x720x24", "-nolisten", "tcp"}) {
    setenv("DISPLAY", (":" + screen_.readLine().value()).c_str(), 1);
    setenv("SAL_USE_VCLPLUGIN", "gen", 1);
    for (const char* name : {"CACHE", "DATA", "CONFIG"}) {
        setenv(fmt::format("XDG_{}_HOME", name).c_str(), (folder() / name).c_str(), 1);
    }
    windowManager_ = std::make_unique<ChildProcess>(std::vector<std::string>{WINDOW_MANAGER});
    connection_ = sdbus::createSessionBusConnection();
    connection_->enterEventLoopAsync();
    writeFile(folder() / "profile/user/registrymodifications.xcu", kSettings);
    startOffice();
    startBridge();
}

ImpressSession::~ImpressSession() {
    bridge_.reset();
    quitOffice();
    connection_->leaveEventLoop();
}

/// Asks it to leave, so that it takes its pipes with it.
void ImpressSession::quitOffice() {
    try {
        css::frame::Desktop::create(office().context())->terminate();
        (void)officeProcess_->exitStatus();
    } catch (const css::uno::Exception&) {
        // already gone
    } catch (const std::exception&) {
        // never came
    }
    office_.reset();
}

void ImpressSession::startOffice(const std::vector<std::string>& arguments) {
    office_.reset();
    officeProcess_.reset();
    std::vector<std::string> command{"sh",
                                     "-c",
                                     "exec \"$0\" \"$@\" >/dev/null 2>&1",
                                     SOFFICE,
                                     "--accept=pipe,name=" + pipe_ + ";urp;",
                                     "-env:UserInstallation=" + urlFromPath(folder() / "profile"),
                                     "--norestore",
                                     "--nologo",
                                     "--nofirststartwizard"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    officeProcess_ = std::make_unique<ChildProcess>(command);
}

void ImpressSession::startBridge(const std::vector<std::string>& arguments) {
    bridge_.reset();
    std::vector<std::string> command{BRIDGE, "--pipe", pipe_};
    command.insert(command.end(), arguments.begin(), arguments.end());
    bridge_ = std::make_unique<ChildProcess>(command);
}

std::vector<std::string> ImpressSession::names() {
    const auto daemon = bus::createProxy(*connection_, bus::kBusDaemon, bus::kBusDaemonPath);
    std::vector<std::string> names;
    daemon->callMethod("ListNames").onInterface(bus::kBusDaemon).storeResultsTo(names);
    return names;
}

std::vector<std::string> ImpressSession::programNames() {
    auto names = this->names();
    std::erase_if(names, [](const std::string& name) { return !name.starts_with("com.apple.iWork.Keynote.instance"); });
    return names;
}

bool ImpressSession::waitForProgram() {
    return eventually([this] { return programNames().size() == 1; }, 60s);
}

std::unique_ptr<ProgramProxy> ImpressSession::programNamed(const std::string& name) {
    return std::make_unique<ProgramProxy>(*connection_, name);
}

const impress::OfficeConnection& ImpressSession::office() {
    if (!office_) office_ = impress::OfficeConnection::attach(pipe_);
    return office_.value();
}

Reference<css::frame::XModel> ImpressSession::open(const std::filesystem::path& deck) {
    const auto desktop = css::frame::Desktop::create(office().context());
    return {desktop->loadComponentFromURL(impress::unoText(urlFromPath(deck)), "_default", 0, {}), UNO_QUERY_THROW};
}

Reference<css::presentation::XPresentation2> ImpressSession::showOf(const Reference<css::frame::XModel>& document) {
    const Reference<css::presentation::XPresentationSupplier> supplier(document, UNO_QUERY_THROW);
    return {supplier->getPresentation(), UNO_QUERY_THROW};
}

PolledState poll(ProgramProxy& program) {
    std::map<std::string, sdbus::Variant> state;
    const bool answered = eventually([&] {
        try {
            state = program.presentingState();
            return true;
        } catch (const sdbus::Error& error) {
            if (error.getName() != bus::kProgramFailed) throw;
            return false;
        }
    });
    if (!answered) throw std::runtime_error("the office does not answer");
    PolledState result;
    result.playing = state.at("playing").get<bool>();
    if (state.contains("documentID")) result.documentID = state.at("documentID").get<std::string>();
    if (state.contains("documentFile")) result.documentFile = state.at("documentFile").get<std::string>();
    if (state.contains("slideNumber")) result.slideNumber = state.at("slideNumber").get<std::int64_t>();
    result.times = timesFrom(state);
    return result;
}
