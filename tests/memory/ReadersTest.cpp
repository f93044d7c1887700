/// Whatever reads what comes from outside either reads all of it or says that memory has run out.

#include "MacShared/LogRun.h"
#include "MacShared/MTOMHelpers.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "MacShared/SOAP/MultipartPayload.h"
#include "MacShared/SOAP/SoapXMLAccumulator.h"
#include "platform/linux/files/PropertyList.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "presenters/simulator/ScriptReader.h"
#include "recorder-shared/NSString+VELStringAdditions.h"
#include "tests/memory/EveryPiece.h"
#include "tools/keynote-capture/lecture/DeckText.h"

#include <libxml/parser.h>
#include <malloc.h>
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using namespace std::chrono_literals;

/// libxml2 asks for its memory here, too.
void* give(std::size_t size) {
    return operator new(size, std::nothrow);
}
void take(void* piece) {
    operator delete(piece);
}
void* giveAnother(void* piece, std::size_t size) {
    void* const other = give(size);
    if (other == nullptr || piece == nullptr) return other;
    std::memcpy(other, piece, std::min(size, ::malloc_usable_size(piece)));
    take(piece);
    return other;
}
char* giveCopy(const char* text) {
    const auto size = std::strlen(text) + 1;
    void* const copy = give(size);
    return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

/// Before libxml2 is used.
const int kIsGiven = ::xmlMemSetup(take, give, giveAnother, giveCopy);

/// It keeps the last error of each thread.
struct ForgetErrors {
    ~ForgetErrors() { ::xmlResetLastError(); }
};

std::string seed(const std::string& name) {
    std::ifstream file(KCS_SOURCE_DIR "/fuzz/corpus/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string scalars(const files::PropertyScalars& scalars) {
    std::string text;
    for (const auto& [key, value] : scalars) {
        const auto* const string = std::get_if<std::string>(&value);
        text +=
            key + "=" + (string != nullptr ? *string : std::to_string(static_cast<int>(std::get<bool>(value)))) + " ";
    }
    return text;
}

std::string response(const std::string& xml) {
    SoapXMLAccumulator accumulator("GetItemResponse", "GetItemResult");
    const auto parser = text::LinuxXMLServices().makeParser(accumulator);
    const bool isWhole = parser->parse(xml) && parser->finish();
    // libxml2 tells that it has no memory for a converter as a fault of the document.
    if (!isWhole) throw std::bad_alloc();
    return std::to_string(accumulator.Value().size());
}

std::string deckText(const std::string& xml) {
    const auto deck = keynote_capture::deckTextFrom(xml, text::LinuxXMLServices());
    return deck ? deck->slides.front().title + deck->slides.front().body : "no deck";
}

/// What a script says, played in virtual time.
std::string script(const std::string& text) {
    simulated::SimulatedDispatch dispatch;
    simulated::SimulatedFileManager files;
    presenters::PresentationProgramModel model(dispatch.mainQueue(), files, [](auto&&...) { return std::string("J"); });
    std::string said;
    simulator::Simulator simulator(dispatch.mainQueue(), model,
                                   {.say = [&](const std::string& line) { said += line + "\n"; },
                                    .announcePid = [](auto) {},
                                    .die = [] {},
                                    .finished = [&](const std::string& end) { said += "end" + end; }},
                                   [] {});
    simulator::ScriptReader(simulator, [&](const std::string& line) { said += line; }).read(text, "script");
    dispatch.runFor(1h);
    return said;
}

struct Reader {
    const char* name;
    std::string (*read)(const std::string&);
    std::string input;
    std::string part;  ///< of what is read, to see that anything is
};

void PrintTo(const Reader& reader, std::ostream* out) {
    *out << reader.name;
}

const std::vector<Reader> kReaders{
    {"Response", response, seed("response/entities.xml"), "1"},
    {"ResponseInUTF16", response, seed("response/utf-16.xml"), "1"},
    {"Payload",
     [](const std::string& body) { return std::string(shared::multipartPayload(body, "b").value_or("none")); },
     "\r\n--b\r\nContent-Type: text/xml\r\n\r\n<payload>\r\n--b--", "<payload>"},
    {"ContentType",
     [](const std::string& type) { return MTOMHelpers::MTOMBoundaryFromContentType(type).value_or("none"); },
     "multipart/related; type=x; boundary=\"" + std::string(40, 'b') + "\"", "bbb"},
    {"Base64", [](const std::string& text) { return base64DecodedData(text).value_or("none"); },
     "bWVtb3J5IHRoYXQgcnVucyBvdXQgaW4gdGhlIG1pZHN0", "memory that runs out"},
    {"Query",
     [](const std::string& query) {
         std::string text;
         for (const auto& [name, value] : queryParameters(query)) text += name + value;
         return text;
     },
     "a-parameter-with-a-long-name=and+a+value+that+is+long&second=x", "second"},
    {"PropertyList", [](const std::string& list) { return scalars(files::xmlPropertyScalars(list)); },
     seed("propertyList/scalars.xml"), "CFBundleIdentifier=com.apple.iWork.Keynote"},
    {"BinaryPropertyList", [](const std::string& list) { return scalars(files::binaryPropertyScalars(list)); },
     seed("propertyList/scalars.bin"), "CFBundleIdentifier=com.apple.iWork.Keynote"},
    {"DeckText", deckText,
     "<Presentation><Slides><Slide><Number>1</Number><Title>A title of many words</Title><Body>B</Body><TextItems>"
     "<TextItem>An item that is long, "
     "too</TextItem></TextItems><Tables><Table><Rows><Row><Cell>c</Cell></Row></Rows>"
     "</Table></Tables></Slide></Slides></Presentation>",
     "An item that is long, too"},
    {"Script", script, seed("simulatorScript/lecture"), "ok print the end\n"},
};

class Readers : public testing::TestWithParam<Reader> {
protected:
    Readers() {
        // A log would hold what is written to it.
        platform.unifiedLog.enabled = false;
        platform.directories.applicationSupport.reset();
        shared::beginNewLogRun();
        VELLog("Begins.");
    }
    simulated::SimulatedPlatform platform;
};

TEST_P(Readers, ReadAllOrSayThatMemoryHasRunOut) {
    const auto& [name, read, input, part] = GetParam();
    EXPECT_NE(read(input).find(part), std::string::npos) << read(input);
    const auto reading = [read = read, &input = input] {
        const ForgetErrors forget;
        return read(input);
    };
    EXPECT_GT(withoutEveryPiece(reading), 0U);
}

INSTANTIATE_TEST_SUITE_P(All, Readers, testing::ValuesIn(kReaders),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
