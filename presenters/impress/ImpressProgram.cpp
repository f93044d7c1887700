#include "presenters/impress/ImpressProgram.h"

#include "bus/Convert.h"
#include "bus/Names.h"
#include "presenters/impress/DocumentCopy.h"
#include "presenters/impress/SlideExport.h"

#include <cmath>
#include <iostream>

using css::uno::Reference;
using namespace std::chrono_literals;

namespace {

/// Shorter than a caller's own half second, so that it hears why.
constexpr auto kPatience = 400ms;
constexpr auto kPatienceWhileSaving = 100ms;

sdbus::Error refusal(const std::string& sentence) {
    return {bus::kProgramFailed, sentence};
}

sdbus::Error notYet() {
    return refusal("The bridge to LibreOffice cannot do this yet.");
}

sdbus::Error noAnswer() {
    return refusal("LibreOffice does not answer. Try again.");
}

std::filesystem::path pathFrom(const std::string& url) {
    const auto path = bus::pathFromURL(url);
    if (!path) throw refusal("Not a file URL: pass one like file:///home/me/slides.");
    return path->has_filename() ? *path : path->parent_path();
}

template <typename Value>
Value option(const std::map<std::string, sdbus::Variant>& properties, const char* key, Value standard) {
    const auto found = properties.find(key);
    if (found == properties.end()) return standard;
    if (!found->second.containsValueOfType<Value>()) throw refusal(std::string("Wrong type of property ") + key + ".");
    return found->second.get<Value>();
}

int qualityFrom(const std::map<std::string, sdbus::Variant>& properties) {
    if (option<std::string>(properties, "imageFormat", "Kifj") != "Kifj") {
        throw refusal("Only JPEG images can be exported: pass imageFormat Kifj.");
    }
    const double factor = option(properties, "compressionFactor", 0.8);
    if (!(factor >= 0 && factor <= 1)) throw refusal("compressionFactor must lie between 0 and 1.");
    return static_cast<int>(std::lround(factor * 100));
}

/// Found relative to the executable: both in the build tree and where it is installed.
std::filesystem::path bundleDirectory() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path bundle = "share/keynote-capture/KeynoteImpress.app";
    for (const char* prefix : {"..", "../.."}) {
        auto candidate = (executable.parent_path() / prefix / bundle).lexically_normal();
        if (std::filesystem::exists(candidate / "Contents/Info.plist", error)) return candidate;
    }
    return {};
}

constexpr auto kState = [](Office& office) { return office.state(); };

std::map<std::string, sdbus::Variant> dictionaryFrom(const OfficeState& state) {
    std::map<std::string, sdbus::Variant> result{{"playing", sdbus::Variant(state.playing)}};
    if (!state.document) return result;
    result.emplace("documentID", sdbus::Variant(state.document->id));
    result.emplace("slideNumber", sdbus::Variant(state.document->slideNumber));
    if (const auto file = bus::pathFromURL(state.document->url)) {
        result.emplace("documentFile", sdbus::Variant(bus::urlFromPath(*file)));
    }
    return result;
}

/// Runs work for which nobody waits; its failure goes to standard error.
void runLogged(const char* what, const std::function<void()>& work) {
    try {
        work();
    } catch (const css::uno::Exception& exception) {
        std::cerr << what << " failed: " << textFrom(exception) << "\n";
    }
}

}  // namespace

ImpressProgram::ImpressProgram(sdbus::IConnection& bus, const OfficeConnection& office)
    : AdaptorInterfaces(bus, bus::kProgramPath), connection_(office) {
    registerAdaptor();
}

ImpressProgram::~ImpressProgram() {
    unregisterAdaptor();
}

/// The office's answer, or nothing when it did not come in time; throws the refusal that the caller of the bus gets.
template <typename Question>
auto ImpressProgram::tryAsk(Question question, std::chrono::milliseconds patience) {
    try {
        return officeThread_.ask(
            [this, question] {
                if (!office_) office_.emplace(connection_.context());
                return question(*office_);
            },
            patience);
    } catch (const css::uno::Exception& exception) {
        throw refusal("LibreOffice failed: " + textFrom(exception));
    }
}

