#include "tests/impress/ImpressSession.h"

#include "bus/Convert.h"
#include "bus/Names.h"

#include <unistd.h>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/presentation/XPresentationSupplier.hpp>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

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

std::filesystem::path makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "impress-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
    return pattern;
}

}  // namespace

ProgramProxy::ProgramProxy(sdbus::IConnection& connection, const std::string& name)
    : ProxyInterfaces(connection, name, bus::kProgramPath) {
    registerProxy();
}

ProgramProxy::~ProgramProxy() {
    unregisterProxy();
}

ImpressSession::ImpressSession() : folder_(makeFolder()), pipe_("impress-test-" + std::to_string(getpid())) {
    const std::vector<std::string> screen{XVFB, "-displayfd", "1", "-screen", "0", "1280x720x24", "-nolisten", "tcp"};
    screen_ = std::make_unique<ChildProcess>(screen, std::vector<std::string>{}, folder_ / "screen");
    display_ = ":" + screen_->firstLine();
    const std::vector<std::string> daemon{"/usr/bin/dbus-daemon", "--session", "--nofork", "--print-address=1"};
    busDaemon_ = std::make_unique<ChildProcess>(daemon, std::vector<std::string>{}, folder_ / "bus");
    busAddress_ = busDaemon_->firstLine();
    windowManager_ = std::make_unique<ChildProcess>(std::vector<std::string>{WINDOW_MANAGER}, environment(),
                                                    folder_ / "window-manager");
    connection_ = sdbus::createSessionBusConnectionWithAddress(busAddress_);
    connection_->enterEventLoopAsync();
    const auto user = folder_ / "profile/user";
    std::filesystem::create_directories(user);
    std::ofstream(user / "registrymodifications.xcu") << kSettings;
    startOffice();
    startBridge();
}

ImpressSession::~ImpressSession() {
    bridge_.reset();
    quitOffice();
    officeProcess_.reset();
    connection_->leaveEventLoop();
    connection_.reset();
    busDaemon_.reset();
    windowManager_.reset();
    screen_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

/// Asks it to leave, so that it takes its pipes with it.
void ImpressSession::quitOffice() {
    try {
        css::frame::Desktop::create(office().context())->terminate();
        (void)eventually([this] { return officeProcess_->hasEnded(); }, 10);
    } catch (const css::uno::Exception&) {
        // already gone
    } catch (const std::bad_optional_access&) {
        // never came
    }
    office_.reset();
}

std::vector<std::string> ImpressSession::environment(std::vector<std::string> others) const {
    for (const auto& own :
         {"DBUS_SESSION_BUS_ADDRESS=" + busAddress_, "DISPLAY=" + display_, std::string("SAL_USE_VCLPLUGIN=gen"),
          "XDG_CACHE_HOME=" + (folder_ / "cache").string(), "XDG_DATA_HOME=" + (folder_ / "data").string(),
          "XDG_CONFIG_HOME=" + (folder_ / "config").string()}) {
        others.push_back(own);
    }
    return others;
}

void ImpressSession::startOffice(const std::vector<std::string>& arguments) {
    office_.reset();
    officeProcess_.reset();
    std::vector<std::string> command{SOFFICE,
                                     "--accept=pipe,name=" + pipe_ + ";urp;",
                                     "-env:UserInstallation=" + bus::urlFromPath(folder_ / "profile"),
                                     "--norestore",
                                     "--nologo",
                                     "--nofirststartwizard"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    officeProcess_ = std::make_unique<ChildProcess>(command, environment(), folder_ / "office");
}

void ImpressSession::startBridge(const std::vector<std::string>& arguments) {
    bridge_.reset();
    std::vector<std::string> command{BRIDGE, "--pipe", pipe_};
    command.insert(command.end(), arguments.begin(), arguments.end());
    bridge_ = std::make_unique<ChildProcess>(command, environment(), folder_ / "bridge");
}

std::vector<std::string> ImpressSession::names() {
    const auto daemon = sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    std::vector<std::string> names;
    daemon->callMethod("ListNames").onInterface("org.freedesktop.DBus").storeResultsTo(names);
    return names;
}

std::vector<std::string> ImpressSession::programNames() {
    auto names = this->names();
    std::erase_if(names, [](const std::string& name) { return !name.starts_with("com.apple.iWork.Keynote.instance"); });
    return names;
}

bool ImpressSession::waitForProgram() {
    return eventually([this] { return programNames().size() == 1; }, 60);
}

std::unique_ptr<ProgramProxy> ImpressSession::programNamed(const std::string& name) {
    return std::make_unique<ProgramProxy>(*connection_, name);
}

const OfficeConnection& ImpressSession::office() {
    if (!office_) office_ = OfficeConnection::attach(pipe_);
    return office_.value();
}

Reference<css::frame::XModel> ImpressSession::open(const std::filesystem::path& deck) {
    const auto desktop = css::frame::Desktop::create(office().context());
    return {desktop->loadComponentFromURL(unoText(bus::urlFromPath(deck)), "_default", 0, properties({})),
            UNO_QUERY_THROW};
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
    return result;
}
