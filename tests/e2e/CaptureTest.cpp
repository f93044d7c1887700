#include "tests/e2e/CaptureTest.h"

#include "bus/Names.h"
#include "bus/Sdbus.h"
#include "tests/support/Deadline.h"

#include <csignal>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSandbox = "Library/Containers/com.apple.iWork.Keynote/Data/Documents/Veldrin";

}  // namespace

void CaptureTest::TearDown() {
    if (!service_) return;
    service_->send(SIGTERM);
    const int status = service_->exitStatus();
    const auto complaints = service_->complaints();
    EXPECT_EQ(status, 0) << complaints;
    EXPECT_EQ(complaints.find("Sanitizer"), std::string::npos) << complaints;
    if (HasFailure()) std::cerr << log();
}

void CaptureTest::startService() {
    service_ = std::make_unique<ChildProcess>(std::vector<std::string>{KEYNOTE_CAPTURE_SERVICE});
    if (!eventually(isServiceThere)) throw std::runtime_error("the service does not come");
}

std::unique_ptr<ChildProcess> CaptureTest::launchProgram(bool windows) {
    std::vector<std::string> command{KEYNOTE_SIMULATOR, "-"};
    if (!windows) command.emplace_back("--no-window");
    auto program = std::make_unique<ChildProcess>(command);
    program->play("launch");
    return program;
}

std::unique_ptr<ChildProcess> CaptureTest::present(Host& host, const std::string& deck) {
    auto program = launchProgram();
    host.waitFor("launched");
    program->play("open " + deck);
    program->play("start");
    return program;
}

fs::path CaptureTest::exportsOf(const Host& host, std::size_t presentation, const std::string& recordingID) const {
    return home_.path() / kSandbox / recordingID / host.presentation(presentation).id / "slide";
}

std::string CaptureTest::log() const {
    return contentsOf(home_.path() / ".local/share/KeynoteCaptureService/Veldrin.log");
}

int CaptureTest::countInLog(const std::string& text) const {
    const std::string all = log();
    int count = 0;
    for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size())) ++count;
    return count;
}

void CaptureTest::waitForLog(const std::string& text, int count) const {
    if (eventually([&] { return countInLog(text) >= count; })) return;
    throw std::runtime_error("waited in vain for the log to say: " + text);
}

std::set<std::string> filesIn(const fs::path& directory) {
    std::set<std::string> names;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(directory, missing)) names.insert(entry.path().filename());
    return names;
}

bool isWholeImage(const fs::path& file) {
    const std::string contents = contentsOf(file);
    return contents.starts_with("\xFF\xD8") && contents.ends_with("\xFF\xD9");
}

std::optional<pid_t> serviceProcess() {
    const auto connection = sdbus::createSessionBusConnection();
    const auto daemon = bus::createProxy(*connection, bus::kBusDaemon, bus::kBusDaemonPath);
    std::uint32_t process = 0;
    try {
        daemon->callMethod("GetConnectionUnixProcessID")
            .onInterface(bus::kBusDaemon)
            .withArguments(std::string(bus::kServiceName))
            .storeResultsTo(process);
    } catch (const sdbus::Error&) {
        return std::nullopt;
    }
    return static_cast<pid_t>(process);
}

bool isServiceThere() {
    return serviceProcess().has_value();
}