template <typename Question>
auto ImpressProgram::ask(Question question) {
    auto answer = tryAsk(question, kPatience);
    if (!answer) throw noAnswer();
    return *answer;
}

std::map<std::string, sdbus::Variant> ImpressProgram::presentingState() {
    if (auto state = tryAsk(kState, saving_ ? kPatienceWhileSaving : kPatience)) {
        lastState_ = std::move(*state);
    } else if (!saving_) {
        throw noAnswer();
    }
    return dictionaryFrom(lastState_);
}

std::vector<sdbus::Struct<std::string, sdbus::Struct<double, double, double, double>, int64_t, int64_t>>
ImpressProgram::windows() {
    std::vector<sdbus::Struct<std::string, bus::RectStruct, int64_t, int64_t>> result;
    for (const OfficeWindow& window : ask([](Office& office) { return office.windows(); })) {
        const bus::RectStruct bounds(window.x, window.y, window.width, window.height);
        result.emplace_back(window.name, bounds, static_cast<std::int64_t>(result.size() + 1), window.id);
    }
    return result;
}

void ImpressProgram::activate() {
    throw notYet();
}

void ImpressProgram::open(sdbus::Result<std::string>&& result, std::string /*pathURL*/) {
    result.returnError(notYet());
}

void ImpressProgram::close(sdbus::Result<>&& result, std::string /*documentID*/, std::string /*saving*/) {
    result.returnError(notYet());
}

void ImpressProgram::slideNumbers(sdbus::Result<std::vector<int64_t>>&& result, std::string /*documentID*/) {
    result.returnError(notYet());
}

void ImpressProgram::documentText(sdbus::Result<std::string, std::vector<SlideStruct>>&& result,
                                  std::string /*documentID*/) {
    result.returnError(notYet());
}

void ImpressProgram::save(const std::string& documentID, const std::string& targetURL) {
    DocumentCopy copy{documentWithID(documentID), pathFrom(targetURL)};
    lastState_ = ask(kState);
    accept([this, copy = std::move(copy)] {
        saving_ = true;
        runLogged("Saving a copy", [&] { copy.run(); });
        saving_ = false;
    });
}

void ImpressProgram::stop(const std::string& documentID) {
    const bool found = ask([documentID](Office& office) { return office.endShow(documentID); });
    if (!found) throw refusal("No presentation with the ID " + documentID + " is open.");
}

void ImpressProgram::export_(const std::string& documentID, const std::string& targetURL, const std::string& format,
                             const std::map<std::string, sdbus::Variant>& properties) {
    if (format != "Kimg") throw refusal("Only images can be exported: pass the format Kimg.");
    SlideExport order{documentWithID(documentID), pathFrom(targetURL), qualityFrom(properties)};
    accept(
        [this, order = std::move(order)] { runLogged("Exporting images", [&] { order.run(connection_.context()); }); });
}

uint32_t ImpressProgram::ProcessIdentifier() {
    return static_cast<std::uint32_t>(connection_.processIdentifier());
}

std::string ImpressProgram::BundleIdentifier() {
    return kBundleIdentifier;
}

std::string ImpressProgram::BundleURL() {
    const auto directory = bundleDirectory();
    return directory.empty() ? std::string() : bus::urlFromPath(directory);
}

std::string ImpressProgram::Version() {
    return "14.0";
}

Reference<css::frame::XModel> ImpressProgram::documentWithID(const std::string& id) {
    auto document = ask([id](Office& office) { return office.document(id); });
    if (!document.is()) throw refusal("No presentation with the ID " + id + " is open.");
    return document;
}

void ImpressProgram::accept(std::function<void()> command) {
    if (!commands_.push(std::move(command))) throw refusal("Too many commands are waiting. Try again later.");
}
