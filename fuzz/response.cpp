#include "MacShared/LogRun.h"
#include "MacShared/SOAP/SoapXMLAccumulator.h"
#include "fuzz/Require.h"
#include "platform/linux/text/LibXmlParser.h"
#include "platform/simulated/SimulatedPlatform.h"

#include <algorithm>
#include <cstdint>

namespace {

/// The tree, and whether the whole document was well-formed.
std::pair<shared::SoapDictionary, bool> parsed(std::string_view xml, std::size_t piece) {
    SoapXMLAccumulator accumulator("GetItemResponse", "GetItemResult");
    text::LibXmlParser parser(accumulator);
    for (; !xml.empty(); xml.remove_prefix(std::min(piece, xml.size()))) parser.parse(xml.substr(0, piece));
    const bool isWellFormed = parser.finish();
    return {accumulator.Value(), isWellFormed};
}

/// Converters to Unicode see broken bytes earlier or later, as the pieces fall.
bool isUTF8(const std::string& xml) {
    const auto declaration = xml.substr(0, xml.find("?>"));
    return declaration.find('\0') == std::string::npos &&
           (declaration.find("encoding") == std::string::npos || declaration.find("encoding=\"utf-8\"") < 40);
}

}  // namespace

/// There is a response or none, and that of a well-formed document does not depend on how the bytes come.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static simulated::SimulatedPlatform platform;
    platform.unifiedLog.entries.clear();  // or what is held grows with every input
    shared::beginNewLogRun();
    const std::string xml(reinterpret_cast<const char*>(data), size);
    const auto [whole, isWellFormed] = parsed(xml, size + 1);
    require(whole.empty() || (whole.size() == 1 && whole.find("response") != nullptr));
    const auto [inPieces, isWellFormedInPieces] = parsed(xml, 1);
    if (!isUTF8(xml)) return 0;
    require(isWellFormed == isWellFormedInPieces);
    if (isWellFormed) require(whole == inPieces);
    return 0;
}
